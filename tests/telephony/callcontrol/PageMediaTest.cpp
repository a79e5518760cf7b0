// What rtpengine is asked for phones and pages: how each end is spoken to is decided by what it is, and by
// what is across from it.
#include "tests/telephony/callcontrol/PageHome.h"

namespace test {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using telephony::EventKind;
using testing::ElementsAre;
using testing::IsEmpty;

// Each as rtpengine gets it, without what names the ends.
json Phone(json more = json::object()) {
    json keys = json::parse(
        R"({"ICE":"remove","flags":["port-latching","strict-source","asymmetric"],"replace":["origin","session-connection"]})");
    keys.update(more);
    return keys;
}
json PhoneAcrossFromPage(json more = json::object()) {
    json keys = Phone({{"transport-protocol", "RTP/AVP"}, {"rtcp-mux", json::array({"demux"})}});
    keys.update(more);
    return keys;
}
json Page(const char* mux, json more = json::object()) {
    json keys = json::parse(
        R"({"ICE":"force","DTLS":"passive","SDES":["off"],"transport-protocol":"UDP/TLS/RTP/SAVPF",
            "flags":["port-latching","strict-source","asymmetric","generate-mid"],"replace":["origin","session-connection"]})");
    keys["rtcp-mux"] = json::array({mux});
    keys.update(more);
    return keys;
}
json Codecs() {
    return {{"codec", {{"transcode", {"PCMA", "PCMU", "telephone-event"}}}}};
}
json Lite(const char* way, json more = json::object()) {
    more["ICE-lite"] = way;
    return more;
}

class PageMedia : public PageHome {};

TEST_F(PageMedia, PhonesAmongThemselvesAreAskedForAsEver) {
    Call("hall", "kitchen");
    PhoneAnswers("hall");
    PhoneAnswers("kitchen");
    EXPECT_THAT(media_.Take(), ElementsAre("offer placeholder", "answer placeholder>caller",
                                           "offer caller>callee", "answer caller>callee"));
    EXPECT_EQ(media_.Asked("offer placeholder"), Phone());
    EXPECT_EQ(media_.Asked("answer placeholder>caller"), Phone());
    EXPECT_EQ(media_.Asked("offer caller>callee"), Phone(Codecs()));
    EXPECT_EQ(media_.Asked("answer caller>callee"), Phone());
}

TEST_F(PageMedia, APhoneThatCallsAPage) {
    EstablishHallAndTablet();
    EXPECT_EQ(media_.Asked("offer placeholder"), Phone());
    EXPECT_EQ(media_.Asked("answer placeholder>caller"), Phone());
    EXPECT_EQ(media_.Asked("offer caller>page1"), Page("offer", Lite("forward", Codecs())));
    EXPECT_EQ(media_.Asked("answer caller>page1"), PhoneAcrossFromPage());
}

TEST_F(PageMedia, APageThatCallsAPhone) {
    Call("tablet", "hall");
    PageAnswers("tablet");
    PhoneAnswers("hall");
    EXPECT_EQ(media_.Asked("offer placeholder"), Page("offer", Lite("forward")));
    EXPECT_EQ(media_.Asked("answer placeholder>caller"), PhoneAcrossFromPage());
    EXPECT_EQ(media_.Asked("offer caller>callee"), PhoneAcrossFromPage(Lite("backward", Codecs())));
    EXPECT_EQ(media_.Asked("answer caller>callee"), Page("accept"));
}

TEST_F(PageMedia, APageThatCallsAPage) {
    Call("tablet", "attic");
    PageAnswers("tablet");
    PageAnswers("attic");
    EXPECT_EQ(media_.Asked("offer placeholder"), Page("offer", Lite("forward")));
    EXPECT_EQ(media_.Asked("answer placeholder>caller"), PhoneAcrossFromPage());
    EXPECT_EQ(media_.Asked("offer caller>page1"), Page("offer", Lite("both", Codecs())));
    EXPECT_EQ(media_.Asked("answer caller>page1"), Page("accept"));
}

TEST_F(PageMedia, APhoneThatStartsACallToAPageByItself) {
    std::vector<std::string> log;
    const auto caller = std::make_shared<FakeLeg>(nullptr, log);
    table_.OnIncoming(caller, {"hall", "Kitchen tablet", {"tablet"}, PhoneSdp()});
    loop_.Advance(1ms);
    const telephony::Event invite = Told(EventKind::PageInvite);
    EXPECT_EQ(invite.page.called, "Kitchen tablet");
    Do(R"({"cmd":"page-ringing","leg":"tablet","id":")" + invite.id + "\"}");
    Do(R"({"cmd":"page-answer","leg":"tablet","sdp":"v=0","id":")" + invite.id + "\"}");
    EXPECT_THAT(log, ElementsAre(": ring", ": answer"));
    EXPECT_THAT(media_.Take(), ElementsAre("offer caller>page1", "answer caller>page1"));
    EXPECT_EQ(media_.Asked("answer caller>page1"), PhoneAcrossFromPage());
    Do(R"({"cmd":"hangup","id":")" + invite.id + "\"}");  // before the log of its leg is gone
    loop_.Advance(1s);
}

TEST_F(PageMedia, EachPageOfAGroupHasAnOfferToItselfAndAllPhonesHaveOne) {
    Call("hall", R"(tablet","kitchen","attic","door)");
    media_.Take();
    PhoneAnswers("hall");
    EXPECT_THAT(media_.Take(), ElementsAre("answer placeholder>caller", "offer caller>page1",
                                           "offer caller>page3", "offer caller>callee"));
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: invite", "kitchen: invite", "door: invite"));
    PageAnswers("attic");
    EXPECT_THAT(media_.Take(), ElementsAre("answer caller>page3"));
    EXPECT_THAT(sip_.Take(), ElementsAre("kitchen: hangup 200 Call completed elsewhere",
                                         "door: hangup 200 Call completed elsewhere"));
}

TEST_F(PageMedia, TheRingingToneIsPlayedOnceHoweverManyOffersThereAre) {
    Call("tablet", R"(attic","kitchen)");
    PageAnswers("tablet");
    media_.Take();
    loop_.Advance(1s);
    EXPECT_THAT(media_.Take(), ElementsAre("play media caller"));
    PageAnswers("attic");
    EXPECT_THAT(media_.Take(), ElementsAre("stop media caller", "answer caller>page1"));
}

TEST_F(PageMedia, ABroadcastReachesPhonesAndPages) {
    Call("tablet", R"(attic","hall)", R"(,"kind":"broadcast")");
    EXPECT_TRUE(Told(EventKind::PageInvite).page.answers);
    PageAnswers("tablet", "sendonly");
    PageAnswers("attic", "recvonly");
    PhoneAnswers("hall", "recvonly");
    EXPECT_THAT(media_.Take(), ElementsAre("offer placeholder", "answer placeholder>caller",
                                           "subscribe request>listener1", "subscribe request>listener2",
                                           "subscribe answer>listener1", "subscribe answer>listener2"));
    EXPECT_EQ(media_.Asked("offer placeholder"), Page("offer", Lite("forward")));
    const json transcode = {{"codec", {{"transcode", {"PCMA", "PCMU"}}}}};
    const auto listener = [](json keys) {
        keys.erase("replace");
        keys["flags"].push_back("allow-transcoding");
        return keys;
    };
    json page = media_.Asked("subscribe request>listener1");
    EXPECT_EQ(page.at("flags"), json::parse(R"(["port-latching","strict-source","asymmetric",
                                               "allow-transcoding","generate-mid"])"));
    page["flags"] = listener(Page("offer"))["flags"];
    EXPECT_EQ(page, listener(Page("offer", Lite("forward", transcode))));
    EXPECT_EQ(media_.Asked("subscribe request>listener2"), listener(PhoneAcrossFromPage(transcode)));
    EXPECT_EQ(media_.Asked("subscribe answer>listener2"), listener(PhoneAcrossFromPage()));
}

TEST_F(PageMedia, APageThatSpeaksToAllIsOfferedWhatPhonesUnderstand) {
    Do(R"({"cmd":"hello","version":1,"devices":[{"user":"tablet","page":true,"codecs":["opus","PCMU"]}]})");
    Present("tablet");
    Call("tablet", "hall", R"(,"kind":"broadcast")");
    EXPECT_EQ(media_.Last("offer").at("sdp").get<std::string>().find("opus"), std::string::npos);
    Do(R"({"cmd":"hangup","id":"1"})");
    loop_.Advance(1s);
    Call("tablet", "hall");
    EXPECT_NE(media_.Last("offer").at("sdp").get<std::string>().find("opus"), std::string::npos);
}

TEST_F(PageMedia, HoldSpeaksToEachEndAsBefore) {
    EstablishHallAndTablet();
    Do(R"({"cmd":"hold","id":"1"})");
    EXPECT_EQ(media_.Asked("offer page1>caller"), PhoneAcrossFromPage(Lite("backward", Codecs())));
    sip_.Leg("hall").events->OnReanswer(200, PhoneSdp("inactive"));
    loop_.Advance(1ms);
    EXPECT_EQ(media_.Asked("answer page1>caller"), Page("accept"));
    EXPECT_EQ(media_.Asked("offer caller>page1"), Page("offer", Lite("forward", Codecs())));
    PageAnswers("tablet", "inactive");
    EXPECT_THAT(media_.Take(), ElementsAre("block media", "offer page1>caller", "answer page1>caller",
                                           "offer caller>page1", "answer caller>page1"));
}

TEST_F(PageMedia, AfterRtpengineHasDiedPagesAreOfferedAnew) {
    EstablishHallAndTablet();
    media_.refusals["query"] = "Unknown call-id";
    loop_.Advance(1s);
    media_.refusals.clear();
    sip_.Leg("hall").events->OnReanswer(200, PhoneSdp());
    loop_.Advance(1ms);
    EXPECT_EQ(media_.Asked("offer caller>page1"), Page("offer", Lite("forward", Codecs())));
    PageAnswers("tablet");
    EXPECT_THAT(pages_.Take(), ElementsAre("page-offer tablet", "modified by callcontrol"));
}

std::string WithPictures(const std::string& codecs) {
    const bool h264First = codecs.starts_with("H264");
    return PhoneSdp() + "m=video 4002 RTP/AVP " + (h264First ? "99 100" : "100") +
           "\r\na=rtpmap:99 H264/90000\r\na=rtpmap:100 VP8/90000\r\na=sendrecv\r\n";
}

TEST_F(PageMedia, APageThatCallsSendsThePicturesThatThePhoneTakes) {
    Call("tablet", "hall", R"(,"video":"both")");
    telephony::Command answer;
    answer.kind = telephony::CommandKind::PageAnswer;
    answer.id = "1";
    answer.leg = "tablet";
    answer.sdp = WithPictures("H264 VP8");
    Do(ToLine(answer));
    TakeAll();
    sip_.Leg("hall").events->OnAnswer(WithPictures("VP8"));
    loop_.Advance(1ms);
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: keyframe"));
    EXPECT_THAT(media_.Take(), ElementsAre("answer caller>callee", "offer callee>caller"));
    EXPECT_EQ(media_.Last("offer").at("sdp"), WithPictures("VP8"));
    answer.sdp = WithPictures("VP8");
    Do(ToLine(answer));
    EXPECT_THAT(media_.Take(), ElementsAre("answer callee>caller"));
    EXPECT_THAT(pages_.Take(), ElementsAre("leg-up hall", "established", "page-offer tablet"));
}

// Chromium sends what it was told first, although its answer names another codec alone.
TEST_F(PageMedia, APageThatCallsAPageIsToldWhatTheOtherTakesToo) {
    Call("tablet", "attic", R"(,"video":"both")");
    telephony::Command answer;
    answer.kind = telephony::CommandKind::PageAnswer;
    answer.id = "1";
    answer.sdp = WithPictures("VP8");
    for (const char* user : {"tablet", "attic"}) {
        answer.leg = user;
        Do(ToLine(answer));
    }
    EXPECT_EQ(Told(EventKind::PageOffer).leg, "tablet");
    EXPECT_EQ(media_.Asked("offer page1>caller"), Page("offer", Lite("both", Codecs())));
    EXPECT_EQ(media_.Last("offer").at("sdp"), WithPictures("VP8"));
}

TEST_F(PageMedia, ThePageStaysOneWhileNobodySpeaksForIt) {
    EstablishHallAndTablet();
    table_.Leave(pages_);
    Do(R"({"cmd":"hold","id":"1"})", others_);
    sip_.Leg("hall").events->OnReanswer(200, PhoneSdp("inactive"));
    loop_.Advance(1ms);
    EXPECT_EQ(media_.Asked("offer caller>page1").at("ICE"), "force");
    EXPECT_THAT(sip_.Take(), ElementsAre("hall: re-invite"));
}

}  // namespace
}  // namespace test
