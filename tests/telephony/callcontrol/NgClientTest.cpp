#include "telephony/callcontrol/NgClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "telephony/callcontrol/Bencode.h"
#include "telephony/callcontrol/Room.h"
#include "tests/telephony/callcontrol/Fakes.h"

namespace test {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using telephony::Bencode;
using telephony::NgReply;
using telephony::Unbencode;

TEST(Bencode, ValuesComeBackAsTheyWere) {
    const json value{{"command", "offer"},
                     {"flags", {"a", "b"}},
                     {"n", -7},
                     {"empty", json::object()},
                     {"bytes", std::string("\0:e", 3)}};
    EXPECT_EQ(Unbencode(Bencode(value)), value);
    EXPECT_EQ(Bencode({{"b", 1}, {"a", {"x"}}}), "d1:al1:xe1:bi1ee");
}

TEST(Bencode, WhatIsNotOneWholeValueIsNone) {
    for (const char* text : {"", "d", "i12", "ie", "ixe", "5:abc", "-1:a", "99999999999999999999:a", "d1:ae",
                             "di1e1:ae", "l1:a", "i1ei2e", "x"})
        EXPECT_EQ(Unbencode(text), std::nullopt) << text;
}

TEST(Bencode, DepthIsBounded) {
    EXPECT_EQ(Unbencode(std::string(100000, 'l')), std::nullopt);
    EXPECT_EQ(Unbencode(std::string(40, 'l') + std::string(40, 'e')), std::nullopt);
}

class Ng : public testing::Test {
protected:
    void Ask() {
        client_.Ask({{"command", "ping"}}, [this](const NgReply& reply) { replies_.push_back(reply); });
    }
    std::string Cookie() const { return sent_.back().substr(0, sent_.back().find(' ')); }

    FakeLoop loop_;
    std::vector<std::string> sent_;
    telephony::NgClient client_{loop_, [this](std::string_view text) { sent_.emplace_back(text); }};
    std::vector<NgReply> replies_;
};

TEST_F(Ng, AReplyIsGivenToWhoAsked) {
    Ask();
    client_.Receive(Cookie() + " d6:result4:ponge");
    ASSERT_EQ(replies_.size(), 1u);
    EXPECT_TRUE(replies_[0].ok);
}

TEST_F(Ng, ALostRequestIsSentAgainWithTheSameCookie) {
    Ask();
    loop_.Advance(200ms);
    ASSERT_EQ(sent_.size(), 2u);
    EXPECT_EQ(sent_[0], sent_[1]);
    client_.Receive(Cookie() + " d6:result4:ponge");
    client_.Receive(Cookie() + " d6:result4:ponge");
    loop_.Advance(10s);
    EXPECT_EQ(replies_.size(), 1u);
    EXPECT_EQ(sent_.size(), 2u);
}

TEST_F(Ng, NoAnswerIsToldOnceAfterTwoSeconds) {
    Ask();
    loop_.Advance(1990ms);
    EXPECT_TRUE(replies_.empty());
    loop_.Advance(20ms);
    ASSERT_EQ(replies_.size(), 1u);
    EXPECT_FALSE(replies_[0].answered);
    EXPECT_EQ(replies_[0].reason, "rtpengine does not answer");
}

TEST_F(Ng, WhatIsNoReplyIsPassedOver) {
    Ask();
    for (const std::string& text :
         {std::string(), std::string("garbage"), std::string("other d6:result4:ponge"),
          Cookie() + " d6:result", Cookie() + " i7e", Cookie() + " "})
        client_.Receive(text);
    EXPECT_TRUE(replies_.empty());
    client_.Receive(Cookie() + " d6:result4:ponge");
    EXPECT_EQ(replies_.size(), 1u);
}

TEST_F(Ng, ARefusalCarriesItsReason) {
    Ask();
    client_.Receive(Cookie() + " d6:result5:error12:error-reason15:Unknown call-ide");
    ASSERT_EQ(replies_.size(), 1u);
    EXPECT_FALSE(replies_[0].ok);
    EXPECT_EQ(replies_[0].reason, "Unknown call-id");
    EXPECT_TRUE(replies_[0].CallIsUnknown());
}

TEST(Traffic, PacketsAreCountedByEndAndLossAndJitterOnlyWhereTheyWereReported) {
    NgReply reply;
    reply.values = {
        {"tags",
         {{"caller",
           {{"medias",
             {{{"streams",
                {{{"SSRC", 1}, {"stats", {{"packets", 50}}}, {"flags", {"RTP"}}},
                 {{"stats", {{"packets", 2}}}, {"flags", {"RTCP"}}}}}}}}}},
          {"callee",
           {{"medias",
             {{{"streams", {{{"SSRC", 2}, {"stats", {{"packets", 40}}}, {"flags", {"RTP"}}}}}}}}}}}},
        {"SSRC", {{"1", {{"cumulative loss", 3}, {"average MOS", {{"jitter", 4}}}}}, {"2", json::object()}}}};
    const auto traffic = telephony::TrafficIn(reply);
    EXPECT_EQ(traffic.at("caller").rtp, 50);
    EXPECT_EQ(traffic.at("caller").rtcp, 2);
    EXPECT_EQ(traffic.at("caller").lost, 3);
    EXPECT_EQ(traffic.at("caller").jitter, 4);
    EXPECT_EQ(traffic.at("callee").rtp, 40);
    EXPECT_EQ(traffic.at("callee").lost, -1);
    EXPECT_EQ(traffic.at("callee").jitter, -1);
}

}  // namespace
}  // namespace test
