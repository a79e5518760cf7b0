// A whole home for each test, ended with it.
#ifndef TESTS_TELEPHONY_HOME_HOUSE_H
#define TESTS_TELEPHONY_HOME_HOUSE_H

#include <iostream>
#include <string>

#include "tests/telephony/support/Listening.h"
#include "tests/telephony/support/WholeHome.h"

namespace test {

class House : public testing::Test, protected WholeHome {
protected:
    void SetUp() override {
        EnterOwnNetworkOrSkip();
        if (!IsSkipped() && !HasFatalFailure()) Open(Drivers(), Silence());
    }

    void TearDown() override {
        if (HasFailure()) std::cerr << Logs();
        Close();
        EXPECT_TRUE(Kamailios().empty()) << ProxyLog();
    }

    /// The drivers of the home file beside the agent: the phones hall (101, "Hall") and kitchen (102,
    /// "Kitchen") ring for the doorbell, attic (103, "Attic") does not, door (104, "Front door") is a door
    /// station. Kitchen and attic may be monitored.
    virtual std::string Drivers() const {
        const std::string chimes = "<ringDoorbell>true</ringDoorbell>";
        return PhoneDriver(101, "hall", "Hall", chimes) +
               PhoneDriver(102, "kitchen", "Kitchen", chimes + "<mayBeMonitored>true</mayBeMonitored>") +
               PhoneDriver(103, "attic", "Attic", "<mayBeMonitored>true</mayBeMonitored>") +
               PhoneDriver(104, "door", "Front door", "<doorStation>true</doorStation>");
    }

    virtual CallHome::Silence Silence() const { return CallHome::kUsualSilence; }

    testing::AssertionResult StateBecomes(unsigned id, int state) const {
        if (WaitUntil([&] { return HasState(id, state); })) return testing::AssertionSuccess();
        return testing::AssertionFailure() << Command("getDeviceState", {{"idDevice", std::to_string(id)}});
    }

    testing::AssertionResult IsLogged(const std::string& text) const {
        if (WaitUntil([&] { return host_->Log().find(text) != std::string::npos; }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "nothing logged of: " << text;
    }
};

}  // namespace test

#endif
