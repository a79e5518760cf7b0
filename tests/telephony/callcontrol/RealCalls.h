// A home with a tool that is connected to call control, and what tests look at.
#ifndef TESTS_TELEPHONY_CALLCONTROL_REALCALLS_H
#define TESTS_TELEPHONY_CALLCONTROL_REALCALLS_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <thread>

#include "tests/telephony/support/Phones.h"

namespace test {

using telephony::Event;
using telephony::EventKind;

class RealCalls : public testing::Test {
protected:
    void SetUp() override {
        if (const std::string trouble = EnterOwnNetwork(); !trouble.empty()) {
            // The pipeline must not take a run without these tests for a whole one.
            if (std::getenv("CALL_TESTS_MUST_RUN")) FAIL() << trouble;
            GTEST_SKIP() << trouble;
        }
        home_ = std::make_unique<CallHome>();
        client_ = home_->Connect();
        client_->Greet();
    }

    /// Long enough that half a second of it can be listened to.
    static void Talk() { std::this_thread::sleep_for(std::chrono::milliseconds(1300)); }

    /// The tone that is sent to it, or was sent to it last. Waits for enough of it.
    template <typename Phone>
    static testing::AssertionResult Hears(const Phone& phone, double hertz) {
        Sound sent;
        double from = 0;
        const bool isHeard = WaitUntil([&] {
            sent = phone.Sent();
            from = sent.Seconds() - 0.6;
            return from > 0 && sent.Share(hertz, from, 0.5) > 0.8;
        });
        if (isHeard) return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << sent.Seconds() << " s sent, loudness " << sent.Loudness(from, 0.5) << ", share of " << hertz
               << " Hz: " << sent.Share(hertz, from, 0.5);
    }

    /// Of everything since the home was made.
    template <typename Phone>
    static testing::AssertionResult HearsNothing(const Phone& phone) {
        const Sound sent = phone.Sent();
        if (sent.Loudness(0, sent.Seconds()) < 50) return testing::AssertionSuccess();
        return testing::AssertionFailure() << sent.Seconds() << " s sent";
    }

    std::unique_ptr<CallHome> home_;
    std::unique_ptr<CallClient> client_;
};

}  // namespace test

#endif
