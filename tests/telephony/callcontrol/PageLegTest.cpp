// What passes between call control and the client that speaks for browser pages.
#include "telephony/callcontrol/Pages.h"

#include "tests/telephony/callcontrol/PageHome.h"

namespace test {
namespace {

using namespace std::chrono_literals;
using telephony::CallKind;
using telephony::Direction;
using telephony::Event;
using telephony::EventKind;
using telephony::LegRole;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class PageLegs : public PageHome {};

TEST_F(PageLegs, APageIsInvitedThroughItsClientAlone) {
    Call("hall", "tablet", R"(,"called":"Upstairs")");
    PhoneAnswers("hall");
    const Event invite = Told(EventKind::PageInvite);
    EXPECT_EQ(invite.id, "1");
    EXPECT_EQ(invite.leg, "tablet");
    EXPECT_THAT(invite.sdp, StartsWith("v=0"));
    EXPECT_EQ(invite.page.role, LegRole::Callee);
    EXPECT_EQ(invite.page.from, "hall");
    EXPECT_EQ(invite.page.name, "Hall");
    EXPECT_EQ(invite.page.called, "Upstairs");
    EXPECT_EQ(invite.page.audio, Direction::Both);
    EXPECT_FALSE(invite.page.answers);
    PageRings("tablet");
    PageAnswers("tablet");
    EXPECT_THAT(pages_.Take(), ElementsAre("calling", "leg-up hall", "page-invite tablet",
                                           "ringing tablet 180", "leg-up tablet", "established"));
    EXPECT_THAT(others_.Take(),
                ElementsAre("calling", "leg-up hall", "ringing tablet 180", "leg-up tablet", "established"));
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: invite"));
}

TEST_F(PageLegs, APageThatBeginsACallIsInvitedFirstAndAnswersByItself) {
    Call("tablet", "hall", R"(,"video":"send")");
    const Event invite = Told(EventKind::PageInvite);
    EXPECT_EQ(invite.page.role, LegRole::Caller);
    EXPECT_TRUE(invite.page.answers);
    EXPECT_EQ(invite.page.video, Direction::Send);
    EXPECT_EQ(invite.page.from, "hall");
    PageAnswers("tablet");
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: invite"));
    EXPECT_EQ(sip_.Leg("hall").invitation.fromName, "Kitchen tablet");
    PhoneAnswers("hall");
    EXPECT_THAT(pages_.Take(),
                ElementsAre("calling", "page-invite tablet", "leg-up tablet", "leg-up hall", "established"));
}

TEST_F(PageLegs, AWatchedPageSendsOnlyAndAWatchingOneHearsOnly) {
    Call("hall", "tablet", R"(,"kind":"monitor")");
    PhoneAnswers("hall");
    Event invite = Told(EventKind::PageInvite);
    EXPECT_EQ(invite.page.kind, CallKind::Monitor);
    EXPECT_EQ(invite.page.audio, Direction::Send);
    EXPECT_TRUE(invite.page.answers);
    Do(R"({"cmd":"hangup","id":"1"})");
    loop_.Advance(1s);
    Call("attic", "tablet", R"(,"kind":"monitor")");
    invite = Told(EventKind::PageInvite);
    EXPECT_EQ(invite.leg, "attic");
    EXPECT_EQ(invite.page.audio, Direction::Receive);
}

TEST_F(PageLegs, PagesNeedNoProxyForCallsAmongThemselves) {
    table_.SetSignalling(nullptr);
    Call("tablet", "hall");
    EXPECT_EQ(others_.Last().reason, "call: the SIP proxy is not running");
    Call("hall", "tablet");
    EXPECT_EQ(others_.Last().reason, "call: the SIP proxy is not running");
    TakeAll();
    Call("tablet", R"(attic","hall)");
    PageAnswers("tablet");
    PageAnswers("attic");
    EXPECT_THAT(pages_.Take(),
                ElementsAre("calling", "page-invite tablet", "leg-up tablet", "page-invite attic",
                            "leg-down hall 480", "leg-up attic", "established"));
}

TEST_F(PageLegs, ARefusalIsTheEndOfTheCallWithItsCodeAndWords) {
    Call("hall", "tablet");
    PhoneAnswers("hall");
    Do(R"({"cmd":"page-reject","id":"1","leg":"tablet","code":486,"reason":"Do not disturb"})");
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: invite", "hall: hangup 486 Do not disturb"));
    EXPECT_THAT(others_.Take(), ElementsAre("calling", "leg-up hall", "leg-down tablet 486",
                                            "leg-down hall 486", "ended 486 by tablet"));
}

TEST_F(PageLegs, WhatComesTooLateIsRefused) {
    Call("hall", "tablet");
    PhoneAnswers("hall");
    PageAnswers("tablet");
    PageRings("tablet");
    EXPECT_EQ(Refusal(), "page-ringing: the page is not called");
    PageAnswers("tablet");
    EXPECT_EQ(Refusal(), "page-answer: nothing waits for an answer of this page");
    EXPECT_EQ(Told(EventKind::Refused).id, "1");
    Do(R"({"cmd":"page-reject","id":"1","leg":"tablet","code":486})");
    EXPECT_EQ(Refusal(), "page-reject: nothing waits for an answer of this page");
    Do(R"({"cmd":"hangup","id":"1"})");
    PageAnswers("tablet");
    EXPECT_EQ(Refusal(), "page-answer: there is no call \"1\"");
    EXPECT_TRUE(table_.IsEmpty());
}

TEST_F(PageLegs, APageThatAnswersAfterAnotherIsNotInTheCallAnyMore) {
    Call("hall", R"(tablet","attic)");
    PhoneAnswers("hall");
    PageAnswers("attic");
    PageAnswers("tablet");
    EXPECT_EQ(Refusal(), "page-answer: \"tablet\" is not in this call");
    EXPECT_THAT(others_.Take(),
                ElementsAre("calling", "leg-up hall", "leg-up attic", "leg-down tablet 200", "established"));
}

TEST_F(PageLegs, OnlyWhoSpeaksForAPageIsHeardOfIt) {
    Call("hall", "tablet");
    PhoneAnswers("hall");
    for (const char* line : {R"({"cmd":"page-answer","id":"1","leg":"tablet","sdp":"v=0"})",
                             R"({"cmd":"page-present","leg":"tablet","present":false})"}) {
        Do(line, others_);
        EXPECT_EQ(others_.Last().kind, EventKind::Refused);
        EXPECT_EQ(others_.Last().code, 403);
    }
    Do(R"({"cmd":"page-answer","id":"1","leg":"hall","sdp":"v=0"})");
    EXPECT_EQ(Refusal(), "page-answer: this client does not speak for pages of \"hall\"");
    PageAnswers("tablet");
    EXPECT_EQ(pages_.Last().kind, EventKind::Established);
}

TEST_F(PageLegs, ADescriptionThatIsTooLongIsRefusedAndAShorterOneIsTaken) {
    Call("hall", "tablet");
    PhoneAnswers("hall");
    Do(R"({"cmd":"page-answer","id":"1","leg":"tablet","sdp":")" + std::string(7001, 'v') + "\"}");
    EXPECT_EQ(Refusal(), "page-answer: the description is longer than 7000 bytes");
    Do(R"({"cmd":"page-answer","id":"1","leg":"tablet","sdp":")" + std::string(7000, 'v') + "\"}");
    EXPECT_EQ(pages_.Last().kind, EventKind::Established);
}

// ---- there and away

TEST_F(PageLegs, WhetherAPageIsOpenIsToldAsOfPhones) {
    Present("tablet");
    EXPECT_THAT(others_.Take(), IsEmpty());  // known
    Present("tablet", false);
    EXPECT_EQ(others_.Last().kind, EventKind::Lost);
    EXPECT_EQ(others_.Last().phone.user, "tablet");
    EXPECT_EQ(others_.Last().reason, "closed");
    Do(R"({"cmd":"status"})");
    EXPECT_EQ(pages_.Last().phones.at(0).user, "attic");
    EXPECT_EQ(pages_.Last().phones.at(0).agent, "page");
    EXPECT_THAT(pages_.Last().away, Contains(testing::Field(&telephony::RegisteredPhone::user, "tablet")));
    others_.Take();
    table_.Leave(pages_);
    EXPECT_EQ(others_.Last().phone.user, "attic");
    EXPECT_EQ(others_.Last().reason, "disconnected");
}

TEST_F(PageLegs, APageThatIsAwayIsAnsweredAtOnceAndNobodyIsCalledForIt) {
    Present("tablet", false);
    TakeAll();
    Call("hall", "tablet");
    EXPECT_THAT(sip_.Take(), IsEmpty());
    EXPECT_THAT(others_.Take(), ElementsAre("calling", "leg-down hall 480", "leg-down tablet 480",
                                            "ended 480 by callcontrol"));
    table_.Leave(pages_);
    TakeAll();
    Call("hall", R"(tablet","kitchen)");
    PhoneAnswers("hall");
    EXPECT_THAT(others_.Take(), ElementsAre("calling", "leg-up hall", "leg-down tablet 480"));
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: invite", "kitchen: invite"));
}

TEST_F(PageLegs, TheLastPageThatClosesEndsTheCall) {
    EstablishHallAndTablet();
    Present("tablet", false);
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: hangup 480 The page is gone"));
    EXPECT_THAT(pages_.Take(),
                ElementsAre("leg-down tablet 480", "leg-down hall 480", "lost", "ended 480 by tablet"));
}

TEST_F(PageLegs, OfTwoHangupsAtOnceOneIsDoneAndTheOtherRefused) {
    EstablishHallAndTablet();
    table_.Execute(pages_, telephony::ParseCommand(R"({"cmd":"hangup","id":"1","leg":"tablet"})"));
    table_.Execute(others_, telephony::ParseCommand(R"({"cmd":"hangup","id":"1"})"));
    table_.Execute(pages_, telephony::ParseCommand(R"({"cmd":"hangup","id":"1","leg":"tablet"})"));
    loop_.Advance(1ms);
    EXPECT_THAT(pages_.Take(), ElementsAre("leg-down tablet 200", "leg-down hall 200", "refused 481",
                                           "ended 200 by tablet"));
    EXPECT_TRUE(table_.IsEmpty());
}

// ---- the client is lost and comes back

TEST_F(PageLegs, ACallOutlivesTheClientAndTheNextOneSpeaksForItsPage) {
    EstablishHallAndTablet();
    table_.Leave(pages_);
    loop_.Advance(1min);
    FakeClient next;
    Do(kPagesHello, next);
    EXPECT_EQ(next.events.at(0).calls.at(0).legs.at(1).user, "tablet");
    EXPECT_EQ(next.events.at(0).calls.at(0).legs.at(1).state, telephony::LegState::Up);
    EXPECT_EQ(next.events.size(), 1u);
    Do(R"({"cmd":"hold","id":"1"})", next);
    sip_.Leg("hall").events->OnReanswer(200, PhoneSdp("inactive"));
    loop_.Advance(1ms);
    EXPECT_EQ(next.Last().kind, EventKind::PageOffer);
    EXPECT_EQ(next.Last().leg, "tablet");
}

TEST_F(PageLegs, WhatWaitsForAnAnswerIsToldAgainToTheNextClientAndOnlyToIt) {
    Call("hall", R"(tablet","attic)");
    PhoneAnswers("hall");
    const Event before = Told(EventKind::PageInvite);
    Do(kPagesHello);
    EXPECT_EQ(pages_.Last().kind, EventKind::Snapshot);
    table_.Leave(pages_);
    FakeClient next;
    Do(kPagesHello, next);
    EXPECT_THAT(next.Take(), ElementsAre("snapshot", "page-invite attic", "page-invite tablet"));
    Do(R"({"cmd":"page-present","leg":"tablet","present":true})", next);
    loop_.Advance(30s);
    EXPECT_THAT(next.Take(), Contains("leg-down attic 480"));  // nobody has said that it is there
    Do(R"({"cmd":"page-answer","id":"1","leg":"tablet","sdp":"v=0"})", next);
    EXPECT_EQ(next.Last().kind, EventKind::Established);
}

TEST_F(PageLegs, AnInvitedPageOfWhomNobodySpeaksIsGoneAfterTenSeconds) {
    Call("hall", "tablet");
    PhoneAnswers("hall");
    PageRings("tablet");
    table_.Leave(pages_);
    TakeAll();
    loop_.Advance(9s);
    EXPECT_THAT(others_.Take(), Not(Contains("leg-down tablet 480")));
    loop_.Advance(2s);
    EXPECT_THAT(others_.Take(), Contains("ended 480 by tablet"));
}

TEST_F(PageLegs, WhoSpeaksLastForAPageSpeaksAlone) {
    FakeClient second;
    Do(kPagesHello, second);
    Do(R"({"cmd":"page-present","leg":"tablet","present":true})", second);
    Do(R"({"cmd":"page-present","leg":"tablet","present":false})");
    EXPECT_EQ(Told(EventKind::Refused).code, 403);
    table_.Leave(pages_);  // the connection that was replaced is only now found dead
    Call("hall", "tablet");
    PhoneAnswers("hall");
    EXPECT_EQ(second.Last().kind, EventKind::PageInvite);
}

// ---- changes within the call

TEST_F(PageLegs, HoldAndResumeOfferToThePage) {
    EstablishHallAndTablet();
    Do(R"({"cmd":"hold","id":"1"})");
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: re-invite"));
    sip_.Leg("hall").events->OnReanswer(200, PhoneSdp("inactive"));
    loop_.Advance(1ms);
    EXPECT_EQ(Told(EventKind::PageOffer).leg, "tablet");
    PageAnswers("tablet", "inactive");
    EXPECT_THAT(pages_.Take(), ElementsAre("page-offer tablet", "modified by command"));
    Do(R"({"cmd":"resume","id":"1"})");
    sip_.Leg("hall").events->OnReanswer(200, PhoneSdp());
    loop_.Advance(1ms);
    PageAnswers("tablet");
    EXPECT_THAT(pages_.Take(), ElementsAre("page-offer tablet", "modified by command"));
}

TEST_F(PageLegs, AnOfferThatIsNotAnsweredIsToldAgainToTheNextClientAndThenCountsAsRefused) {
    EstablishHallAndTablet();
    Do(R"({"cmd":"hold","id":"1"})");
    sip_.Leg("hall").events->OnReanswer(200, PhoneSdp("inactive"));
    loop_.Advance(1ms);
    table_.Leave(pages_);
    FakeClient next;
    Do(kPagesHello, next);
    EXPECT_THAT(next.Take(), ElementsAre("snapshot", "page-offer tablet"));
    loop_.Advance(10s);
    EXPECT_THAT(next.Take(), Contains("modified by command"));  // held on the way to it alone
    Do(R"({"cmd":"page-answer","id":"1","leg":"tablet","sdp":"v=0"})", next);
    EXPECT_EQ(next.Last().code, 481);
}

TEST_F(PageLegs, APageThatRefusesAnOfferStaysInTheCall) {
    EstablishHallAndTablet();
    Do(R"({"cmd":"hold","id":"1"})");
    sip_.Leg("hall").events->OnReanswer(200, PhoneSdp("inactive"));
    loop_.Advance(1ms);
    Do(R"({"cmd":"page-reject","id":"1","leg":"tablet","code":500})");
    EXPECT_THAT(pages_.Take(), ElementsAre("page-offer tablet", "modified by command"));
    EXPECT_FALSE(table_.IsEmpty());
}

TEST_F(PageLegs, APhonesReinviteIsAnsweredWithThePagesAnswerUnlessOneIsUnderWay) {
    EstablishHallAndTablet();
    sip_.Leg("hall").events->OnReoffer(PhoneSdp("sendonly"));
    loop_.Advance(1ms);
    EXPECT_EQ(Told(EventKind::PageOffer).leg, "tablet");
    sip_.Leg("hall").events->OnReoffer(PhoneSdp("sendonly"));
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: refuse 491"));
    PageAnswers("tablet", "recvonly");
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: reanswer"));
    EXPECT_THAT(others_.Take(), ElementsAre("modified by hall"));
}

TEST_F(PageLegs, TheAnswerToAnOfferThatWasReplacedIsNotTakenForTheAnswerToTheNext) {
    EstablishHallAndTablet();
    Do(R"({"cmd":"hold","id":"1"})");
    sip_.Leg("hall").events->OnReanswer(200, PhoneSdp("inactive"));
    loop_.Advance(1ms);
    media_.refusals["query"] = "Unknown call-id";
    loop_.Advance(1s);  // set up anew: hall is the caller
    sip_.Leg("hall").events->OnReanswer(200, PhoneSdp());
    media_.refusals.clear();
    loop_.Advance(1ms);
    EXPECT_THAT(pages_.Take(), ElementsAre("page-offer tablet"));
    media_.Take();
    PageAnswers("tablet", "inactive");
    EXPECT_THAT(media_.Take(), IsEmpty());
    EXPECT_THAT(pages_.Take(), ElementsAre("page-offer tablet"));
    PageAnswers("tablet");
    EXPECT_THAT(media_.Take(), ElementsAre("answer caller>page1"));
    EXPECT_THAT(pages_.Take(), ElementsAre("modified by callcontrol"));
}

TEST_F(PageLegs, WhoSeesNoPictureHasTheOtherEndAskedForAWholeOne) {
    Call("hall", "tablet");
    PhoneAnswers("hall");
    Do(R"({"cmd":"page-keyframe","id":"1","leg":"tablet"})");
    EXPECT_EQ(Refusal(), "page-keyframe: the page is not in the call yet");
    PageAnswers("tablet");
    TakeAll();
    Do(R"({"cmd":"page-keyframe","id":"1","leg":"tablet"})");
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: keyframe"));
    sip_.Leg("hall").events->OnKeyframe();
    EXPECT_THAT(pages_.Take(), ElementsAre("page-keyframe tablet"));
    Do(R"({"cmd":"hangup","id":"1"})");
    loop_.Advance(1s);
    Call("hall", "kitchen");
    PhoneAnswers("hall");
    PhoneAnswers("kitchen");
    sip_.Take();
    sip_.Leg("hall").events->OnKeyframe();
    EXPECT_THAT(sip_.Take(), IsEmpty());  // phones ask each other
}

TEST_F(PageLegs, APageTakesNoDigits) {
    EstablishHallAndTablet();
    for (const char* by : {"info", "rfc4733"}) {
        Do(R"({"cmd":"dtmf","id":"1","digits":"1","leg":"tablet","by":")" + std::string(by) + "\"}");
        EXPECT_EQ(Refusal(), "dtmf: nobody that they are for has answered");
    }
    Do(R"({"cmd":"dtmf","id":"1","digits":"1","leg":"hall"})");
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: digits 1"));
}

}  // namespace
}  // namespace test
