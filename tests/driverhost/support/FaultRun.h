// Repeats a run with a fault at each step in turn.
//
// STATE_SEED=N in the environment plays one seed only, STATE_SEEDS=N the seeds from 1 to N. A failure
// shows its plan; the same seed gives the same runs.
#ifndef TESTS_DRIVERHOST_SUPPORT_FAULTRUN_H
#define TESTS_DRIVERHOST_SUPPORT_FAULTRUN_H

#include <functional>
#include <string>

#include "tests/driverhost/support/MemoryFileSystem.h"

namespace driverhost {

/// Where and how one run fails.
struct FaultPlan {
    unsigned int seed;
    unsigned int variant;  // makes other random choices with the same seed
    int step;
    MemoryFileSystem::Fault fault;
    enum class Left {
        Nothing,
        AnyPart,
        All
    } left;  // of what was not synced; All: only the process was killed
};

struct RunResult {
    std::string wrong;  // empty: all is well
    bool reached;       // the run got as far as the plan's step
};

struct FaultRuns {
    int runs = 0;
    int series = 0;     // a series has one seed and one kind of fault, and a run for each step
    std::string wrong;  // what went wrong first, with its plan
};

/// Plays each kind of fault at each step for each seed, until a run goes wrong.
FaultRuns PlayAll(unsigned int seeds, const std::function<RunResult(const FaultPlan&)>& play);

}  // namespace driverhost

#endif
