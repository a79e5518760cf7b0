// Calls at the pages of a tablet.
#include "tests/drivers/tablet/TabletFixture.h"

using dvIntercom::MEDIA_RECEIVE_ONLY;
using dvIntercom::MEDIA_SEND_RECEIVE;
using dvIntercom::NO_SESSION;
using telephony::EventKind;
using telephony::LegRole;
using test::kSdp;
using test::kSdpInXml;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

using json = nlohmann::json;

json OfPage(const char* command, const std::string& id = "1") {
    return {{"cmd", command}, {"id", id}, {"leg", "hall"}};
}

json Answer(const std::string& id = "1") {
    json command = OfPage("page-answer", id);
    command["sdp"] = kSdp;
    return command;
}

json Reject(int code, const std::string& reason) {
    json command = OfPage("page-reject");
    command.update({{"code", code}, {"reason", reason}});
    return command;
}

class TabletCalls : public test::TabletFixture {};

TEST_F(TabletCalls, ACallThatTheAgentStartsIsBegunByThePage) {
    StartConnected();
    const unsigned long page = OpenPage();
    tablet->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_RECEIVE_ONLY, "Kitchen@10.0.0.2");
    const std::string id = control->Read().at("id");
    Tell(Calling(Call(id, "hall", {"kitchen"})));
    auto invitation = Invitation(id, LegRole::Caller);
    invitation.page.video = telephony::Direction::Receive;
    Tell(invitation);
    EXPECT_THAT(
        TakePages(),
        ElementsAre("1 <invite call=\"" + id +
                    "\" kind=\"regular\" role=\"caller\" from=\"kitchen\" name=\"Kitchen\" called=\"\" "
                    "audio=\"both\" video=\"receive\" answers=\"true\">" +
                    kSdpInXml + "</invite>"));
    EXPECT_EQ("<success/>", Say(page, "tabletAnswer", id, {{"sdp", kSdp}}));
    EXPECT_EQ(Answer(id), control->Read());
}

TEST_F(TabletCalls, WhatCallControlRefusesIsToldToThePageThatWaitsForIt) {
    StartConnected();
    OpenPage();
    tablet->StartSipMonitor(MEDIA_SEND_RECEIVE, MEDIA_RECEIVE_ONLY, "Kitchen@10.0.0.2");
    auto refused = About(EventKind::Refused, control->Read().at("id"), "", 403);
    refused.reason = "call: \"kitchen\" may not be monitored";
    Tell(refused);
    Tell(refused);  // once is enough
    EXPECT_THAT(TakePages(), ElementsAre("1 <refused kind=\"monitor\" name=\"Kitchen\" code=\"403\" "
                                         "reason=\"call: &quot;kitchen&quot; may not be monitored\"/>"));
}

TEST_F(TabletCalls, ACallThatEndsBeforeThePageIsInvitedIsToldToIt) {
    StartConnected();
    OpenPage();
    tablet->StartSipBroadcast(dvIntercom::MEDIA_SEND_ONLY, dvIntercom::MEDIA_NONE,
                              {"Kitchen@10.0.0.2", "Attic@10.0.0.2"});
    const std::string id = control->Read().at("id");
    Tell(Calling(Call(id, "hall", {"kitchen", "attic"}, telephony::CallKind::Broadcast)));
    auto ended = About(EventKind::Ended, id, "", 480);
    ended.reason = "No page is open";
    Tell(ended);
    EXPECT_THAT(
        TakePages(),
        ElementsAre("1 <refused kind=\"broadcast\" name=\"\" code=\"480\" reason=\"No page is open\"/>"));
}

TEST_F(TabletCalls, ACallThatAPageHasBeenInvitedToEndsAndIsNotRefused) {
    StartConnected();
    OpenPage();
    tablet->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_RECEIVE_ONLY, "Kitchen@10.0.0.2");
    const std::string id = control->Read().at("id");
    Tell(Calling(Call(id, "hall", {"kitchen"})));
    Tell(Invitation(id, LegRole::Caller));
    TakePages();
    auto ended = About(EventKind::Ended, id, "", 503);
    ended.reason = "The media relay is away";
    ended.by = "callcontrol";
    Tell(ended);
    EXPECT_THAT(TakePages(), ElementsAre("1 <ended call=\"" + id +
                                         "\" code=\"503\" reason=\"The media relay is away\" "
                                         "by=\"callcontrol\" seconds=\".\"/>"));
}

TEST_F(TabletCalls, WhileCallControlIsAwayAPageIsToldThatItsCallCannotBeMade) {
    Start();
    OpenStream();
    EXPECT_EQ("<success/>", Say(1, "tabletHello", "", {{"version", "1"}}));
    TakePages();
    tablet->StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_RECEIVE_ONLY, "Kitchen@10.0.0.2");
    EXPECT_THAT(TakePages(), ElementsAre("1 <refused kind=\"regular\" name=\"Kitchen\" code=\"503\" "
                                         "reason=\"Call control is away\"/>"));
}

TEST_F(TabletCalls, APageHearsHowItsCallGoes) {
    StartConnected();
    BeInCall(OpenPage());
    auto held = About(EventKind::Modified, "1");
    held.state = "held";
    held.by = "kitchen";
    Tell(held);
    Tell(About(EventKind::PageKeyframe, "1", "hall"));
    Tell(Offer("1"));
    Tell(LegDown("1", "kitchen", 200, "Hung up"));
    Tell(LegDown("1", "hall", 200, "Hung up"));
    EXPECT_THAT(
        TakePages(),
        ElementsAre(
            "1 <modified call=\"1\" state=\"held\" by=\"kitchen\"/>", "1 <keyframe call=\"1\"/>",
            "1 <offer call=\"1\">" + std::string(kSdpInXml) + "</offer>",
            "1 <legDown call=\"1\" leg=\"kitchen\" name=\"Kitchen\" code=\"200\" reason=\"Hung up\"/>",
            "1 <ended call=\"1\" code=\"200\" reason=\"Hung up\" by=\"kitchen\" seconds=\".\"/>"));
    EXPECT_EQ(0, tablet->getCurrentState());
    EXPECT_THAT(TakeAgent(), Not(Contains(testing::HasSubstr("EndOfflineSession"))));
}

TEST_F(TabletCalls, ACallerHearsWhoRingsAndWhoAnswers) {
    StartConnected();
    const unsigned long page = OpenPage();
    tablet->StartSipBroadcast(dvIntercom::MEDIA_SEND_ONLY, dvIntercom::MEDIA_NONE,
                              {"Kitchen@10.0.0.2", "Attic@10.0.0.2"});
    const std::string id = control->Read().at("id");
    Tell(Calling(Call(id, "hall", {"kitchen", "attic"}, telephony::CallKind::Broadcast)));
    Tell(Invitation(id, LegRole::Caller, telephony::CallKind::Broadcast));
    Say(page, "tabletAnswer", id, {{"sdp", kSdp}});
    TakePages();
    Tell(About(EventKind::LegUp, id, "hall"));
    Tell(About(EventKind::Ringing, id, "kitchen", 180));
    Tell(About(EventKind::LegUp, id, "kitchen"));
    Tell(About(EventKind::Established, id));
    Tell(LegDown(id, "attic", 486, "Busy Here"));
    const std::string about = " call=\"" + id + "\"";
    EXPECT_THAT(
        TakePages(),
        ElementsAre(
            "1 <ringing" + about + " leg=\"kitchen\" name=\"Kitchen\"/>",
            "1 <legUp" + about + " leg=\"kitchen\" name=\"Kitchen\"/>", "1 <established" + about + "/>",
            "1 <legDown" + about + " leg=\"attic\" name=\"Attic\" code=\"486\" reason=\"Busy Here\"/>"));
}

TEST_F(TabletCalls, AllPagesRingAndTheFirstThatAnswersHasTheCall) {
    StartConnected();
    const unsigned long first = OpenPage();
    const unsigned long second = OpenPage();
    BeInvited();
    EXPECT_EQ(2U, TakePages().size());
    EXPECT_EQ("<success/>", Say(second, "tabletAnswer", "1", {{"sdp", kSdp}}));
    EXPECT_THAT(TakePages(), ElementsAre("1 <elsewhere call=\"1\" where=\"Hall\"/>"));
    for (const char* const command : {"tabletAnswer", "tabletDecline", "tabletHangup", "tabletPing"})
        EXPECT_EQ("<error>call 1 is at another page of this tablet</error>",
                  Say(first, command, "1", {{"sdp", kSdp}}));
    EXPECT_EQ(4U, TakePages().size());  // it is told so again each time
    EXPECT_EQ("<error>call 1 waits for no answer</error>", Say(second, "tabletAnswer", "1", {{"sdp", kSdp}}));
    Tell(About(EventKind::Established, "1"));
    EXPECT_THAT(TakePages(), ElementsAre("2 <established call=\"1\"/>"));
    EXPECT_EQ(Answer(), control->Read());
}

TEST_F(TabletCalls, ThatAPageRingsIsToldOnce) {
    StartConnected();
    const unsigned long first = OpenPage();
    const unsigned long second = OpenPage();
    BeInvited();
    Say(first, "tabletRinging", "1");
    Say(second, "tabletRinging", "1");
    Say(second, "tabletAnswer", "1", {{"sdp", kSdp}});
    EXPECT_EQ(OfPage("page-ringing"), control->Read());
    EXPECT_EQ(Answer(), control->Read());
}

TEST_F(TabletCalls, WhatOnePageDeclinesIsOverForAll) {
    StartConnected();
    const unsigned long first = OpenPage();
    OpenPage();
    BeInvited();
    TakePages();
    EXPECT_EQ("<success/>", Say(first, "tabletDecline", "1"));
    EXPECT_EQ(Reject(603, "Declined"), control->Read());
    Tell(LegDown("1", "hall", 603, "Declined"));
    const std::string ended =
        "<ended call=\"1\" code=\"603\" reason=\"Declined\" by=\"hall\" seconds=\".\"/>";
    EXPECT_THAT(TakePages(), ElementsAre("1 " + ended, "2 " + ended));
    EXPECT_EQ("<error>there is no call 1; it is over</error>", Say(first, "tabletPing", "1"));
    EXPECT_THAT(TakePages(), ElementsAre("1 <ended call=\"1\" code=\"481\" reason=\"It is over\" "
                                         "by=\"callcontrol\" seconds=\".\"/>"));
}

TEST_F(TabletCalls, PagesAreToldWhenAnotherDeviceHasAnswered) {
    StartConnected();
    OpenPage();
    BeInvited();
    TakePages();
    Tell(LegDown("1", "hall", 200, "Call completed elsewhere"));
    EXPECT_THAT(TakePages(), ElementsAre("1 <elsewhere call=\"1\" where=\"\"/>"));
}

TEST_F(TabletCalls, PagesAreToldWhenTheCallerGivesUp) {
    StartConnected();
    OpenPage();
    BeInvited();
    TakePages();
    Tell(LegDown("1", "kitchen", 200, "Hung up"));
    Tell(LegDown("1", "hall", 487, "Hung up"));
    EXPECT_THAT(
        TakePages(),
        ElementsAre(
            "1 <legDown call=\"1\" leg=\"kitchen\" name=\"Kitchen\" code=\"200\" reason=\"Hung up\"/>",
            "1 <ended call=\"1\" code=\"487\" reason=\"Hung up\" by=\"kitchen\" seconds=\".\"/>"));
}

TEST_F(TabletCalls, WhoMustNotBeDisturbedIsBusyAndDoesNotRing) {
    StartConnected("<dnd>true</dnd>");
    OpenPage();
    BeInvited();
    EXPECT_EQ(Reject(486, "Do not disturb"), control->Read());
    EXPECT_THAT(TakePages(), IsEmpty());
    Tell(Invitation("2", LegRole::Caller));
    EXPECT_EQ(1U, TakePages().size());
}

TEST_F(TabletCalls, AMonitoredPageIsToldWhoLooks) {
    StartConnected("<mayBeMonitored>true</mayBeMonitored>");
    OpenPage();
    Tell(Calling(Call("1", "kitchen", {"hall"}, telephony::CallKind::Monitor)));
    auto invitation = Invitation("1", LegRole::Callee, telephony::CallKind::Monitor);
    invitation.page.audio = invitation.page.video = telephony::Direction::Send;
    Tell(invitation);
    EXPECT_THAT(TakePages(),
                ElementsAre("1 <invite call=\"1\" kind=\"monitor\" role=\"callee\" from=\"kitchen\" "
                            "name=\"Kitchen\" called=\"\" audio=\"send\" video=\"send\" answers=\"true\">" +
                            std::string(kSdpInXml) + "</invite>"));
}

TEST_F(TabletCalls, WhatAPageWantsOfItsCallGoesToCallControl) {
    StartConnected();
    const unsigned long page = OpenPage();
    BeInCall(page);
    for (const char* const command : {"tabletHold", "tabletResume", "tabletKeyframe", "tabletPing"})
        EXPECT_EQ("<success/>", Say(page, command, "1"));
    EXPECT_EQ("<success/>", Say(page, "tabletDigits", "1", {{"digits", "#9"}}));
    EXPECT_EQ("<success/>", Say(page, "tabletHangup", "1"));
    EXPECT_EQ(json({{"cmd", "hold"}, {"id", "1"}}), control->Read());
    EXPECT_EQ(json({{"cmd", "resume"}, {"id", "1"}}), control->Read());
    EXPECT_EQ(OfPage("page-keyframe"), control->Read());
    EXPECT_EQ(json({{"cmd", "dtmf"}, {"id", "1"}, {"leg", "kitchen"}, {"digits", "#9"}, {"by", "rfc4733"}}),
              control->Read());
    EXPECT_EQ(OfPage("hangup"), control->Read());
    Tell(LegDown("1", "hall", 200, "Hung up from outside"));
    EXPECT_THAT(
        TakePages(),
        ElementsAre("1 <ended call=\"1\" code=\"200\" reason=\"Hung up\" by=\"hall\" seconds=\".\"/>"));
}

TEST_F(TabletCalls, WhatCannotBeDoneIsAnsweredWithTheReason) {
    StartConnected();
    const unsigned long page = OpenPage();
    BeInvited();
    EXPECT_EQ("<error>parameter call is missing</error>", Say(page, "tabletAnswer"));
    EXPECT_EQ("<error>parameter sdp is missing</error>", Say(page, "tabletAnswer", "1"));
    EXPECT_EQ("<error>the description has 7001 bytes; at most 7000 are taken: offer fewer codecs</error>",
              Say(page, "tabletAnswer", "1", {{"sdp", std::string(7001, 'a')}}));
    EXPECT_EQ("<error>the call with Kitchen cannot be held: it is not answered</error>",
              Say(page, "tabletHold", "1"));
    EXPECT_EQ("<error>call 1 is not answered yet</error>", Say(page, "tabletKeyframe", "1"));
    EXPECT_EQ("<error>the call with Kitchen is not answered</error>",
              Say(page, "tabletDigits", "1", {{"digits", "1"}}));
    EXPECT_EQ("<error>digits must be at most 32 of 0-9 * # A-D</error>",
              Say(page, "tabletDigits", "1", {{"digits", "open"}}));
    EXPECT_EQ("<error>there is no call 2; it is over</error>", Say(page, "tabletHangup", "2"));
    Say(page, "tabletAnswer", "1", {{"sdp", kSdp}});
    EXPECT_EQ("<error>call 1 is answered; hang it up</error>", Say(page, "tabletDecline", "1"));
}

TEST_F(TabletCalls, OtherMediaAreAnsweredByThePageThatHasTheCall) {
    StartConnected();
    const unsigned long page = OpenPage();
    BeInCall(page);
    Tell(Offer("1"));
    EXPECT_EQ("<success/>", Say(page, "tabletAnswer", "1", {{"sdp", kSdp}}));
    EXPECT_EQ(Answer(), control->Read());
    EXPECT_EQ("<error>call 1 waits for no answer</error>", Say(page, "tabletAnswer", "1", {{"sdp", kSdp}}));
}

TEST_F(TabletCalls, AnAnswerThatCallControlRefusesEndsTheCallAtThePage) {
    StartConnected();
    const unsigned long page = OpenPage();
    BeInvited();
    Say(page, "tabletAnswer", "1", {{"sdp", kSdp}});
    TakePages();
    EXPECT_EQ(Answer(), control->Read());
    auto refused = About(EventKind::Refused, "1", "", 488);
    refused.reason = "page-answer: it is no description";
    Tell(refused);
    EXPECT_EQ(Reject(500, "The answer of the page was refused"), control->Read());
    EXPECT_TRUE(IsLogged("call control refuses: page-answer: it is no description (488)"));
    EXPECT_EQ(0, tablet->findSessionId("kitchen"));
    Tell(LegDown("1", "hall", 500, "The answer of the page was refused"));
    EXPECT_THAT(TakePages(), ElementsAre("1 <ended call=\"1\" code=\"500\" reason=\"page-answer: it is no "
                                         "description\" by=\"callcontrol\" seconds=\".\"/>"));
}

TEST_F(TabletCalls, ASmallRefusalLeavesTheCallAlone) {
    StartConnected();
    const unsigned long page = OpenPage();
    BeInCall(page);
    auto refused = About(EventKind::Refused, "1", "", 481);
    refused.reason = "page-keyframe: the page is not in the call yet";
    Tell(refused);
    EXPECT_THAT(TakePages(), IsEmpty());
    EXPECT_EQ(0, tablet->findSessionId("kitchen"));
    EXPECT_EQ("<success/>", Say(page, "tabletPing", "1"));
}

TEST_F(TabletCalls, TheAgentHangsUpHoldsAndResumesByTheNumberOfTheSession) {
    StartConnected();
    BeInCall(OpenPage());
    EXPECT_EQ(3, tablet->getCurrentState());
    EXPECT_TRUE(tablet->ActiveSipSession(0));
    tablet->HoldSession(0);
    EXPECT_EQ("hold", control->Read().at("cmd"));
    tablet->HangupSipSession(tablet->findSessionId("kitchen"));
    EXPECT_EQ(OfPage("hangup"), control->Read());
    Tell(LegDown("1", "hall", 200, "Hung up from outside"));
    EXPECT_THAT(TakePages(), ElementsAre("1 <ended call=\"1\" code=\"200\" reason=\"Hung up from outside\" "
                                         "by=\"command\" seconds=\".\"/>"));
    EXPECT_EQ(NO_SESSION, tablet->findSessionId("kitchen"));
}

TEST_F(TabletCalls, APageCannotBeMadeToAnswerFromOutside) {
    StartConnected();
    OpenPage();
    BeInvited();
    tablet->setDeviceState(*test::Message("setDeviceState", {{"call", "answer"}}));
    EXPECT_TRUE(IsLogged("a page cannot be told to answer from outside"));
    tablet->setDeviceState(*test::Message("setDeviceState", {{"call", "hangup"}}));
    EXPECT_EQ(OfPage("hangup"), control->Read());
}

TEST_F(TabletCalls, DescriptionsAreNeitherLoggedNorKept) {
    StartConnected();
    const unsigned long page = OpenPage();
    BeInCall(page);
    Tell(Offer("1"));
    Say(page, "tabletAnswer", "1", {{"sdp", kSdp}});
    Tell(LegDown("1", "hall", 200, "Hung up"));
    tablet->setDnD(true);
    EXPECT_THAT(host.Logged() + tablet->GetPersistState(0)->NodeToText(),
                Not(testing::HasSubstr("secret-of-a-page")));
}

}  // namespace
