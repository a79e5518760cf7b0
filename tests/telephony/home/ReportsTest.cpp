// What all programs of a home tell, at the host's one address.
#include <gmock/gmock.h>

#include "tests/telephony/home/House.h"

using testing::HasSubstr;

namespace test {
namespace {

class Reports : public House {
protected:
    std::string Get(const std::string& path) const { return host_->Send({.path = path}).body; }
    testing::AssertionResult IsMeasured(const std::string& line) const {
        if (WaitUntil([&] { return Get("/metrics").find("\n" + line + "\n") != std::string::npos; }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "no " << line << " in\n" << Get("/metrics");
    }
};

TEST_F(Reports, PhonesCallsAndTheProxyAreMeasuredAtTheHost) {
    const Baresip hall(*home_, "hall", 6100, 440);
    const Baresip kitchen(*home_, "kitchen", 6110, 660);
    ASSERT_TRUE(StateBecomes(101, 0));
    ASSERT_TRUE(StateBecomes(102, 0));
    Call(101, 102);
    ASSERT_TRUE(StateBecomes(102, 3));
    EXPECT_TRUE(IsMeasured("intercom_callcontrol_running_calls 1"));
    EXPECT_TRUE(IsMeasured("intercom_callcontrol_proxy_up 1"));
    EXPECT_TRUE(IsMeasured("intercom_callcontrol_registered_phones 2"));
    EXPECT_TRUE(IsMeasured("intercom_callcontrol_away_phones 2"));
    EXPECT_TRUE(IsMeasured("intercom_sipproxy_kamailio_up 1"));
    EXPECT_TRUE(IsMeasured("intercom_sipproxy_registered_accounts 2"));
    HangUp(101);
    EXPECT_TRUE(IsMeasured("intercom_callcontrol_calls_total{kind=\"regular\",outcome=\"completed\"} 1"));
    EXPECT_EQ(Get("/health"), "<health>ok</health>");
}

TEST_F(Reports, WhatIsAwayIsAWarningInTheHostsHealth) {
    home_->KillMedia();
    EXPECT_TRUE(WaitUntil([this] {
        return Get("/health").find("<warning>callcontrol: rtpengine does not answer") != std::string::npos;
    })) << Get("/health");
    home_->StartMedia();
    EXPECT_TRUE(WaitUntil([this] { return Get("/health") == "<health>ok</health>"; })) << Get("/health");
}

TEST_F(Reports, ARecordThatIsLeftOutIsAWarningInTheHostsHealth) {
    Command("addRoute", {{"key", "broken"}, {"matchingPattern", "("}, {"rewriteExp", "x"}, {"order", "1"}});
    EXPECT_TRUE(WaitUntil([this] {
        return Get("/health").find("<warning>sipproxy: left out: route broken: ") != std::string::npos;
    })) << Get("/health");
}

}  // namespace
}  // namespace test
