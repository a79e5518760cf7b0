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
        home_ = std::make_unique<CallHome>();
        client_ = home_->Connect();
        client_->Greet();
    }

    std::unique_ptr<CallHome> home_;
    std::unique_ptr<CallClient> client_;
};

}  // namespace test

#endif
