// A home with a tool that is connected to call control, and what tests look at.
#ifndef TESTS_TELEPHONY_CALLCONTROL_REALCALLS_H
#define TESTS_TELEPHONY_CALLCONTROL_REALCALLS_H

#include <gtest/gtest.h>

#include <memory>

#include "tests/telephony/support/Listening.h"

namespace test {

using telephony::Event;
using telephony::EventKind;

class RealCalls : public testing::Test {
protected:
    void SetUp() override {
        EnterOwnNetworkOrSkip();
        if (IsSkipped() || HasFatalFailure()) return;
        home_ = std::make_unique<CallHome>(Silence());
        client_ = home_->Connect();
        WaitUntilAllIsUp(client_->Greet());
    }

    virtual CallHome::Silence Silence() const { return CallHome::kUsualSilence; }

    // So that what a test waits for is what the test has caused.
    void WaitUntilAllIsUp(const Event& snapshot) {
        bool proxy = snapshot.proxy == "up";
        bool media = snapshot.media == "up";
        while (!proxy || !media) {
            const Event event = client_->WaitForAny();
            if (event.kind == EventKind::Proxy) proxy = event.state == "up";
            if (event.kind == EventKind::Media) media = event.state == "up";
        }
    }

    std::unique_ptr<CallHome> home_;
    std::unique_ptr<CallClient> client_;
};

}  // namespace test

#endif
