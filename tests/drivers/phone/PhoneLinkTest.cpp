// The connection to call control: lost, restarted, hanging, talking nonsense.
#include "tests/drivers/phone/PhoneFixture.h"
#include "tests/support/process/Patience.h"

using dvIntercom::MEDIA_NONE;
using dvIntercom::MEDIA_SEND_RECEIVE;
using dvIntercom::NO_SESSION;
using telephony::EventKind;
using telephony::LegState;
using testing::HasSubstr;
using testing::Not;

namespace {

class PhoneLink : public test::PhoneFixture {
protected:
    void CallKitchen() { phone->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_NONE, "Kitchen@10.0.0.2"); }

    /// A call of the hall's with the kitchen that has run for a minute.
    telephony::CallReport RunningCall() const {
        telephony::CallReport call = Call("old", "hall", {"kitchen"});
        call.state = "established";
        call.seconds = 60;
        for (telephony::LegReport& leg : call.legs)
            leg.state = LegState::Up;
        return call;
    }
    void Reconnect() {
        control->Drop();
        EXPECT_TRUE(IsLogged("call control is away"));
        EXPECT_TRUE(control->Accept());
        control->Read();
        Tell(control->snapshot);
    }
};

TEST_F(PhoneLink, TheHelloSaysWhatCallControlMustKnowAndNoPassword) {
    Start(
        "<autoAnswerStyle>alert-info</autoAnswerStyle><hold>gate</hold>"
        "<mayBeMonitored>true</mayBeMonitored><codecs>G722, pcma</codecs>");
    EXPECT_EQ(nlohmann::json::parse(R"({"cmd":"hello","version":1,"all":false,"devices":[{"user":"hall",
        "name":"Hall","answer":"alert-info","hold":"gate","mayBeMonitored":true,"codecs":["G722","PCMA"]}]})"),
              Greet());
}

TEST_F(PhoneLink, APhoneIsAwayUntilTheSnapshotTellsOfIt) {
    Start();
    EXPECT_EQ(4, phone->getCurrentState());
    telephony::RegisteredPhone registered;
    registered.user = "hall";
    control->snapshot.phones = {registered};
    Greet();
    EXPECT_EQ(0, phone->getCurrentState());
}

TEST_F(PhoneLink, TheSnapshotMakesRunningCallsKnown) {
    control->snapshot.calls = {RunningCall(), Call("other", "kitchen", {"attic"})};
    StartConnected();
    EXPECT_EQ(0, phone->findSessionId("kitchen"));
    EXPECT_EQ(NO_SESSION, phone->findSessionId("attic"));
    EXPECT_EQ(3, phone->getCurrentState());
    Tell(About(EventKind::LegDown, "old", "kitchen", 200));
    EXPECT_GE(std::stoi(agent.callTimes.at(0).second), 60);
}

TEST_F(PhoneLink, ACallThatEndedWhileCallControlWasAwayIsOver) {
    StartConnected();
    CallTheKitchen();
    Reconnect();
    EXPECT_EQ(NO_SESSION, phone->findSessionId("kitchen"));
    EXPECT_TRUE(IsLogged("has ended while call control was away"));
    EXPECT_EQ(1U, agent.callTimes.size());
}

TEST_F(PhoneLink, WhoHasLeftABroadcastDoesNotReportItAgainWithEverySnapshot) {
    StartConnected();
    telephony::CallReport call = Call("1", "kitchen", {"hall", "attic"}, telephony::CallKind::Broadcast);
    Tell(Calling(call));
    Tell(About(EventKind::LegDown, "1", "hall", 200));
    call.legs[1].state = LegState::Down;
    control->snapshot.calls = {call};
    Tell(control->snapshot);
    EXPECT_EQ(NO_SESSION, phone->findSessionId("kitchen"));
    EXPECT_EQ(1U, agent.callTimes.size());
}

TEST_F(PhoneLink, ACallThatGoesOnKeepsItsSessionAndIsHungUpAsSoonAsItCanBe) {
    StartConnected();
    const std::string id = CallTheKitchen();
    control->Drop();
    EXPECT_TRUE(IsLogged("call control is away: it closed the connection"));
    EXPECT_EQ(0, phone->findSessionId("kitchen"));
    phone->HangupSipSession(0);
    EXPECT_TRUE(IsLogged("the call with Kitchen is hung up as soon as call control, which is away, is back"));
    control->snapshot.calls = {RunningCall()};
    control->snapshot.calls[0].id = id;
    EXPECT_TRUE(control->Accept());
    control->Read();
    Tell(control->snapshot);
    EXPECT_EQ("hangup", control->Read().at("cmd"));
}

TEST_F(PhoneLink, CallsFailWithALineWhileCallControlIsAway) {
    control.reset();
    Start();
    EXPECT_TRUE(IsLogged("call control is away: nobody can be reached on " + (folder / "calls").string()));
    CallKitchen();
    EXPECT_TRUE(IsLogged("no call to Kitchen: call control is away"));
    EXPECT_EQ(NO_SESSION, phone->findSessionId("kitchen"));
    control = std::make_unique<test::FakeCallControl>(folder / "calls");
    Greet();
    CallKitchen();
    EXPECT_EQ("call", control->Read().at("cmd"));
}

TEST_F(PhoneLink, ACallThatWasNotConfirmedFailsWithTheConnection) {
    StartConnected();
    CallKitchen();
    EXPECT_EQ(1, phone->getCurrentState());
    control->Read();
    control->Drop();
    EXPECT_TRUE(IsLogged("the call to Kitchen has failed with it"));
    EXPECT_EQ(0, phone->getCurrentState());
    EXPECT_EQ(NO_SESSION, phone->findSessionId("kitchen"));
}

TEST_F(PhoneLink, ACallControlThatNeverAnswersTheHelloIsLeft) {
    times.callControl.answer = std::chrono::milliseconds(50);
    Start();
    EXPECT_TRUE(control->Accept());
    EXPECT_TRUE(IsLogged("call control is away: it does not answer"));
    CallKitchen();
    EXPECT_TRUE(IsLogged("no call to Kitchen: call control is away"));
}

TEST_F(PhoneLink, ACallControlThatHangsLaterIsLeftWhenACallIsOrdered) {
    times.callControl.answer = std::chrono::milliseconds(300);
    Start();
    EXPECT_TRUE(Eventually([&] {
        control->GreetWhoWaits();
        return host.Logged().find("call control is there") != std::string::npos;
    }));
    CallKitchen();
    EXPECT_TRUE(IsLogged("call control is away: it does not answer"));
    EXPECT_TRUE(Eventually([&] { return phone->findSessionId("kitchen") == NO_SESSION; }));
}

TEST_F(PhoneLink, ASilentConnectionIsTestedFromTimeToTime) {
    times.callControl.idle = std::chrono::milliseconds(10);
    StartConnected();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ("status", control->ReadAny().at("cmd"));
        control->Send(control->snapshot);
    }
}

TEST_F(PhoneLink, GarbageIsSaidAndWhatIsGoodIsTaken) {
    StartConnected();
    control->SendRaw("garbage\n{\"event\":\"flying\"}\n[]\n\n");
    Tell(Calling(Call("1", "kitchen", {"hall"})));
    EXPECT_TRUE(IsLogged("call control sent what is no event"));
    EXPECT_EQ(0, phone->findSessionId("kitchen"));
}

TEST_F(PhoneLink, NothingButGarbageEndsTheConnection) {
    StartConnected();
    for (int i = 0; i < 100; ++i)
        control->SendRaw("garbage\n");
    EXPECT_TRUE(IsLogged("it keeps sending what is no event"));
}

TEST_F(PhoneLink, LinesInPiecesAreLinesAndAHalfOneAtTheEndIsSaid) {
    StartConnected();
    const std::string line = telephony::ToLine(Calling(Call("1", "kitchen", {"hall"}))) + "\n";
    for (const char letter : line)
        control->SendRaw(std::string(1, letter));
    EXPECT_TRUE(Eventually([&] { return phone->findSessionId("kitchen") == 0; }));
    control->SendRaw("{\"event\":");
    control->Drop();
    EXPECT_TRUE(IsLogged("call control is away: it broke off within a line"));
}

TEST_F(PhoneLink, ALineWithoutEndEndsTheConnection) {
    StartConnected();
    control->SendRaw(std::string(2 * telephony::kLongestLine, 'x'));
    EXPECT_TRUE(IsLogged("it sent a line that does not end"));
}

TEST_F(PhoneLink, AnotherVersionIsRefusedWithItsReason) {
    Start();
    EXPECT_TRUE(control->Accept());
    control->Read();
    auto refused = About(EventKind::Refused, "");
    refused.reason = "hello: this call control speaks version 9";
    control->Send(refused);
    EXPECT_TRUE(IsLogged("it refuses this driver: hello: this call control speaks version 9"));
}

TEST_F(PhoneLink, ADriverThatEndsLeavesItsCallsToCallControl) {
    StartConnected();
    CallTheKitchen();
    Stop();
    EXPECT_TRUE(control->IsClosed());
}

TEST_F(PhoneLink, ADriverEndsAtOnceWhileCallControlHangs) {
    Start();
    EXPECT_TRUE(control->Accept());
    const auto before = std::chrono::steady_clock::now();
    Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - before, test::kPatience);
}

TEST_F(PhoneLink, ThePasswordIsInTheAccountAndNowhereElse) {
    StartConnected();
    CallTheKitchen();
    EXPECT_EQ("secret-of-hall", phone->getSipAccount().password);
    EXPECT_EQ("hall", phone->getSipAccount().user);
    EXPECT_EQ("intercom", phone->getSipAccount().realm);
    std::string told = host.Logged() + phone->toXml(dvIntercom::DEVICE_CHANGED)->NodeToText() +
                       phone->GetPersistState(0)->NodeToText();
    for (const std::string& line : recorder.Take())
        told += line;
    EXPECT_THAT(told, Not(HasSubstr("secret-of-hall")));
}

}  // namespace
