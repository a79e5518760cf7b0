// Phones that speak different codecs hear each other, and each is offered what it prefers.
#include "tests/telephony/callcontrol/RealCalls.h"

namespace test {
namespace {

class Codecs : public RealCalls {
protected:
    // What each has heard of the other in a call of both, by its own recording: no codec is read on the wire.
    void TalkAndCompare(Baresip& hall, Baresip& kitchen) {
        client_->Wait(EventKind::Established);
        EXPECT_TRUE(hall.HasRecordedEnough());
        EXPECT_TRUE(kitchen.HasRecordedEnough());
        hall.Do("hangup");
        client_->Wait(EventKind::Ended);
        EXPECT_GT(hall.Recorded().SecondsOf(660), 0.5);
        EXPECT_GT(kitchen.Recorded().SecondsOf(440), 0.5);
    }
};

TEST_F(Codecs, ThatDifferAreTurnedIntoEachOther) {
    Baresip hall(*home_, "hall", 6100, 440, {.codecs = "G722/16000/1"});
    Baresip kitchen(*home_, "kitchen", 6110, 660, {.codecs = "PCMU"});
    client_->Greet(R"([{"user":"hall","codecs":["G722"]},{"user":"kitchen"}])");
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    EXPECT_EQ(client_->Wait(EventKind::LegUp, "hall").codecs, "G722/8000");
    EXPECT_EQ(client_->Wait(EventKind::LegUp, "kitchen").codecs, "PCMU/8000");
    TalkAndCompare(hall, kitchen);
}

TEST_F(Codecs, AreOfferedInTheOrderOfEachPhone) {
    const char* const all = "PCMA,PCMU,G722/16000/1,opus/48000/2";
    Baresip hall(*home_, "hall", 6100, 440, {.codecs = all});
    Baresip kitchen(*home_, "kitchen", 6110, 660, {.codecs = all});
    client_->Greet(
        R"([{"user":"hall","codecs":["opus","PCMA"]},{"user":"kitchen","codecs":["G722","PCMU"]}])");
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    EXPECT_EQ(client_->Wait(EventKind::LegUp, "hall").codecs, "opus/48000/2");
    EXPECT_EQ(client_->Wait(EventKind::LegUp, "kitchen").codecs, "G722/8000");
    TalkAndCompare(hall, kitchen);
}

TEST_F(Codecs, OfOneCallAreTheSameWhereNoPhonePrefersAny) {
    Baresip hall(*home_, "hall", 6100, 440, {.codecs = "PCMU,PCMA"});
    Baresip kitchen(*home_, "kitchen", 6110, 660, {.codecs = "PCMA,PCMU"});
    client_->Greet(R"([{"user":"hall","codecs":["PCMU"]},{"user":"kitchen"}])");
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    EXPECT_EQ(client_->Wait(EventKind::LegUp, "kitchen").codecs, "PCMU/8000");
    TalkAndCompare(hall, kitchen);
}

TEST_F(Codecs, ThatDifferAreHeardAfterAHoldToo) {
    Baresip hall(*home_, "hall", 6100, 440, {.codecs = "opus/48000/2"});
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Greet(R"([{"user":"hall","codecs":["opus"]},{"user":"kitchen"}])");
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    client_->Send(R"({"cmd":"hold","id":"1"})");
    EXPECT_EQ(client_->Wait(EventKind::Modified).state, "held");
    client_->Send(R"({"cmd":"resume","id":"1"})");
    EXPECT_EQ(client_->Wait(EventKind::Modified).state, "active");
    EXPECT_TRUE(Hears(kitchen, 440));
    client_->Send(R"({"cmd":"dtmf","id":"1","digits":"5","by":"rfc4733"})");
    EXPECT_TRUE(WaitUntil([&] { return kitchen.Digits() == "5"; }));
}

TEST_F(Codecs, OfAPhoneThatCallsAreTurnedIntoThoseOfTheOther) {
    Baresip hall(*home_, "hall", 6100, 440, {.codecs = "opus/48000/2"});
    Baresip kitchen(*home_, "kitchen", 6110, 660, {.codecs = "PCMA"});
    client_->Greet(R"([{"user":"hall"},{"user":"kitchen","codecs":["PCMA"]}])");
    hall.Do("dial", "sip:kitchen@intercom");
    EXPECT_EQ(client_->Wait(EventKind::LegUp, "kitchen").codecs, "PCMA/8000");
    TalkAndCompare(hall, kitchen);
}

TEST_F(Codecs, OfEachListenerOfABroadcastAreItsOwn) {
    Baresip hall(*home_, "hall", 6100, 440, {.codecs = "opus/48000/2"});
    Baresip kitchen(*home_, "kitchen", 6110, 660, {.codecs = "PCMU"});
    Sipp rigid(*home_, "rigid", 6120, "rigid.xml");  // PCMA, and no telephone-events
    client_->Greet(
        R"([{"user":"hall","codecs":["opus"]},{"user":"kitchen","codecs":["PCMU"]},{"user":"rigid"}])");
    client_->Send(
        R"({"cmd":"call","id":"1","kind":"broadcast","from":"hall","to":["kitchen","rigid"],"audio":"send"})");
    client_->WaitForEach({{EventKind::LegUp, "kitchen"}, {EventKind::LegUp, "rigid"}});
    EXPECT_TRUE(Hears(kitchen, 440));
    EXPECT_TRUE(Hears(rigid, 440));
}

}  // namespace
}  // namespace test
