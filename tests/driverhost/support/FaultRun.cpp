#include "tests/driverhost/support/FaultRun.h"

#include <cstdlib>
#include <string>

namespace driverhost {
namespace {

using Fault = MemoryFileSystem::Fault;
using Left = FaultPlan::Left;

struct Kind {
    const char* name;
    Fault fault;
    Left left;
};
constexpr Kind kKinds[] = {
    {"an error", Fault::Error, Left::AnyPart},
    {"an error behind the deed", Fault::LateError, Left::AnyPart},
    {"a power cut that loses all", Fault::PowerCut, Left::Nothing},
    {"a power cut, first draw", Fault::PowerCut, Left::AnyPart},
    {"a power cut, second draw", Fault::PowerCut, Left::AnyPart},
    {"a power cut, third draw", Fault::PowerCut, Left::AnyPart},
    {"a kill", Fault::PowerCut, Left::All},
};

unsigned int FromEnvironment(const char* name, unsigned int otherwise) {
    const char* const text = std::getenv(name);
    return text ? static_cast<unsigned int>(std::stoul(text)) : otherwise;
}

// Until the run ends before it comes to the step.
void PlaySteps(FaultPlan plan, const char* kind, FaultRuns& all,
               const std::function<RunResult(const FaultPlan&)>& play) {
    for (plan.step = 0;; ++plan.step) {
        const RunResult result = play(plan);
        ++all.runs;
        if (!result.wrong.empty()) {
            all.wrong = "STATE_SEED=" + std::to_string(plan.seed) + ", " + kind + " at step " +
                        std::to_string(plan.step) + ": " + result.wrong;
            return;
        }
        if (!result.reached) return;
    }
}

}  // namespace

FaultRuns PlayAll(unsigned int seeds, const std::function<RunResult(const FaultPlan&)>& play) {
    const unsigned int first = FromEnvironment("STATE_SEED", 1);
    const unsigned int count = first == 1 ? FromEnvironment("STATE_SEEDS", seeds) : 1;
    FaultRuns all;
    for (unsigned int seed = first; seed < first + count; ++seed) {
        unsigned int variant = 0;
        for (const Kind& kind : kKinds) {
            ++all.series;
            PlaySteps({seed, variant++, 0, kind.fault, kind.left}, kind.name, all, play);
            if (!all.wrong.empty()) return all;
        }
    }
    return all;
}

}  // namespace driverhost
