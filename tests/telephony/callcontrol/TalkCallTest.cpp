// The order of things in a call: what phones and rtpengine are asked, and what is told.
#include "telephony/callcontrol/TalkCall.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/process/TempFolder.h"
#include "tests/telephony/callcontrol/Fakes.h"

namespace test {
namespace {

using namespace std::chrono_literals;
using telephony::EventKind;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class TalkCalls : public testing::Test {
protected:
    TalkCalls() {
        table_.SetSignalling(&sip_);
        table_.SetProxyUp(true);
        Do(R"({"cmd":"hello","version":1,"all":true,"devices":[{"user":"rigid","hold":"gate"},{"user":"hall","answer":"call-info"}]})");
        media_.Take();
        client_.Take();
    }

    void Do(const std::string& line) { table_.Execute(client_, telephony::ParseCommand(line)); }
    void Settle() { loop_.Advance(1ms); }
    FakeLeg& Leg(const std::string& user) { return sip_.Leg(user); }
    void Answers(const std::string& user, const std::string& direction = "sendrecv") {
        Leg(user).events->OnAnswer(PhoneSdp(direction));
        Settle();
    }
    // What rtpengine has counted of both ends.
    void SetHeard(long caller, long callee) {
        const auto count = [](long packets) {
            return nlohmann::json{{"medias", {{{"streams", {{{"stats", {{"packets", packets}}}}}}}}}};
        };
        media_.tags = {{"caller", count(caller)}, {"callee", count(callee)}};
    }
    // Up, with nothing left to be taken.
    void Establish(const std::string& caller, const std::string& callee) {
        Do(R"({"cmd":"call","id":"1","from":")" + caller + R"(","to":[")" + callee + "\"]}");
        Settle();
        Answers(caller);
        Answers(callee);
        media_.Take();
        sip_.Take();
        client_.Take();
    }

    FakeLoop loop_;
    FakeMedia media_{loop_};
    TempFolder folder_;
    telephony::Journal journal_{folder_ / "journal"};
    FakeSip sip_;
    FakeClient client_;
    telephony::CallTable table_{loop_, media_.Client(), journal_, {"192.0.2.7"}};
};

TEST_F(TalkCalls, TheCallerIsCalledFirstAndItsAnswerIsWhatTheCalleeIsOffered) {
    Do(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    EXPECT_THAT(media_.Take(), ElementsAre("offer placeholder"));
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: invite"));
    EXPECT_EQ(Leg("hall").invitation.fromUser, "kitchen");
    EXPECT_EQ(Leg("hall").invitation.answer, telephony::AnswerStyle::CallInfo);
    Answers("hall");
    EXPECT_THAT(media_.Take(), ElementsAre("answer placeholder>caller", "offer caller>callee"));
    EXPECT_EQ(media_.Last("offer").at("sdp"), PhoneSdp());
    EXPECT_THAT(sip_.Take(), ElementsAre("kitchen: invite"));
    EXPECT_EQ(Leg("kitchen").invitation.fromUser, "hall");
    Answers("kitchen");
    EXPECT_THAT(media_.Take(), ElementsAre("answer caller>callee"));
    EXPECT_THAT(sip_.Take(), IsEmpty());  // the caller hears of nothing: its port is the same
    EXPECT_THAT(client_.Take(), ElementsAre("calling", "leg-up hall", "leg-up kitchen", "established"));
}

TEST_F(TalkCalls, EveryMessageOfMediaCarriesTheFlagsThatKeepThePort) {
    Establish("hall", "kitchen");
    const nlohmann::json flags{"port-latching", "strict-source", "asymmetric"};
    EXPECT_EQ(media_.Last("offer").at("flags"), flags);
    EXPECT_EQ(media_.Last("answer").at("flags"), flags);
}

TEST_F(TalkCalls, RingbackComesWhenTheCalleeIsSilentAndStopsBeforeItsAnswer) {
    Do(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    Settle();
    Answers("hall");
    media_.Take();
    loop_.Advance(40ms);
    EXPECT_THAT(media_.Take(), IsEmpty());
    loop_.Advance(20ms);
    EXPECT_THAT(media_.Take(), ElementsAre("play media caller"));
    Leg("kitchen").events->OnAnswer(PhoneSdp());
    EXPECT_THAT(media_.Take(), ElementsAre("stop media caller", "answer caller>callee"));
}

TEST_F(TalkCalls, ARingbackThatBeginsTooLateIsEndedOnceMore) {
    Do(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    Settle();
    Answers("hall");
    media_.away = true;
    loop_.Advance(60ms);
    media_.away = false;
    Answers("kitchen");
    EXPECT_THAT(media_.Take(), Contains("stop media caller"));
    loop_.Advance(150ms);
    EXPECT_THAT(media_.Take(), ElementsAre("play media caller", "stop media caller"));
}

TEST_F(TalkCalls, EarlyMediaReplacesTheRingback) {
    Do(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    Settle();
    Answers("hall");
    loop_.Advance(100ms);
    media_.Take();
    Leg("kitchen").events->OnProgress(183, PhoneSdp());
    EXPECT_THAT(media_.Take(), ElementsAre("stop media caller", "answer caller>callee"));
    Answers("kitchen");
    EXPECT_THAT(client_.Take(), Contains("established"));
}

TEST_F(TalkCalls, EndingACallFreesBothPhonesBeforeMediaIsAsked) {
    Establish("hall", "kitchen");
    media_.away = true;
    Do(R"({"cmd":"hangup","id":"1"})");
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: hangup 200 Hung up from outside",
                                         "kitchen: hangup 200 Hung up from outside"));
    loop_.Advance(3s);
    EXPECT_THAT(client_.Take(),
                ElementsAre("leg-down hall 200", "leg-down kitchen 200", "ended 200 by command", "media"));
    EXPECT_TRUE(table_.IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(folder_ / "journal"));
}

TEST_F(TalkCalls, APhoneIsAskedToAnswerByItselfOnlyWhereThisSystemHasOrderedIt) {
    using telephony::AnswerStyle;
    Do(R"({"cmd":"call","id":"1","from":"kitchen","to":["hall"]})");
    Settle();
    Answers("kitchen");
    EXPECT_EQ(Leg("hall").invitation.answer, AnswerStyle::None);
    Do(R"({"cmd":"hangup","id":"1"})");
    Settle();
    Do(R"({"cmd":"call","id":"2","from":"kitchen","to":["hall"],"ring":false})");
    Settle();
    Answers("kitchen");
    EXPECT_EQ(Leg("hall").invitation.answer, AnswerStyle::CallInfo);
    Do(R"({"cmd":"hangup","id":"2"})");
    Settle();
    std::vector<std::string> log;
    table_.OnIncoming(std::make_shared<FakeLeg>(nullptr, log), {"kitchen", "Hall", {"hall"}, PhoneSdp()});
    Settle();
    EXPECT_EQ(Leg("hall").invitation.answer, AnswerStyle::None);
    EXPECT_EQ(client_.Take().back(), "phone-call");
    Do(R"({"cmd":"status"})");
    EXPECT_EQ(client_.Last().calls.at(0).called, "Hall");
    Do(R"({"cmd":"hangup","id":"phone-1"})");  // before the log of its leg is gone
    Settle();
}

TEST_F(TalkCalls, APhoneThatCallsAGroupIsToldOnceThatItRings) {
    std::vector<std::string> log;
    const auto caller = std::make_shared<FakeLeg>(nullptr, log);
    table_.OnIncoming(caller, {"kitchen", "doorbell", {"hall", "attic"}, PhoneSdp()});
    Settle();
    Leg("hall").events->OnProgress(180, "");
    Leg("attic").events->OnProgress(180, "");
    EXPECT_THAT(log, ElementsAre(": ring"));
    table_.Clear("The log ends here");
    Settle();
}

TEST_F(TalkCalls, ADriverHearsOfItsDeviceAndTheCallerButNotOfOthersThatAreCalled) {
    FakeClient attic;
    table_.Execute(attic,
                   telephony::ParseCommand(R"({"cmd":"hello","version":1,"devices":[{"user":"attic"}]})"));
    attic.Take();
    Do(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen","attic"],"kind":"broadcast"})");
    Settle();
    Answers("hall");
    Answers("kitchen");
    Answers("attic");
    EXPECT_THAT(attic.Take(), ElementsAre("calling", "leg-up hall", "established", "leg-up attic"));
    EXPECT_THAT(client_.Take(),
                ElementsAre("calling", "leg-up hall", "leg-up kitchen", "established", "leg-up attic"));
    Do(R"({"cmd":"hangup","id":"1","leg":"kitchen"})");
    EXPECT_THAT(attic.Take(), IsEmpty());
    table_.Leave(attic);
}

TEST_F(TalkCalls, OneOfAGroupIsTakenOutAndTheOthersRingOn) {
    Do(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen","rigid"]})");
    Settle();
    Answers("hall");
    sip_.Take();
    client_.Take();
    Do(R"({"cmd":"hangup","id":"1","leg":"rigid"})");
    EXPECT_THAT(sip_.Take(), ElementsAre("rigid: hangup 487 Hung up from outside"));
    EXPECT_THAT(client_.Take(), ElementsAre("leg-down rigid 487"));
    Do(R"({"cmd":"hangup","id":"1","leg":"rigid"})");
    EXPECT_THAT(client_.Take(), ElementsAre(testing::StartsWith("refused")));
    Answers("kitchen");
    EXPECT_THAT(client_.Take(), Contains("established"));
}

TEST_F(TalkCalls, APhoneThatStillRingsIsNotToldThatSomebodyHasAnswered) {
    Do(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    Settle();
    Answers("hall");
    sip_.Take();
    Do(R"({"cmd":"hangup","id":"1"})");
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: hangup 200 Hung up from outside",
                                         "kitchen: hangup 487 Hung up from outside"));
}

TEST_F(TalkCalls, TheFirstAnswerWinsAlsoWhenTheSecondIsThereBeforeMediaHasAnswered) {
    Do(R"({"cmd":"call","id":"1","from":"door","to":["hall","kitchen","rigid"]})");
    Settle();
    Answers("door");
    sip_.Take();
    telephony::LegEvents* const late = Leg("hall").events;
    Leg("kitchen").events->OnAnswer(PhoneSdp());
    EXPECT_EQ(Leg("hall").events, nullptr);
    EXPECT_NE(late, nullptr);
    Settle();
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: hangup 200 Call completed elsewhere",
                                         "rigid: hangup 200 Call completed elsewhere"));
}

TEST_F(TalkCalls, OneOfAGroupThatRefusesLeavesTheOthersRinging) {
    Do(R"({"cmd":"call","id":"1","from":"door","to":["hall","kitchen"]})");
    Settle();
    Answers("door");
    Leg("hall").events->OnFailed(486, "Busy Here");
    client_.Take();
    Leg("kitchen").events->OnFailed(603, "Decline");
    Settle();
    EXPECT_THAT(client_.Take(),
                ElementsAre("leg-down kitchen 603", "leg-down door 603", "ended 603 by kitchen"));
}

TEST_F(TalkCalls, NobodyRingsForEver) {
    Do(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    Settle();
    Answers("hall");
    loop_.Advance(121s);
    EXPECT_EQ(client_.Last().code, 408);
    EXPECT_TRUE(table_.IsEmpty());
}

TEST_F(TalkCalls, HoldTellsBothPhonesAndResumeToo) {
    Establish("hall", "kitchen");
    Do(R"({"cmd":"hold","id":"1"})");
    EXPECT_THAT(media_.Take(), ElementsAre("block media", "offer callee>caller"));
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: re-invite"));
    Leg("hall").events->OnReanswer(200, PhoneSdp("inactive"));
    EXPECT_THAT(media_.Take(), ElementsAre("answer callee>caller", "offer caller>callee"));
    EXPECT_NE(media_.Last("offer").at("sdp").get<std::string>().find("a=inactive"), std::string::npos);
    Leg("kitchen").events->OnReanswer(200, PhoneSdp("inactive"));
    Settle();
    EXPECT_THAT(client_.Take(), ElementsAre("modified by command"));
    Do(R"({"cmd":"resume","id":"1"})");
    Settle();
    Leg("hall").events->OnReanswer(200, PhoneSdp());
    Settle();
    Leg("kitchen").events->OnReanswer(200, PhoneSdp());
    EXPECT_THAT(media_.Take(), Contains("unblock media"));
    EXPECT_NE(media_.Last("offer").at("sdp").get<std::string>().find("a=sendrecv"), std::string::npos);
}

TEST_F(TalkCalls, APhoneThatRefusesOrTakesNoReinviteIsHeldByTheGateAlone) {
    Establish("hall", "rigid");
    Do(R"({"cmd":"hold","id":"1"})");
    Settle();
    Leg("hall").events->OnReanswer(488, "");
    Settle();
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: re-invite"));
    EXPECT_THAT(client_.Take(), ElementsAre("modified by command"));
}

TEST_F(TalkCalls, APhonesReinviteIsAnsweredWithTheOtherEndsAnswer) {
    Establish("hall", "kitchen");
    Leg("kitchen").events->OnReoffer(PhoneSdp("sendonly"));
    EXPECT_THAT(media_.Take(), ElementsAre("offer callee>caller"));
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: re-invite"));
    Leg("hall").events->OnReanswer(200, PhoneSdp("recvonly"));
    EXPECT_THAT(media_.Take(), ElementsAre("answer callee>caller"));
    EXPECT_THAT(sip_.Take(), ElementsAre("kitchen: reanswer"));
    EXPECT_THAT(client_.Take(), ElementsAre("modified by kitchen"));
}

TEST_F(TalkCalls, AReinviteWhileAnotherIsUnderWayIsRefused) {
    Establish("hall", "kitchen");
    Leg("kitchen").events->OnReoffer(PhoneSdp("sendonly"));
    Settle();
    sip_.Take();
    Leg("hall").events->OnReoffer(PhoneSdp("sendonly"));
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: refuse 491"));
}

TEST_F(TalkCalls, ARefusedReinviteIsRefusedToWhoAsked) {
    Establish("hall", "kitchen");
    Leg("kitchen").events->OnReoffer(PhoneSdp("sendonly"));
    Settle();
    sip_.Take();
    Leg("hall").events->OnReanswer(488, "");
    EXPECT_THAT(sip_.Take(), ElementsAre("kitchen: refuse 488"));
    Leg("hall").events->OnReoffer(PhoneSdp("sendonly"));
    EXPECT_THAT(media_.Take(), Contains("offer caller>callee"));
}

TEST_F(TalkCalls, AHoldThatComesDuringAPhonesReinviteIsDoneAfterIt) {
    Establish("hall", "kitchen");
    Leg("kitchen").events->OnReoffer(PhoneSdp());
    Settle();
    Do(R"({"cmd":"hold","id":"1"})");
    Settle();
    sip_.Take();
    Leg("hall").events->OnReanswer(200, PhoneSdp());
    Settle();
    EXPECT_THAT(sip_.Take(), ElementsAre("kitchen: reanswer", "hall: re-invite"));
}

TEST_F(TalkCalls, MediaThatRtpengineHasForgottenIsSetUpAnewInAnotherRoom) {
    Establish("hall", "kitchen");
    const std::string room = media_.Last("offer").at("call-id");
    media_.refusals["query"] = "Unknown call-id";
    loop_.Advance(1s);
    media_.refusals.clear();
    EXPECT_THAT(media_.Take(), ElementsAre("offer placeholder"));
    EXPECT_NE(media_.Last("offer").at("call-id"), room);
    Leg("hall").events->OnReanswer(200, PhoneSdp());
    Settle();
    Leg("kitchen").events->OnReanswer(200, PhoneSdp());
    Settle();
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: re-invite", "kitchen: re-invite"));
    EXPECT_THAT(client_.Take(), ElementsAre("modified by callcontrol"));
}

TEST_F(TalkCalls, MediaThatIsForgottenWhileItRingsIsSetUpAnewWithTheAnswer) {
    Do(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    Settle();
    Answers("hall");
    sip_.Take();
    media_.Take();
    media_.refusals["answer"] = "Unknown call-id";
    Answers("kitchen");
    media_.refusals.clear();
    EXPECT_THAT(media_.Take(), ElementsAre("answer caller>callee", "offer placeholder"));
    Leg("hall").events->OnReanswer(200, PhoneSdp());
    Settle();
    Leg("kitchen").events->OnReanswer(200, PhoneSdp());
    Settle();
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: re-invite", "kitchen: re-invite"));
    EXPECT_THAT(client_.Take(), Contains("established"));
}

TEST_F(TalkCalls, APhoneThatTakesNoReinviteLosesTheCallWhenRtpengineDies) {
    Establish("hall", "rigid");
    media_.refusals["query"] = "Unknown call-id";
    loop_.Advance(1100ms);
    EXPECT_THAT(client_.Take(), Contains("ended 503 by callcontrol"));
}

TEST_F(TalkCalls, WithoutRtpengineForTenSecondsARunningCallEnds) {
    Establish("hall", "kitchen");
    media_.away = true;
    loop_.Advance(9s);
    EXPECT_FALSE(table_.IsEmpty());
    loop_.Advance(10s);
    EXPECT_TRUE(table_.IsEmpty());
    EXPECT_EQ(client_.Last().code, 503);
}

TEST_F(TalkCalls, APhoneThatSendsNothingForThreeSecondsIsLost) {
    Establish("hall", "kitchen");
    for (long second = 1; second <= 6 && !table_.IsEmpty(); ++second) {
        SetHeard(50 * second, 50);
        loop_.Advance(1s);
    }
    EXPECT_THAT(client_.Take(),
                ElementsAre("leg-down kitchen 408", "leg-down hall 408", "ended 408 by kitchen"));
}

// Mute, say: many phones send nothing then.
TEST_F(TalkCalls, APhoneThatSendsNothingButAnswersIsKept) {
    Establish("hall", "kitchen");
    SetHeard(0, 0);
    for (int second = 1; second <= 9; ++second) {
        loop_.Advance(1s);
        const auto asked = sip_.Take();
        EXPECT_THAT(asked, testing::Each(testing::EndsWith("probe")));
        for (const char* user : {"hall", "kitchen"})
            if (std::ranges::count(asked, std::string(user) + ": probe")) Leg(user).events->OnAlive();
    }
    EXPECT_THAT(client_.Take(), IsEmpty());
    loop_.Advance(1s);
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: probe", "kitchen: probe"));
}

// It cannot be asked, and the call is to outlive the proxy.
TEST_F(TalkCalls, APhoneThatSendsNothingIsKeptWhileTheProxyIsAway) {
    Establish("hall", "kitchen");
    SetHeard(0, 0);
    table_.SetProxyUp(false);
    loop_.Advance(9s);
    EXPECT_FALSE(table_.IsEmpty());
    table_.SetProxyUp(true);
    loop_.Advance(5s);
    EXPECT_TRUE(table_.IsEmpty());
}

TEST_F(TalkCalls, APhoneThatIsHeardIsNotAskedWhetherItIsThere) {
    Establish("hall", "kitchen");
    for (long second = 1; second <= 6; ++second) {
        SetHeard(50 * second, 50 * second);
        loop_.Advance(1s);
    }
    EXPECT_THAT(sip_.Take(), IsEmpty());
}

TEST_F(TalkCalls, AWatcherThatMayOnlyListenIsNeverTakenForLost) {
    Do(R"({"cmd":"hello","version":1,"all":true,"devices":[{"user":"kitchen","mayBeMonitored":true}]})");
    Do(R"({"cmd":"call","id":"1","kind":"monitor","from":"hall","to":["kitchen"]})");
    Settle();
    Answers("hall", "recvonly");
    EXPECT_THAT(media_.Take(), Contains("block media caller"));
    Answers("kitchen", "sendonly");
    for (long second = 1; second <= 6; ++second) {
        media_.tags = {{"callee", {{"medias", {{{"streams", {{{"stats", {{"packets", 50 * second}}}}}}}}}}}};
        loop_.Advance(1s);
    }
    EXPECT_FALSE(table_.IsEmpty());
}

TEST_F(TalkCalls, ACommandForACallThatIsOverOrRunsTwiceIsRefused) {
    Establish("hall", "kitchen");
    Do(R"({"cmd":"call","id":"1","from":"door","to":["attic"]})");
    EXPECT_EQ(client_.Last().reason, "call: a call \"1\" is running");
    Do(R"({"cmd":"hold","id":"2"})");
    EXPECT_EQ(client_.Last().reason, "hold: there is no call \"2\"");
    table_.SetSignalling(nullptr);
    Do(R"({"cmd":"call","id":"2","from":"door","to":["attic"]})");
    EXPECT_EQ(client_.Last().reason, "call: the SIP proxy is not running");
}

TEST_F(TalkCalls, DigitsGoToTheCalleeOrToWhoIsNamed) {
    Establish("hall", "kitchen");
    Do(R"({"cmd":"dtmf","id":"1","digits":"4"})");
    Do(R"({"cmd":"dtmf","id":"1","leg":"hall","digits":"#"})");
    EXPECT_THAT(sip_.Take(), ElementsAre("kitchen: digits 4", "hall: digits #"));
    Do(R"({"cmd":"dtmf","id":"1","leg":"attic","digits":"#"})");
    EXPECT_EQ(client_.Last().reason, "dtmf: nobody that they are for has answered");
}

TEST_F(TalkCalls, DigitsInTheSoundComeOneAfterTheOtherFromTheOtherEnd) {
    Establish("hall", "kitchen");
    Do(R"({"cmd":"dtmf","id":"1","digits":"4#","by":"rfc4733"})");
    loop_.Advance(200ms);
    EXPECT_THAT(media_.Take(), ElementsAre("offer caller>callee", "answer caller>callee"));
    EXPECT_THAT(media_.Last("answer").at("flags"), Contains("inject-DTMF"));
    loop_.Advance(100ms);
    EXPECT_EQ(media_.Last("play DTMF").at("code"), "4");
    loop_.Advance(1s);
    EXPECT_THAT(media_.Take(), ElementsAre("play DTMF caller", "play DTMF caller"));
    EXPECT_EQ(media_.Last("play DTMF").at("code"), "#");
    Do(R"({"cmd":"dtmf","id":"1","leg":"hall","digits":"1","by":"rfc4733"})");
    EXPECT_THAT(media_.Take(), ElementsAre("play DTMF callee"));
    EXPECT_THAT(sip_.Take(), IsEmpty());
    EXPECT_THAT(client_.Take(), IsEmpty());
}

TEST_F(TalkCalls, DigitsThatRtpengineDoesNotTakeAreSaidAndTheCallGoesOn) {
    Establish("hall", "kitchen");
    media_.refusals["offer"] = "no";
    Do(R"({"cmd":"dtmf","id":"1","digits":"4","by":"rfc4733"})");
    loop_.Advance(1s);
    EXPECT_EQ(client_.Last().reason, "dtmf: rtpengine takes no digits: no");
    media_.refusals = {{"play DTMF", "no such thing"}};
    Do(R"({"cmd":"dtmf","id":"1","digits":"44","by":"rfc4733"})");
    loop_.Advance(1s);
    EXPECT_EQ(client_.Last().reason, "dtmf: rtpengine plays no digits: no such thing");
    EXPECT_THAT(client_.Take(), ElementsAre("refused 488", "refused 488"));
    Do(R"({"cmd":"hold","id":"1"})");
    Settle();
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: re-invite"));
}

TEST_F(TalkCalls, DigitsInTheSoundThatNobodyWouldHearAreRefused) {
    Do(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    Settle();
    Answers("hall");
    Do(R"({"cmd":"dtmf","id":"1","digits":"4","by":"rfc4733","leg":"hall"})");
    EXPECT_EQ(client_.Last().reason, "dtmf: the call is not established");
    Answers("kitchen");
    Do(R"({"cmd":"hold","id":"1"})");
    Do(R"({"cmd":"dtmf","id":"1","digits":"4","by":"rfc4733"})");
    EXPECT_EQ(client_.Last().reason, "dtmf: the call is held");
}

TEST_F(TalkCalls, ADigitThatRtpengineHasSeenIsToldUnlessItIsOurs) {
    Establish("hall", "kitchen");
    const std::string room = media_.Last("offer").at("call-id");
    Do(R"({"cmd":"dtmf","id":"1","digits":"4","by":"rfc4733"})");
    loop_.Advance(1s);
    table_.TakeDigit({room, "caller", '4'});
    EXPECT_THAT(client_.Take(), IsEmpty());
    table_.TakeDigit({room, "caller", '4'});
    EXPECT_THAT(client_.Take(), ElementsAre("dtmf hall by rfc4733"));
    table_.TakeDigit({room, "callee", '5'});
    EXPECT_EQ(client_.Last().digits, "5");
    EXPECT_EQ(client_.Last().leg, "kitchen");
    table_.TakeDigit({"another room", "callee", '5'});
    EXPECT_EQ(client_.events.size(), 1u);
}

TEST_F(TalkCalls, KeysAreOfferedToACalleeWhateverTheCallerAnswered) {
    Do(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    Settle();
    EXPECT_NE(media_.Last("offer").at("sdp").get<std::string>().find("telephone-event/8000"),
              std::string::npos);
    Answers("hall");
    EXPECT_THAT(media_.Last("offer").at("codec").at("transcode"), Contains("telephone-event"));
}

TEST(RoomDigit, IsReadFromWhatRtpengineLogsAndFromNothingElse) {
    const auto digit = telephony::DigitIn(
        R"({"callid":"r","source_tag":"a","tags":["a","b"],"type":"DTMF","event":11,"duration":120,"volume":10})");
    ASSERT_TRUE(digit);
    EXPECT_EQ(digit->room, "r");
    EXPECT_EQ(digit->tag, "a");
    EXPECT_EQ(digit->digit, '#');
    for (const char* const text : {"", "x", "[]", "{}", R"({"type":"DTMF"})", R"({"type":"DTMF","event":16})",
                                   R"({"type":"DTMF","event":-1})", R"({"type":7,"event":1})"})
        EXPECT_FALSE(telephony::DigitIn(text)) << text;
}

TEST_F(TalkCalls, TheJournalHoldsTheLegsOfARunningCall) {
    Establish("hall", "kitchen");
    const auto entries = journal_.Read();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].dialogs, (std::vector<nlohmann::json>{{{"leg", "hall"}}, {{"leg", "kitchen"}}}));
    EXPECT_EQ(entries[0].room, media_.Last("offer").at("call-id"));
}

TEST(Journal, WhatIsNoEntryIsRemovedAndTheRestIsRead) {
    TempFolder folder;
    telephony::Journal journal(folder / "journal");
    journal.Write("room-1", {R"({"callId":"a"})"});
    WriteFile(folder / "journal/room-2.json", "{\"room\":\"room-2\",\"dia");
    WriteFile(folder / "journal/room-3.json", R"({"room":"../x","dialogs":[]})");
    const auto entries = journal.Read();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].room, "room-1");
    EXPECT_FALSE(std::filesystem::exists(folder / "journal/room-2.json"));
    journal.Remove("room-1");
    EXPECT_TRUE(journal.Read().empty());
}

TEST(Journal, AFolderThatOthersMayEnterIsRefused) {
    TempFolder folder;
    std::filesystem::create_directory(folder / "journal");
    std::filesystem::permissions(folder / "journal", std::filesystem::perms(0755));
    EXPECT_THROW(telephony::Journal{folder / "journal"}, std::runtime_error);
}

TEST(Journal, ADiskThatTakesNothingIsSaidOnceAndEndsNothing) {
    TempFolder folder;
    telephony::Journal journal(folder / "journal");
    std::filesystem::remove(folder / "journal");
    testing::internal::CaptureStderr();
    journal.Write("room-1", {});
    journal.Write("room-1", {});
    std::filesystem::create_directory(folder / "journal");
    journal.Write("room-1", {});
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(log.find("cannot be written"), log.rfind("cannot be written"));
    EXPECT_NE(log.find("can be written again"), std::string::npos);
    EXPECT_EQ(journal.Read().size(), 1u);
}

}  // namespace
}  // namespace test
