// How long tests wait. For something that must happen they wait far longer than a busy machine needs, so that
// only a fault takes that long. A time that a test wants to run out is short and belongs to that test.
#ifndef TESTS_SUPPORT_PROCESS_PATIENCE_H
#define TESTS_SUPPORT_PROCESS_PATIENCE_H

#include <chrono>
#include <thread>

namespace test {

/// For one thing to happen. The test runner allows ten times as much for a whole test.
constexpr std::chrono::seconds kPatience{180};

/// Checks the condition until it holds. False if it does not within kPatience.
template <class Condition>
bool Eventually(Condition condition) {
    constexpr std::chrono::milliseconds kBetweenChecks{5};
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(kBetweenChecks);
    }
    return true;
}

}  // namespace test

#endif
