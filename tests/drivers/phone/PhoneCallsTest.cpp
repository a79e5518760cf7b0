// What a phone's driver has call control do, and what it tells the agent of its calls.
#include <ctime>

#include "host/glue/Numbers.h"
#include "tests/drivers/phone/PhoneFixture.h"

using dvIntercom::MEDIA_NONE;
using dvIntercom::MEDIA_RECEIVE_ONLY;
using dvIntercom::MEDIA_SEND_ONLY;
using dvIntercom::MEDIA_SEND_RECEIVE;
using dvIntercom::MEDIA_WITHOUT_RING;
using dvIntercom::NO_SESSION;
using telephony::EventKind;
using telephony::LegState;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class PhoneCalls : public test::PhoneFixture {
protected:
    static std::string State(int state) {
        return "agent OnDeviceChanged 101 5 <device><id>101</id><state>" + std::to_string(state) +
               "</state></device>";
    }
    static std::string Recent(const std::string& name, const std::string& key, const char* flags) {
        return "agent AddRecentContact [" + name + "] [" + key + "] [] [] " + flags;
    }
};

TEST_F(PhoneCalls, ARegularCallIsOrderedWithTheModesOfTheAgent) {
    StartConnected();
    phone->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_RECEIVE_ONLY, "Kitchen@10.0.0.2");
    const auto command = control->Read();
    EXPECT_EQ("call", command.at("cmd"));
    EXPECT_EQ("hall", command.at("from"));
    EXPECT_EQ(nlohmann::json::array({"kitchen"}), command.at("to"));
    EXPECT_EQ("regular", command.at("kind"));
    EXPECT_EQ("both", command.at("audio"));
    EXPECT_EQ("receive", command.at("video"));
    EXPECT_EQ(true, command.at("ring"));
}

TEST_F(PhoneCalls, ACallWithoutRingingAsksTheCalleeToAnswerByItself) {
    StartConnected();
    phone->StartSipCall(MEDIA_WITHOUT_RING, MEDIA_NONE, "Kitchen@10.0.0.2");
    const auto command = control->Read();
    EXPECT_EQ(false, command.at("ring"));
    EXPECT_EQ("both", command.at("audio"));
}

TEST_F(PhoneCalls, MonitorAndBroadcastAreOrderedAsSuch) {
    StartConnected();
    phone->StartSipMonitor(MEDIA_SEND_RECEIVE, MEDIA_NONE, "Kitchen@10.0.0.2");
    EXPECT_EQ("monitor", control->Read().at("kind"));
    phone->StartSipBroadcast(MEDIA_SEND_ONLY, MEDIA_NONE,
                             {"Kitchen@10.0.0.2", "Attic@10.0.0.2", "Kitchen@10.0.0.2", "Hall@10.0.0.2"});
    const auto command = control->Read();
    EXPECT_EQ("broadcast", command.at("kind"));
    EXPECT_EQ("send", command.at("audio"));
    EXPECT_EQ(nlohmann::json::array({"kitchen", "attic"}), command.at("to"));
}

TEST_F(PhoneCalls, ANameIsFoundAmongNamesUsersAndKeysInAnyCaseAndGroups) {
    agent.groups =
        "<groups><group><groupId>1</groupId><name>Up</name><devices><device>101</device>"
        "<device>103</device></devices></group></groups>";
    StartConnected();
    for (const auto& [address, users] : std::vector<std::pair<std::string, nlohmann::json>>{
             {"Kitchen@10.0.0.2", nlohmann::json::array({"kitchen"})},
             {"kitchen", nlohmann::json::array({"kitchen"})},
             {"sip:KITCHEN@intercom", nlohmann::json::array({"kitchen"})},
             {"Up@10.0.0.2", nlohmann::json::array({"attic"})},
             {"doorbell@10.0.0.2", nlohmann::json::array({"kitchen", "attic"})},
             {"0301234@10.0.0.2", nlohmann::json::array({"0301234"})},
             {"Kitchen@example.com", nlohmann::json::array({"Kitchen@example.com"})}}) {
        phone->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_NONE, address);
        EXPECT_EQ(users, control->Read().at("to")) << address;
    }
}

TEST_F(PhoneCalls, AddressesThatLeadNowhereAreLoggedAndStartNothing) {
    StartConnected();
    phone->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_NONE, "");
    phone->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_NONE, "Hall@10.0.0.2");
    phone->StartSipCall(MEDIA_NONE, MEDIA_NONE, "Kitchen@10.0.0.2");
    phone->StartSipMonitor(MEDIA_SEND_RECEIVE, MEDIA_NONE, "doorbell@10.0.0.2");
    EXPECT_TRUE(IsLogged("no call to doorbell@10.0.0.2: a group cannot be monitored"));
    EXPECT_TRUE(IsLogged("no call to : it names nobody"));
    EXPECT_TRUE(IsLogged("no call to Hall@10.0.0.2: it is this device itself"));
    EXPECT_TRUE(IsLogged("no call to Kitchen@10.0.0.2: neither sound nor picture is wanted"));
    EXPECT_EQ(NO_SESSION, phone->findSessionId("kitchen"));
}

TEST_F(PhoneCalls, ACallersStatesFollowTheCallAndItIsReportedAtItsEnd) {
    const std::string began = dv::UtcText(std::time(nullptr));
    StartConnected();
    const std::string id = CallTheKitchen();
    EXPECT_EQ(0, phone->findSessionId("kitchen"));
    EXPECT_TRUE(phone->ActiveSipSession(0));
    Tell(About(EventKind::LegDown, id, "kitchen", 200));
    Tell(About(EventKind::LegDown, id, "hall", 200));
    auto ended = About(EventKind::Ended, id);
    ended.call = Call(id, "hall", {"kitchen"});
    Tell(ended);
    EXPECT_EQ(NO_SESSION, phone->findSessionId("kitchen"));
    EXPECT_THAT(TakeAgent(),
                ElementsAre(State(1), State(3), State(0), Recent("Kitchen", "kitchen", "false true")));
    EXPECT_GE(agent.callTimes.at(0).first, began);
    EXPECT_LE(agent.callTimes.at(0).first, dv::UtcText(std::time(nullptr)));
}

TEST_F(PhoneCalls, APhoneThatIsCalledRingsAndConnectsInItsState) {
    StartConnected();
    Tell(Calling(Call("1", "kitchen", {"hall"})));
    EXPECT_EQ(0, phone->getCurrentState());
    Tell(About(EventKind::Ringing, "1", "hall"));
    EXPECT_EQ(2, phone->getCurrentState());
    Tell(About(EventKind::LegUp, "1", "kitchen"));
    Tell(About(EventKind::LegUp, "1", "hall"));
    Tell(About(EventKind::Established, "1"));
    EXPECT_EQ(3, phone->getCurrentState());
    Tell(About(EventKind::LegDown, "1", "hall", 200));
    EXPECT_THAT(TakeAgent(),
                ElementsAre(State(2), State(3), State(0), Recent("Kitchen", "kitchen", "true true")));
}

TEST_F(PhoneCalls, ACallStartedAtThePhoneIsKeptLikeAnyOther) {
    StartConnected();
    auto event = Calling(Call("phone-1", "hall", {"kitchen"}));
    event.kind = EventKind::PhoneCall;
    Tell(event);
    EXPECT_EQ(1, phone->getCurrentState());
    EXPECT_EQ(0, phone->findSessionId("kitchen"));
    auto ended = About(EventKind::Ended, "phone-1", "", 486);
    ended.reason = "Busy Here";
    ended.call = event.call;
    Tell(ended);
    EXPECT_TRUE(IsLogged("the call to Kitchen has failed: 486 Busy Here"));
    EXPECT_THAT(TakeAgent(), ElementsAre(State(1), State(0), Recent("Kitchen", "kitchen", "false false")));
}

TEST_F(PhoneCalls, WhoRangInAGroupAndDidNotAnswerIsReportedAsMissed) {
    StartConnected();
    Tell(Calling(Call("1", "kitchen", {"hall", "attic"})));
    Tell(About(EventKind::Ringing, "1", "hall"));
    Tell(About(EventKind::LegDown, "1", "hall", 200));
    EXPECT_THAT(TakeAgent(), ElementsAre(State(2), State(0), Recent("Kitchen", "kitchen", "true false")));
}

// What it ended with is said when its leg is over, which is before the call as a whole is.
TEST_F(PhoneCalls, ACallThatIsNotAnsweredIsReportedAndSaidWithItsCode) {
    StartConnected();
    for (const int code : {603, 486, 480, 408, 487}) {
        phone->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_NONE, "Kitchen@10.0.0.2");
        const std::string id = control->Read().at("id");
        Tell(Calling(Call(id, "hall", {"kitchen"})));
        TakeAgent();
        auto down = About(EventKind::LegDown, id, "kitchen", code);
        down.reason = "Reason " + std::to_string(code);
        Tell(down);
        EXPECT_TRUE(IsLogged("the call to Kitchen has failed: " + std::to_string(code) + " " + down.reason));
        EXPECT_THAT(TakeAgent(), ElementsAre(State(0), Recent("Kitchen", "kitchen", "false false"))) << code;
        Tell(About(EventKind::LegDown, id, "hall", code));
        Tell(About(EventKind::Ended, id, "", code));
        EXPECT_THAT(TakeAgent(), IsEmpty());
    }
}

TEST_F(PhoneCalls, ACallThatTheCallersOwnPhoneRefusesIsReportedAndSaid) {
    StartConnected();
    phone->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_NONE, "Kitchen@10.0.0.2");
    const std::string id = control->Read().at("id");
    Tell(Calling(Call(id, "hall", {"kitchen"})));
    auto down = About(EventKind::LegDown, id, "hall", 486);
    down.reason = "Busy Here";
    Tell(down);
    EXPECT_TRUE(IsLogged("the call to Kitchen has failed: 486 Busy Here"));
    EXPECT_THAT(TakeAgent(), ElementsAre(State(1), State(0), Recent("Kitchen", "kitchen", "false false")));
}

TEST_F(PhoneCalls, WhoeverDoesNotTakeACallHasMissedIt) {
    StartConnected();
    for (const int code : {603, 486, 480, 408, 487}) {
        Tell(Calling(Call("1", "kitchen", {"hall"})));
        Tell(About(EventKind::Ringing, "1", "hall"));
        Tell(About(EventKind::LegDown, "1", "hall", code));
        EXPECT_THAT(TakeAgent(), ElementsAre(State(2), State(0), Recent("Kitchen", "kitchen", "true false")))
            << code;
        Tell(About(EventKind::Ended, "1", "", code));
    }
}

TEST_F(PhoneCalls, OfAGroupTheCallerLogsWhoRefusedAndNotWhoWasTooLate) {
    StartConnected();
    phone->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_NONE, "doorbell@10.0.0.2");
    const std::string id = control->Read().at("id");
    Tell(Calling(Call(id, "hall", {"kitchen", "attic"})));
    Tell(About(EventKind::LegUp, id, "hall"));
    Tell(About(EventKind::LegUp, id, "kitchen"));
    Tell(About(EventKind::LegDown, id, "attic", 200));
    Tell(About(EventKind::Established, id));
    EXPECT_THAT(host.Logged(), testing::Not(testing::HasSubstr("has failed")));
    EXPECT_EQ(0, phone->findSessionId("kitchen"));
    EXPECT_EQ(NO_SESSION, phone->findSessionId("attic"));
}

TEST_F(PhoneCalls, TwoCallsAtOnceHaveSessionsAndEndsOfTheirOwn) {
    StartConnected();
    const std::string id = CallTheKitchen();
    Tell(Calling(Call("2", "attic", {"hall"})));
    Tell(About(EventKind::Ringing, "2", "hall"));
    EXPECT_EQ(3, phone->getCurrentState());
    Tell(About(EventKind::LegUp, "2", "attic"));
    Tell(About(EventKind::LegUp, "2", "hall"));
    Tell(About(EventKind::Established, "2"));
    EXPECT_EQ(0, phone->findSessionId("kitchen"));
    EXPECT_EQ(1, phone->findSessionId("attic"));
    TakeAgent();
    Tell(About(EventKind::LegDown, id, "kitchen", 200));
    EXPECT_THAT(TakeAgent(), ElementsAre(Recent("Kitchen", "kitchen", "false true")));
    EXPECT_EQ(3, phone->getCurrentState());
    phone->HangupSipSession(1);
    EXPECT_EQ("2", control->Read().at("id"));
    Tell(About(EventKind::LegDown, "2", "attic", 200));
    EXPECT_THAT(TakeAgent(), ElementsAre(State(0), Recent("Attic", "attic", "true true")));
}

// The kitchen and the attic are told to chime; they have none.
TEST_F(PhoneCalls, WhoeverRingsForTheDoorChimes) {
    StartConnected();
    const auto chimes = [this] {
        const auto lines = recorder.Take();
        return std::ranges::count_if(lines, [](const std::string& line) {
            return line.find("this phone has no chime") != std::string::npos;
        });
    };
    phone->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_NONE, "doorbell@10.0.0.2");
    const auto command = control->Read();
    EXPECT_EQ("doorbell", command.at("called"));
    auto report = Call(command.at("id"), "hall", {"kitchen", "attic"});
    EXPECT_EQ(0, chimes());  // not before call control has taken it
    report.called = "doorbell";
    Tell(Calling(report));
    EXPECT_EQ(2, chimes());
    auto pressed = Calling(Call("phone-1", "hall", {"attic", "stranger"}));
    pressed.kind = EventKind::PhoneCall;
    pressed.call.called = "doorbell";
    Tell(pressed);
    EXPECT_EQ(1, chimes());
    pressed.call = Call("phone-2", "hall", {"attic"});
    pressed.call.called = "attic";
    Tell(pressed);
    pressed.call = Call("phone-3", "kitchen", {"hall", "attic"});  // the kitchen's driver sees to it
    pressed.call.called = "doorbell";
    Tell(pressed);
    EXPECT_EQ(0, chimes());
}

TEST_F(PhoneCalls, EachOfSeveralListenersHasASessionThatEndsByItself) {
    StartConnected();
    phone->StartSipBroadcast(MEDIA_SEND_ONLY, MEDIA_NONE, {"Kitchen@10.0.0.2", "Attic@10.0.0.2"});
    const std::string id = control->Read().at("id");
    Tell(Calling(Call(id, "hall", {"kitchen", "attic"}, telephony::CallKind::Broadcast)));
    for (const char* const user : {"hall", "kitchen", "attic"})
        Tell(About(EventKind::LegUp, id, user));
    Tell(About(EventKind::Established, id));
    EXPECT_EQ(0, phone->findSessionId("kitchen"));
    EXPECT_EQ(1, phone->findSessionId("attic"));
    phone->HangupSipSession(0);
    const auto hangup = control->Read();
    EXPECT_EQ("hangup", hangup.at("cmd"));
    EXPECT_EQ("kitchen", hangup.at("leg"));
    Tell(About(EventKind::LegDown, id, "kitchen", 200));
    EXPECT_EQ(NO_SESSION, phone->findSessionId("kitchen"));
    EXPECT_EQ(3, phone->getCurrentState());
}

TEST_F(PhoneCalls, SessionsAreHungUpHeldAndResumedByNumber) {
    StartConnected();
    const std::string id = CallTheKitchen();
    phone->HoldSession(0);
    EXPECT_EQ(nlohmann::json({{"cmd", "hold"}, {"id", id}}), control->Read());
    auto held = About(EventKind::Modified, id);
    held.state = "held";
    Tell(held);
    EXPECT_FALSE(phone->ActiveSipSession(0));
    phone->ResumeSession(0);
    EXPECT_EQ(nlohmann::json({{"cmd", "resume"}, {"id", id}}), control->Read());
    held.state = "active";
    Tell(held);
    EXPECT_TRUE(phone->ActiveSipSession(0));
    phone->HangupSipSession(0);
    EXPECT_EQ(nlohmann::json({{"cmd", "hangup"}, {"id", id}}), control->Read());
}

TEST_F(PhoneCalls, ACalleeHangsUpForItselfAlone) {
    StartConnected();
    BeCalledByTheKitchen();
    phone->HangupSipSession(phone->findSessionId("kitchen"));
    EXPECT_EQ(nlohmann::json({{"cmd", "hangup"}, {"id", "1"}, {"leg", "hall"}}), control->Read());
}

TEST_F(PhoneCalls, SessionsAreNumberedFrom0To254AndOneMoreIsRefused) {
    StartConnected();
    for (int i = 0; i < 255; ++i)
        Tell(Calling(Call(std::to_string(i), "kitchen", {"hall"})));
    EXPECT_TRUE(phone->ActiveSipSession(254));
    EXPECT_FALSE(phone->ActiveSipSession(NO_SESSION));
    EXPECT_THAT(host.Logged(), testing::Not(testing::HasSubstr("are taken")));
    Tell(Calling(Call("one more", "kitchen", {"hall"})));
    EXPECT_TRUE(IsLogged("no session for the call with Kitchen: all numbers are taken"));
    EXPECT_FALSE(phone->ActiveSipSession(NO_SESSION));
    phone->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_NONE, "Attic@10.0.0.2");
    EXPECT_TRUE(IsLogged("no call to Attic: all session numbers are taken"));
    Tell(About(EventKind::Ended, "7"));
    Tell(Calling(Call("in its place", "attic", {"hall"})));
    EXPECT_EQ(7, phone->findSessionId("attic"));
}

TEST_F(PhoneCalls, NumbersWithoutASessionChangeNothing) {
    StartConnected();
    phone->HangupSipSession(7);
    phone->HoldSession(7);
    phone->ResumeSession(255);
    EXPECT_FALSE(phone->ActiveSipSession(7));
    EXPECT_TRUE(IsLogged("HangupSipSession: there is no session 7"));
    EXPECT_TRUE(IsLogged("HoldSession: there is no session 7"));
    EXPECT_TRUE(IsLogged("ResumeSession: there is no session 255"));
}

TEST_F(PhoneCalls, SetDeviceStateHangsUpHoldsAndResumesAllCalls) {
    StartConnected();
    BeCalledByTheKitchen();
    for (const char* const request : {"hold", "hangup"}) {
        phone->setDeviceState(*test::Message("setDeviceState", {{"call", request}}));
        EXPECT_EQ(request, control->Read().at("cmd"));
    }
    phone->setDeviceState(*test::Message("setDeviceState", {{"call", "resume"}}));
    EXPECT_TRUE(IsLogged("setDeviceState: no call to resume"));
    phone->setDeviceState(*test::Message("setDeviceState", {{"call", "answer"}}));
    EXPECT_TRUE(IsLogged("cannot be told to answer from outside"));
    phone->setDeviceState(*test::Message("setDeviceState", {{"call", "sing"}}));
    EXPECT_TRUE(IsLogged("call must be hangup, hold or resume, not \"sing\""));
}

TEST_F(PhoneCalls, APeerWhosePageIsGoneIsLost) {
    StartConnected();
    BeCalledByTheKitchen();
    TakeAgent();
    auto down = About(EventKind::LegDown, "1", "kitchen", 480);
    down.reason = "The page is gone";
    Tell(down);
    EXPECT_THAT(TakeAgent(), Contains("agent EndOfflineSession [hall] [kitchen]"));
}

TEST_F(PhoneCalls, NobodyIsLostWhenCallControlEndsItsCalls) {
    StartConnected();
    BeCalledByTheKitchen();
    TakeAgent();
    auto down = About(EventKind::LegDown, "1", "kitchen", 480);
    down.reason = "Call control ends";
    Tell(down);
    EXPECT_THAT(TakeAgent(), testing::Not(Contains(testing::HasSubstr("EndOfflineSession"))));
}

TEST_F(PhoneCalls, APeerThatIsLostInACallIsToldOnceBeforeItsSessionEnds) {
    StartConnected();
    BeCalledByTheKitchen();
    TakeAgent();
    unsigned char during = NO_SESSION;
    recorder.Next("agent EndOfflineSession", [&] { during = phone->findSessionId("kitchen"); });
    Tell(About(EventKind::LegDown, "1", "kitchen", 408));
    Tell(About(EventKind::LegDown, "1", "hall", 408));
    EXPECT_EQ(0, during);
    EXPECT_THAT(TakeAgent(), ElementsAre("agent EndOfflineSession [hall] [kitchen]", State(0),
                                         Recent("Kitchen", "kitchen", "true true")));
}

TEST_F(PhoneCalls, APhoneThatIsItselfLostInACallIsDown) {
    StartConnected();
    BeCalledByTheKitchen();
    Tell(About(EventKind::LegDown, "1", "hall", 408));
    Tell(About(EventKind::LegDown, "1", "kitchen", 408));
    EXPECT_THAT(TakeAgent(), Contains("agent EndOfflineSession [hall] [down]").Times(1));
}

TEST_F(PhoneCalls, APhoneThatIsGoneIsAwayAndItsRingingCallsEnd) {
    StartConnected();
    Tell(Calling(Call("1", "kitchen", {"hall"})));
    auto lost = About(EventKind::Lost, "");
    lost.phone.user = "hall";
    Tell(lost);
    EXPECT_THAT(TakeAgent(), ElementsAre(State(4), "agent EndOfflineSession [hall] [down]"));
    lost.kind = EventKind::Registered;
    Tell(lost);
    EXPECT_EQ(0, phone->getCurrentState());
}

TEST_F(PhoneCalls, APhoneThatIsHeardStaysInItsCallWhateverItsRegistrationSays) {
    StartConnected();
    BeCalledByTheKitchen();
    TakeAgent();
    auto lost = About(EventKind::Lost, "");
    lost.phone.user = "hall";
    Tell(lost);
    EXPECT_EQ(3, phone->getCurrentState());
    EXPECT_THAT(TakeAgent(), IsEmpty());
}

TEST_F(PhoneCalls, ACallThatIsRefusedIsOverAndSaid) {
    StartConnected();
    phone->StartSipMonitor(MEDIA_SEND_RECEIVE, MEDIA_NONE, "Kitchen@10.0.0.2");
    auto refused = About(EventKind::Refused, control->Read().at("id"), "", 403);
    refused.reason = "call: \"kitchen\" may not be monitored";
    Tell(refused);
    EXPECT_TRUE(IsLogged("call control refuses: call: \"kitchen\" may not be monitored (403)"));
    EXPECT_EQ(NO_SESSION, phone->findSessionId("kitchen"));
    EXPECT_EQ(0, phone->getCurrentState());
}

}  // namespace
