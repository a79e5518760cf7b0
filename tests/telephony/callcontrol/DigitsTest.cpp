// Digits to phones and from them, by request and in the sound.
#include "tests/telephony/callcontrol/RealCalls.h"

namespace test {
namespace {

class Digits : public RealCalls {
protected:
    void Establish(const std::string& caller, const std::string& callee) {
        client_->Send(R"({"cmd":"call","id":"1","from":")" + caller + R"(","to":[")" + callee + "\"]}");
        client_->Wait(EventKind::Established);
    }

    // As people do. On a machine that is starved rtpengine drops what comes late, and a digit with it.
    static bool PressUntilMoreCome(const Baresip& phone, const std::function<void()>& press) {
        const std::size_t before = phone.Digits().size();
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (phone.Digits().size() == before && std::chrono::steady_clock::now() < end) {
            press();
            for (int i = 0; i < 4 && phone.Digits().size() == before; ++i)
                ASecondPasses();
        }
        ASecondPasses();  // the end of a digit is sent three times
        return phone.Digits().size() > before;
    }
};

TEST_F(Digits, ReachThePhoneBySipInfo) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip door(*home_, "door", 6110, 660);
    Establish("hall", "door");
    Talk(hall, door);
    client_->Send(R"({"cmd":"dtmf","id":"1","digits":"42"})");
    EXPECT_TRUE(WaitUntil([&] {
        const std::string log = door.Log();
        const auto four = log.find("received DTMF: '4'");
        return four != std::string::npos && log.find("received DTMF: '2'", four) != std::string::npos;
    })) << door.Log();
}

TEST_F(Digits, AreHeardByThePhoneAsTelephoneEventsAndTheCallGoesOn) {
    Linphone hall(*home_, "hall", 6100, 600);
    Baresip door(*home_, "door", 6110, 660);
    Establish("hall", "door");
    Talk(hall, door);
    client_->Send(R"({"cmd":"dtmf","id":"1","digits":"42#","by":"rfc4733"})");
    client_->Send(R"({"cmd":"dtmf","id":"1","digits":"7","by":"rfc4733","leg":"hall"})");
    EXPECT_TRUE(WaitUntil([&] { return door.Digits() == "42#" && hall.Digits() == "7"; }))
        << door.Digits() << " " << hall.Digits();
    EXPECT_TRUE(WaitUntil([&] {
        return door.Log().find("received event: '#' (end=1)") != std::string::npos;
    })) << door.Log();
    Talk(hall, door);
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(Hears(door, 600));
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    client_->Wait(EventKind::Ended);
    EXPECT_EQ(client_->Seen().find("\"dtmf\""), std::string::npos);  // of its own it is told nothing
}

// It takes no telephone-events.
TEST_F(Digits, AreTonesForAPhoneThatKnowsNothingElse) {
    Baresip hall(*home_, "hall", 6100, 440);
    Sipp rigid(*home_, "rigid", 6120, "rigid.xml");
    Establish("hall", "rigid");
    Talk(hall, rigid);
    client_->Send(R"({"cmd":"dtmf","id":"1","digits":"5","by":"rfc4733"})");
    EXPECT_TRUE(WaitUntil([&] {
        const Sound sent = rigid.Sent();
        for (double from = 0; from + 0.1 < sent.Seconds(); from += 0.02)
            if (sent.Share(770, from, 0.1) > 0.5 && sent.Share(1336, from, 0.1) > 0.5) return true;
        return false;
    }));
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    client_->Wait(EventKind::Ended);
    EXPECT_EQ(rigid.Wait(), 0);
}

TEST_F(Digits, OfAPhoneAreToldAndReachTheOtherEnd) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip door(*home_, "door", 6110, 660);
    Establish("hall", "door");
    Talk(hall, door);
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(PressUntilMoreCome(hall, [&] { door.Do("sndcode", "9"); }));
        const Event event = client_->Wait(EventKind::Dtmf, "door");
        EXPECT_EQ(event.digits, "9");
        EXPECT_EQ(event.by, "rfc4733");
        // The sound of the call is transcoded from now on.
        EXPECT_TRUE(PressUntilMoreCome(
            door, [&] { client_->Send(R"({"cmd":"dtmf","id":"1","digits":"1","by":"rfc4733"})"); }));
    }
    EXPECT_EQ(hall.Digits().find_first_not_of('9'), std::string::npos) << hall.Digits();
    EXPECT_EQ(door.Digits().find_first_not_of('1'), std::string::npos) << door.Digits();
}

TEST_F(Digits, AreRefusedWhereTheyWouldGoNowhere) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip door(*home_, "door", 6110, 660);
    client_->Greet(R"([{"user":"door","mayBeMonitored":true},{"user":"hall"}])");
    client_->Send(R"({"cmd":"call","id":"1","kind":"monitor","from":"hall","to":["door"]})");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(Hears(hall, 660));
    client_->Send(R"({"cmd":"dtmf","id":"1","digits":"1","by":"rfc4733"})");
    EXPECT_EQ(client_->Wait(EventKind::Refused).reason,
              "dtmf: nothing is sent to who is watched; give digits by info");
    client_->Send(R"({"cmd":"dtmf","id":"1","digits":"1","by":"rfc4733","leg":"hall"})");
    EXPECT_TRUE(WaitUntil([&] { return hall.Digits() == "1"; }));
}

}  // namespace
}  // namespace test
