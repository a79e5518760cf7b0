// The agent between the tests' recording host, system manager and devices, outside of a test.
#ifndef FUZZ_AGENTHOME_H
#define FUZZ_AGENTHOME_H

#include "fuzz/Fuzz.h"
#include "tests/support/AgentFixture.h"

namespace fuzz {

class AgentHome : public test::AgentFixture {
private:
    void TestBody() override {}
};

/// What the fixture and the fakes expect has always come true; to be called at the end of an input.
inline void RequireExpectations() {
    const bool failed = testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed();
    if (failed) Fault("an expectation of the fakes failed; it is told above");
}

}  // namespace fuzz

#endif
