// What a test does that needs something of the machine which is refused.
#ifndef TESTS_SUPPORT_PROCESS_SKIPFOR_H
#define TESTS_SUPPORT_PROCESS_SKIPFOR_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace test {

/// Skips the test. The pipeline must not take a run without these tests for a whole one: with
/// CALL_TESTS_MUST_RUN in the environment the test fails. For SetUp.
inline void SkipFor(const std::string& trouble) {
    if (std::getenv("CALL_TESTS_MUST_RUN")) FAIL() << trouble;
    GTEST_SKIP() << trouble;
}

}  // namespace test

#endif
