// What tests with real phones have in common: a network of their own, and ears.
#ifndef TESTS_TELEPHONY_SUPPORT_LISTENING_H
#define TESTS_TELEPHONY_SUPPORT_LISTENING_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

#include "tests/support/process/SkipFor.h"
#include "tests/telephony/support/Phones.h"

namespace test {

/// For SetUp. Where that is refused the test is skipped, or fails if it must run.
inline void EnterOwnNetworkOrSkip() {
    const std::string trouble = EnterOwnNetwork();
    if (!trouble.empty()) SkipFor(trouble);
}

/// The same for tests with pages.
inline void FindBrowserOrSkip() {
    if (!std::filesystem::exists("/usr/bin/chromium")) return SkipFor("Chromium is not installed");
    if (!std::filesystem::exists(WEB_TESTS "/node_modules/playwright-core"))
        SkipFor("Playwright is not installed: run tests/web/run --install");
}

/// Long enough that half a second of silence would be heard.
inline void ASecondPasses() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1300));
}

/// Until each of these phones has been sent 1.3 s more of sound: a busy machine takes longer.
template <typename... Phones>
void Talk(const Phones&... phones) {
    const auto sent = [&] { return std::vector<double>{phones.Sent().Seconds()...}; };
    const std::vector<double> before = sent();
    const auto hasEnough = [](double was, double is) { return is > was + 1.3; };
    EXPECT_TRUE(WaitUntil([&] { return std::ranges::equal(before, sent(), hasEnough); }));
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
