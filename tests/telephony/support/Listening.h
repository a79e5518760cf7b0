// What tests with real phones have in common: a network of their own, and ears.
#ifndef TESTS_TELEPHONY_SUPPORT_LISTENING_H
#define TESTS_TELEPHONY_SUPPORT_LISTENING_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "tests/telephony/support/Phones.h"

namespace test {

/// For SetUp. Where that is refused the test is skipped, or fails if it must run.
inline void EnterOwnNetworkOrSkip() {
    const std::string trouble = EnterOwnNetwork();
    if (trouble.empty()) return;
    // The pipeline must not take a run without these tests for a whole one.
    if (std::getenv("CALL_TESTS_MUST_RUN")) FAIL() << trouble;
    GTEST_SKIP() << trouble;
}

/// Long enough that half a second of it can be listened to.
inline void Talk() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1300));
}

/// The tone that is sent to it, or was sent to it last. Waits for enough of it.
template <typename Phone>
testing::AssertionResult Hears(const Phone& phone, double hertz) {
    Sound sent;
    double from = 0;
    const bool isHeard = WaitUntil([&] {
        sent = phone.Sent();
        from = sent.Seconds() - 0.6;
        return from > 0 && sent.Share(hertz, from, 0.5) > 0.8;
    });
    if (isHeard) return testing::AssertionSuccess();
    return testing::AssertionFailure() << sent.Seconds() << " s sent, loudness " << sent.Loudness(from, 0.5)
                                       << ", share of " << hertz << " Hz: " << sent.Share(hertz, from, 0.5);
}

/// Of everything since the home was made.
template <typename Phone>
testing::AssertionResult HearsNothing(const Phone& phone) {
    const Sound sent = phone.Sent();
    if (sent.Loudness(0, sent.Seconds()) < 50) return testing::AssertionSuccess();
    return testing::AssertionFailure() << sent.Seconds() << " s sent";
}

}  // namespace test

#endif
