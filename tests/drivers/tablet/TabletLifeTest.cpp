// What ends, breaks and comes back: pages in calls, call control, the driver itself.
#include "drivers/calls/DeviceConfig.h"
#include "tests/drivers/tablet/TabletFixture.h"

using dvIntercom::NO_SESSION;
using telephony::EventKind;
using telephony::LegState;
using test::kSdp;
using test::kSdpInXml;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using json = nlohmann::json;
using std::chrono::milliseconds;

json Present(bool present) {
    return {{"cmd", "page-present"}, {"leg", "hall"}, {"present", present}};
}

json Hangup(const std::string& id = "1") {
    return {{"cmd", "hangup"}, {"id", id}, {"leg", "hall"}};
}

class TabletLife : public test::TabletFixture {
protected:
    std::string FaultOf(const std::string& config) {
        Tablet faulty(host);
        try {
            faulty.Initialize(110, *test::Element("<config>" + config + "</config>"), nullptr);
        } catch (const ConfigError& fault) {
            return fault.what();
        }
        faulty.OnDestroy();
        return "none";
    }

    telephony::CallReport RunningCall() const {
        telephony::CallReport call = Call("1", "kitchen", {"hall"});
        call.state = "established";
        call.seconds = 75;
        call.legs[0].state = call.legs[1].state = LegState::Up;
        return call;
    }

    void Reconnect() {
        control->Drop();
        EXPECT_TRUE(IsLogged("call control is away"));
        EXPECT_TRUE(control->Accept());
        control->Read();
        Tell(control->snapshot);
    }

    static constexpr char kGone[] =
        "<ended call=\"1\" code=\"480\" reason=\"The page is gone\" by=\"hall\" seconds=\".\"/>";
};

TEST_F(TabletLife, AKeyIsEnoughAndFaultsAreOneLine) {
    EXPECT_EQ("none", FaultOf("<key>x</key>"));
    EXPECT_THAT(FaultOf(""), HasSubstr("<key> is missing"));
    EXPECT_THAT(
        FaultOf("<key>x</key><password>p</password>"),
        HasSubstr("<password> means nothing in <config>; it takes answerWithVideo, autoAnswer, callControl, "
                  "camera"));
    EXPECT_EQ("<camera> must be true or false, not \"yes\"", FaultOf("<key>x</key><camera>yes</camera>"));
    EXPECT_EQ("<silence> must be a number from 1500 to 3600000 (milliseconds), not \"1\"",
              FaultOf("<key>x</key><silence>1</silence>"));
    EXPECT_THAT(FaultOf("<key>a b</key>"), HasSubstr("the SIP user \"a b\" must be"));
    EXPECT_EQ(nullptr, agent.GetIntercomDevice(110));
}

TEST_F(TabletLife, CallControlIsToldThatItIsAPage) {
    Start("<mayBeMonitored>true</mayBeMonitored>");
    EXPECT_EQ(json::parse(R"({"cmd":"hello","version":1,"all":false,"devices":[{"user":"hall","name":"Hall",
        "answer":"none","hold":"re-invite","mayBeMonitored":true,"page":true}]})"),
              Greet());
}

TEST_F(TabletLife, ATabletHasNoPassword) {
    StartConnected();
    EXPECT_EQ("hall", tablet->getSipAccount().user);
    EXPECT_EQ("", tablet->getSipAccount().password);
    EXPECT_FALSE(tablet->isDoorStation());
    EXPECT_FALSE(tablet->is3rdParty());
}

TEST_F(TabletLife, ThePageThatClosesInACallIsLostToTheOtherEnd) {
    StartConnected();
    const unsigned long page = OpenPage();
    BeInCall(page);
    Say(page, "tabletBye");
    EXPECT_EQ(Present(false), control->Read());
    Tell(LegDown("1", "hall", 480, "The page is gone"));
    Tell(LegDown("1", "kitchen", 480, "The page is gone"));
    EXPECT_THAT(TakeAgent(), Contains("agent EndOfflineSession [hall] [down]"));
    EXPECT_EQ(NO_SESSION, tablet->findSessionId("kitchen"));
    EXPECT_EQ(4, tablet->getCurrentState());
}

TEST_F(TabletLife, ThePageThatClosesWhileItRingsTakesTheCallWithIt) {
    StartConnected();
    const unsigned long page = OpenPage();
    BeInvited();
    Say(page, "tabletRinging", "1");
    Tell(About(EventKind::Ringing, "1", "hall", 180));
    control->Read();
    Say(page, "tabletBye");
    EXPECT_EQ(Present(false), control->Read());
    EXPECT_THAT(TakeAgent(), Contains("agent EndOfflineSession [hall] [down]"));
}

TEST_F(TabletLife, OfTwoPagesTheOtherStaysWhenTheOneInTheCallIsGone) {
    times.grace = milliseconds(20);
    StartConnected();
    const unsigned long page = OpenPage();
    OpenPage();
    BeInCall(page);
    CloseStream(page);
    EXPECT_TRUE(IsLogged("the page of call 1 is gone; the call is left"));
    for (const bool present : {true, false, true})
        EXPECT_EQ(Present(present), control->Read());
    Tell(LegDown("1", "hall", 480, "The page is gone"));
    EXPECT_THAT(TakeAgent(), testing::Not(Contains(HasSubstr("EndOfflineSession"))));
    EXPECT_EQ(0, tablet->getCurrentState());
}

// Otherwise its other calls would end with it.
TEST_F(TabletLife, OfSeveralCallsOnlyThatOfTheLostPageIsHungUp) {
    StartConnected();
    const unsigned long first = OpenPage();
    const unsigned long second = OpenPage();
    BeInCall(first, "1");
    BeInCall(second, "2");
    Say(first, "tabletBye");
    EXPECT_EQ(Hangup("1"), control->Read());
    Tell(LegDown("1", "hall", 200, "Hung up from outside"));
    EXPECT_EQ("<success/>", Say(second, "tabletPing", "2"));
}

TEST_F(TabletLife, APageThatFallsSilentInACallIsGone) {
    times.calls.silence = milliseconds(30);
    StartConnected();
    const unsigned long page = OpenPage();
    BeInvited();
    Say(page, "tabletAnswer", "1", {{"sdp", kSdp}});
    EXPECT_EQ("page-answer", control->Read().at("cmd"));
    EXPECT_TRUE(IsLogged("the page of call 1 is gone; the call is left"));
    for (const bool present : {true, false, true})
        EXPECT_EQ(Present(present), control->Read());
    TakePages();
    Tell(LegDown("1", "hall", 480, "The page is gone"));
    EXPECT_THAT(TakePages(), ElementsAre("1 " + std::string(kGone)));
}

TEST_F(TabletLife, APageThatComesBackGetsWhatItHasMissed) {
    StartConnected();
    const unsigned long before = OpenPage();
    BeInCall(before);
    CloseStream(before);
    Tell(About(EventKind::PageKeyframe, "1", "hall"));
    Tell(Offer("1"));
    const unsigned long after = OpenPage();
    EXPECT_EQ("<success/>", Say(after, "tabletPing", "1"));
    EXPECT_THAT(TakePages(), ElementsAre("2 <keyframe call=\"1\"/>",
                                         "2 <offer call=\"1\">" + std::string(kSdpInXml) + "</offer>"));
    EXPECT_EQ("<success/>", Say(after, "tabletAnswer", "1", {{"sdp", kSdp}}));
    EXPECT_EQ("<error>call 1 is at another page of this tablet</error>", Say(before, "tabletPing", "1"));
}

// A network that is gone without a word leaves the old stream open for a while.
TEST_F(TabletLife, TheOldStreamOfAPageThatCameBackMayStillBeOpen) {
    StartConnected();
    const unsigned long before = OpenPage();
    BeInCall(before);
    const unsigned long after = OpenPage();
    EXPECT_EQ("<success/>", Say(after, "tabletPing", "1"));
    EXPECT_THAT(TakePages(), ElementsAre("1 <elsewhere call=\"1\" where=\"Hall\"/>"));
    CloseStream(before);
    Tell(About(EventKind::PageKeyframe, "1", "hall"));
    EXPECT_THAT(TakePages(), ElementsAre("2 <keyframe call=\"1\"/>"));
}

TEST_F(TabletLife, PagesKeepTheirCallsWhenTheDriverIsStartedAnew) {
    control->snapshot.calls = {RunningCall()};
    StartConnected();
    EXPECT_EQ(0, tablet->findSessionId("kitchen"));
    Tell(About(EventKind::PageKeyframe, "1", "hall"));
    const unsigned long reader = OpenStream();
    Say(reader, "tabletHello", "", {{"version", "1"}});
    EXPECT_THAT(TakePages(),
                ElementsAre(HasSubstr("<opened "),
                            HasSubstr(R"(<call call="1" kind="regular" role="callee" from="kitchen" )"
                                      R"(name="Kitchen" called="" state="established" seconds="."/>)")));
    EXPECT_GE(seconds.at(0), 75);
    EXPECT_EQ("<success/>", Say(reader, "tabletPing", "1"));
    EXPECT_THAT(TakePages(), ElementsAre("1 <keyframe call=\"1\"/>"));
}

TEST_F(TabletLife, ACallWhosePageDoesNotComeBackAfterAStartIsLeft) {
    times.calls.comingBack = milliseconds(30);
    control->snapshot.calls = {RunningCall()};
    StartConnected();
    EXPECT_TRUE(IsLogged("the page of call 1 is gone; the call is left"));
    EXPECT_EQ(Present(true), control->Read());
    EXPECT_EQ(Present(false), control->Read());
}

TEST_F(TabletLife, AnInviteThatComesBeforeThePagesWaitsForThem) {
    StartConnected();
    BeInvited();
    const unsigned long reader = OpenStream();
    Say(reader, "tabletHello", "", {{"version", "1"}});
    EXPECT_THAT(TakePages(),
                ElementsAre(HasSubstr("<opened "), HasSubstr("<welcome "), HasSubstr("<invite call=\"1\"")));
}

TEST_F(TabletLife, AnInviteForWhichNoPageComesIsRefused) {
    times.calls.comingBack = milliseconds(30);
    StartConnected();
    BeInvited();
    EXPECT_TRUE(IsLogged("the call of Kitchen is refused: no page is open"));
    const json reject = control->Read();
    EXPECT_EQ("page-reject", reject.at("cmd"));
    EXPECT_EQ(480, reject.at("code"));
    EXPECT_EQ("No page is open", reject.at("reason"));
}

TEST_F(TabletLife, PagesAreToldThatCallControlIsAwayAndThatItIsBack) {
    StartConnected();
    const unsigned long page = OpenPage();
    BeInCall(page);
    control->snapshot.calls = {RunningCall()};
    Reconnect();
    EXPECT_EQ(Present(true), control->Read());
    EXPECT_THAT(TakePages(), ElementsAre("1 <callControl up=\"false\" reason=\"it closed the connection\"/>",
                                         "1 <callControl up=\"true\"/>"));
    EXPECT_EQ("<success/>", Say(page, "tabletPing", "1"));
}

TEST_F(TabletLife, ASnapshotInBetweenChangesNothing) {
    StartConnected();
    BeInCall(OpenPage());
    control->snapshot.calls = {RunningCall()};
    Tell(control->snapshot);
    EXPECT_THAT(TakePages(), IsEmpty());
}

TEST_F(TabletLife, ACallThatEndedWhileCallControlWasAwayIsOverAtThePage) {
    StartConnected();
    BeInCall(OpenPage());
    Reconnect();
    EXPECT_THAT(TakePages(),
                Contains("1 <ended call=\"1\" code=\"480\" reason=\"It has ended while call control was "
                         "away\" by=\"callcontrol\" seconds=\".\"/>"));
}

TEST_F(TabletLife, CallsOfACallControlThatStaysAwayAreOverAtThePage) {
    times.calls.comingBack = milliseconds(30);
    StartConnected();
    BeInCall(OpenPage());
    control.reset();
    EXPECT_TRUE(
        IsTold("1 <ended call=\"1\" code=\"503\" reason=\"Call control is away\" by=\"callcontrol\" "
               "seconds=\".\"/>"));
}

TEST_F(TabletLife, WhileCallControlIsAwayNothingIsAnswered) {
    StartConnected();
    const unsigned long page = OpenPage();
    BeInvited();
    control.reset();
    EXPECT_TRUE(IsLogged("call control is away"));
    EXPECT_EQ("<error>call control is away; it is tried again</error>",
              Say(page, "tabletAnswer", "1", {{"sdp", kSdp}}));
    EXPECT_EQ("<error>call control is away; it is tried again</error>", Say(page, "tabletDecline", "1"));
}

TEST_F(TabletLife, WhatAPageHangsUpWhileCallControlIsAwayIsOverForIt) {
    StartConnected();
    const unsigned long page = OpenPage();
    BeInCall(page);
    control->Drop();
    EXPECT_TRUE(IsLogged("call control is away"));
    TakePages();
    EXPECT_EQ("<success/>", Say(page, "tabletHangup", "1"));
    EXPECT_THAT(
        TakePages(),
        ElementsAre("1 <ended call=\"1\" code=\"200\" reason=\"Hung up\" by=\"hall\" seconds=\".\"/>"));
    control->snapshot.calls = {RunningCall()};
    EXPECT_TRUE(control->Accept());
    control->Read();
    Tell(control->snapshot);
    EXPECT_EQ(Hangup(), control->Read());
}

TEST_F(TabletLife, AnAnswerThatWasLostWithTheConnectionIsSentAgain) {
    StartConnected();
    const unsigned long page = OpenPage();
    BeInvited();
    Say(page, "tabletAnswer", "1", {{"sdp", kSdp}});
    const json answer = control->Read();
    auto ringing = RunningCall();
    ringing.state = "calling";
    ringing.legs[1].state = LegState::Ringing;
    control->snapshot.calls = {ringing};
    Reconnect();
    TakePages();
    Tell(Invitation("1", telephony::LegRole::Callee));
    EXPECT_THAT(TakePages(), IsEmpty());
    EXPECT_EQ(Present(true), control->Read());
    EXPECT_EQ(answer, control->Read());
}

TEST_F(TabletLife, AnInviteThatIsToldAgainRingsOnAndAnotherOneReplacesIt) {
    StartConnected();
    OpenPage();
    BeInvited();
    TakePages();
    Tell(Invitation("1", telephony::LegRole::Callee));
    EXPECT_THAT(TakePages(), IsEmpty());
    auto other = Invitation("1", telephony::LegRole::Callee);
    other.sdp = "v=0";
    Tell(other);
    EXPECT_THAT(TakePages(), ElementsAre(HasSubstr("<sdp>v=0</sdp>")));
}

TEST_F(TabletLife, SettingsAreKeptAndCallsAreLeftToCallControl) {
    StartConnected();
    BeInCall(OpenPage());
    tablet->setRingDoorbell(true);
    const auto saved = tablet->GetPersistState(0);
    Stop();
    EXPECT_TRUE(control->IsClosed());
    tablet = std::make_unique<Tablet>(host, times);
    EXPECT_EQ(0, tablet->Initialize(101, *test::Element("<config><key>hall</key></config>"), saved.get()));
    EXPECT_TRUE(tablet->getRingDoorbell());
}

}  // namespace
