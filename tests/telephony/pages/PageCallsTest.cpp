// Calls between Chromium and baresip through the real callcontrol and rtpengine. Each end has a pitch of its
// own as its voice, so what is heard tells who is.
#include "tests/telephony/callcontrol/RealCalls.h"
#include "tests/telephony/pages/Browser.h"

namespace test {
namespace {

using namespace std::chrono_literals;

class RealPages : public RealCalls {
protected:
    void SetUp() override {
        EnterOwnNetworkOrSkip();
        if (IsSkipped() || HasFatalFailure()) return;
        FindBrowserOrSkip();
        if (IsSkipped() || HasFatalFailure()) return;
        RealCalls::SetUp();
    }

    CallHome::Silence Silence() const override { return kPatience; }

    void Call(const std::string& from, const std::string& to, const std::string& more = "") {
        client_->Send(R"({"cmd":"call","id":"1","from":")" + from + R"(","to":[)" + to + "]" + more + "}");
    }
    void Hold(bool on) {
        client_->Send(R"({"cmd":")" + std::string(on ? "hold" : "resume") + R"(","id":"1"})");
        EXPECT_EQ(client_->Wait(EventKind::Modified).state, on ? "held" : "active");
    }
    Event HangUp() {
        client_->Send(R"({"cmd":"hangup","id":"1"})");
        const Event ended = client_->Wait(EventKind::Ended);
        EXPECT_EQ(ended.code, 200);
        EXPECT_TRUE(WaitUntil([&] { return home_->Rooms() == 0; }));
        return ended;
    }
};

TEST_F(RealPages, APhoneCallsAPage) {
    Baresip hall(*home_, "hall", 6100, 660);
    Browser browser(*home_, {{"tablet", 440}});
    Call("hall", R"("tablet")");
    client_->Wait(EventKind::Ringing, "tablet");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(browser.Hears("tablet", 660));
    EXPECT_TRUE(Hears(hall, 440));
    const Event ended = HangUp();
    EXPECT_GT(ended.call.legs.at(1).packetsReceived, 20);
}

TEST_F(RealPages, APageCallsAPhone) {
    Baresip hall(*home_, "hall", 6100, 660);
    Browser browser(*home_, {{"tablet", 440}});
    Call("tablet", R"("hall")");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(browser.Hears("tablet", 660));
    EXPECT_TRUE(Hears(hall, 440));
    HangUp();
}

TEST_F(RealPages, APageHearsTheRingingToneAndThenOnlyTheOtherEnd) {
    Baresip hall(*home_, "hall", 6100, 660, {.answers = false});
    Browser browser(*home_, {{"tablet", 440}});
    Call("tablet", R"("hall")");
    client_->Wait(EventKind::Ringing, "hall");
    EXPECT_TRUE(browser.Hears("tablet", 425));
    hall.Do("accept");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(browser.Hears("tablet", 660));
    EXPECT_TRUE(Hears(hall, 440));
    HangUp();
}

TEST_F(RealPages, APhoneStartsACallToAPageByItself) {
    Baresip hall(*home_, "hall", 6100, 660);
    Browser browser(*home_, {{"tablet", 440}});
    hall.Do("dial", "sip:tablet@intercom");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(browser.Hears("tablet", 660));
    EXPECT_TRUE(Hears(hall, 440));
    hall.Do("hangup");
    EXPECT_EQ(client_->Wait(EventKind::Ended).by, "hall");
}

TEST_F(RealPages, PagesCallEachOtherWithoutTheProxy) {
    home_->KillProxy();
    Browser browser(*home_, {{"tablet", 440}, {"attic", 880}});
    Call("tablet", R"("attic")");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(browser.Hears("tablet", 880));
    EXPECT_TRUE(browser.Hears("attic", 440));
    HangUp();
}

TEST_F(RealPages, WhoWatchesHearsAndIsNotHeard) {
    Baresip hall(*home_, "hall", 6100, 660);
    Browser browser(*home_, {{"tablet", 440}, {"attic", 880}});
    Call("hall", R"("tablet")", R"(,"kind":"monitor")");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(Hears(hall, 440));
    EXPECT_EQ(browser.Received("tablet"), 0);
    HangUp();
    Call("attic", R"("tablet")", R"(,"kind":"monitor")");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(browser.Hears("attic", 440));
    EXPECT_EQ(browser.Received("tablet"), 0);
    EXPECT_EQ(browser.Sent("attic"), 0);
    HangUp();
}

TEST_F(RealPages, APageSpeaksToPhonesAndPages) {
    Baresip hall(*home_, "hall", 6100, 660);
    Browser browser(*home_, {{"tablet", 440}, {"attic", 880}, {"cellar", 550}});
    Call("tablet", R"("hall","attic","cellar")", R"(,"kind":"broadcast")");
    client_->WaitForEach(
        {{EventKind::LegUp, "hall"}, {EventKind::LegUp, "attic"}, {EventKind::LegUp, "cellar"}});
    EXPECT_TRUE(Hears(hall, 440));
    EXPECT_TRUE(browser.Hears("attic", 440));
    EXPECT_TRUE(browser.Hears("cellar", 440));
    EXPECT_EQ(browser.Received("tablet"), 0);
    HangUp();
}

TEST_F(RealPages, APhoneSpeaksToPhonesAndPages) {
    Baresip hall(*home_, "hall", 6100, 660);
    Baresip kitchen(*home_, "kitchen", 6110, 990);
    Browser browser(*home_, {{"tablet", 440}, {"attic", 880}});
    Call("hall", R"("kitchen","tablet","attic")", R"(,"kind":"broadcast")");
    client_->WaitForEach(
        {{EventKind::LegUp, "kitchen"}, {EventKind::LegUp, "tablet"}, {EventKind::LegUp, "attic"}});
    EXPECT_TRUE(Hears(kitchen, 660));
    EXPECT_TRUE(browser.Hears("tablet", 660));
    EXPECT_TRUE(browser.Hears("attic", 660));
    EXPECT_TRUE(HearsNothing(hall));
    HangUp();
}

// Whoever answers first: each of a group could.
TEST_F(RealPages, OfAGroupOfPagesAndPhonesAnyMayAnswer) {
    Baresip hall(*home_, "hall", 6100, 660);
    Baresip kitchen(*home_, "kitchen", 6110, 990, {.answers = false});
    Browser browser(*home_, {{"tablet", 440}});
    Call("hall", R"("kitchen","tablet")");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(browser.Hears("tablet", 660));
    EXPECT_TRUE(Hears(hall, 440));
    HangUp();
}

TEST_F(RealPages, OfAGroupThePhoneMayAnswerAlthoughPagesWereOfferedTheCallToo) {
    Baresip hall(*home_, "hall", 6100, 660);
    Baresip kitchen(*home_, "kitchen", 6110, 990);
    const auto silent = home_->Connect();  // its pages ring for ever
    silent->Greet(R"([{"user":"attic","page":true},{"user":"cellar","page":true}])");
    silent->Send(R"({"cmd":"page-present","leg":"attic","present":true})");
    silent->Send(R"({"cmd":"page-present","leg":"cellar","present":true})");
    silent->Wait(EventKind::Registered, "cellar");
    Call("hall", R"("attic","kitchen","cellar")");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(Hears(hall, 990));
    EXPECT_TRUE(Hears(kitchen, 660));
    silent->WaitForEach({{EventKind::PageInvite, "attic"}, {EventKind::PageInvite, "cellar"}});
    HangUp();
}

TEST_F(RealPages, HeldNobodyHearsAnybodyAndResumedBothDo) {
    Baresip hall(*home_, "hall", 6100, 660);
    Browser browser(*home_, {{"tablet", 440}});
    Call("tablet", R"("hall")");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(browser.Hears("tablet", 660));
    Hold(true);
    // What was under way has come; from then on nothing does.
    ASecondPasses();
    const long received = browser.Received("tablet");
    const long sent = browser.Sent("tablet");
    ASecondPasses();
    EXPECT_EQ(browser.Received("tablet"), received);
    EXPECT_EQ(browser.Sent("tablet"), sent);
    Hold(false);
    EXPECT_TRUE(WaitUntil([&] { return browser.Received("tablet") > received + 20; }));
    EXPECT_TRUE(browser.Hears("tablet", 660));
    Talk(hall);
    EXPECT_TRUE(Hears(hall, 440));
    HangUp();
}

TEST_F(RealPages, AfterRtpengineHasDiedBothHearEachOtherAgain) {
    Baresip hall(*home_, "hall", 6100, 660);
    Browser browser(*home_, {{"tablet", 440}});
    for (const bool byPage : {true, false}) {
        Call(byPage ? "tablet" : "hall", byPage ? R"("hall")" : R"("tablet")");
        client_->Wait(EventKind::Established);
        EXPECT_TRUE(browser.Hears("tablet", 660));
        home_->KillMedia();
        home_->StartMedia();
        EXPECT_EQ(client_->Wait(EventKind::Modified).by, "callcontrol");
        const long received = browser.Received("tablet");
        EXPECT_TRUE(WaitUntil([&] { return browser.Received("tablet") > received + 20; }));
        EXPECT_TRUE(browser.Hears("tablet", 660));
        Talk(hall);
        EXPECT_TRUE(Hears(hall, 440));
        HangUp();
    }
}

TEST_F(RealPages, ACallGoesOnWhileNobodySpeaksForItsPage) {
    Baresip hall(*home_, "hall", 6100, 660);
    Browser browser(*home_, {{"tablet", 440}});
    Call("hall", R"("tablet")");
    client_->Wait(EventKind::Established);
    browser.LoseConnection();
    EXPECT_EQ(client_->Wait(EventKind::Lost).phone.user, "tablet");
    client_->Wait(EventKind::Registered, "tablet");
    Talk(hall);
    EXPECT_TRUE(Hears(hall, 440));
    EXPECT_TRUE(browser.Hears("tablet", 660));
    Hold(true);
    Hold(false);
    EXPECT_TRUE(browser.Hears("tablet", 660));
    HangUp();
}

TEST_F(RealPages, PicturesAreSeenAtBothEnds) {
    Baresip hall(*home_, "hall", 6100, 660, {.video = true});
    Browser browser(*home_, {{"tablet", 440}, {"attic", 880}});
    const std::string video = R"(,"video":"both")";
    const std::pair<std::string, std::string> pairs[] = {
        {"hall", "tablet"}, {"tablet", "hall"}, {"tablet", "attic"}};
    for (const auto& pair : pairs) {
        Call(pair.first, "\"" + pair.second + "\"", video);
        client_->Wait(EventKind::Established);
        const auto sees = [&](const std::string& user) {
            if (user != "hall") return browser.Pictures(user) > 5;
            return hall.Pictures() > 20;
        };
        EXPECT_TRUE(WaitUntil([&] { return sees(pair.first) && sees(pair.second); }))
            << pair.first << " " << pair.second;
        HangUp();
    }
}

}  // namespace
}  // namespace test
