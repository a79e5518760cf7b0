// Calls between real phones through the real proxy, with digest, and rtpengine.
#include <gtest/gtest.h>

#include "tests/telephony/support/Phones.h"

namespace test {
namespace {

using telephony::Event;
using telephony::EventKind;

class Calls : public testing::Test {
protected:
    void SetUp() override {
        if (const std::string trouble = EnterOwnNetwork(); !trouble.empty()) GTEST_SKIP() << trouble;
        home_ = std::make_unique<CallHome>();
        client_ = home_->Connect();
        client_->Greet();
    }

    // Long enough that what was said before has arrived, too.
    void Talk() { std::this_thread::sleep_for(std::chrono::milliseconds(1500)); }

    std::unique_ptr<CallHome> home_;
    std::unique_ptr<CallClient> client_;
};

TEST_F(Calls, TwoPhonesThatAreCalledHearEachOther) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    EXPECT_EQ(client_->Wait(EventKind::LegUp, "hall").codecs, "PCMA/8000");
    client_->Wait(EventKind::LegUp, "kitchen");
    client_->Wait(EventKind::Established);
    Talk();
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.code, 200);
    EXPECT_EQ(ended.by, "command");
    EXPECT_GT(ended.seconds, 1.4);
    EXPECT_GT(ended.call.legs.at(0).packetsReceived, 50);
    EXPECT_GT(ended.call.legs.at(1).packetsReceived, 50);
    EXPECT_GT(hall.Heard().Share(660, 0.5, 0.5), 0.8);
    EXPECT_GT(kitchen.Heard().Share(440, 0.5, 0.5), 0.8);
    EXPECT_TRUE(WaitUntil([&] { return home_->Rooms() == 0; }));
}

}  // namespace
}  // namespace test
