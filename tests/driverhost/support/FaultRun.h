// Runs that are repeated with a fault at every step in turn.
//
// STATE_SEED=N in the environment runs one seed alone, STATE_SEEDS=N so many from 1 on. A failure
// tells its plan; the same seed gives the same runs.
#ifndef TESTS_DRIVERHOST_SUPPORT_FAULTRUN_H
#define TESTS_DRIVERHOST_SUPPORT_FAULTRUN_H

#include <functional>
#include <string>

#include "tests/driverhost/support/MemoryFileSystem.h"

namespace driverhost {

/// Where and how one run fails.
struct FaultPlan {
    unsigned int seed;
    unsigned int variant;  // other draws with the same seed
    int step;
    MemoryFileSystem::Fault fault;
    enum class Left { Nothing, AnyPart, All } left;  // of the unsynced; all: the process was killed only
};

struct RunResult {
    std::string wrong;  // empty: all is well
    bool reached;       // the run came to the plan's step
};

struct FaultRuns {
    int runs = 0;
    int series = 0;     // of one kind of fault and one seed, a run for each step
    std::string wrong;  // with the plan; of the first run that went wrong
};

/// Plays every kind of fault at every step for each seed, until a run goes wrong.
FaultRuns PlayAll(unsigned int seeds, const std::function<RunResult(const FaultPlan&)>& play);

}  // namespace driverhost

#endif
