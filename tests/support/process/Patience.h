// How long tests wait. What must come is waited for far longer than the slowest machine needs, so that only a
// fault takes that long. A time that a test wants to see run out is short, and stands in that test.
#ifndef TESTS_SUPPORT_PROCESS_PATIENCE_H
#define TESTS_SUPPORT_PROCESS_PATIENCE_H

#include <chrono>
#include <thread>

namespace test {

/// For one thing that must come. The test runner allows a whole test ten times as much.
constexpr std::chrono::seconds kPatience{180};

/// Looks again and again until the condition holds; false when it never does.
template <class Condition>
bool Comes(Condition condition) {
    constexpr std::chrono::milliseconds kBetweenLooks{5};
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(kBetweenLooks);
    }
    return true;
}

}  // namespace test

#endif
