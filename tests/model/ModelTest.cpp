// Long random runs of commands, driver calls, system events and restarts: the agent must do what
// the model says, line by line.
//
//     MODEL_STEPS=200000 test_model        longer runs
//     MODEL_SEED=7 test_model              other seeds: 7, 8, ...
//     MODEL_TRACE=1 test_model             tells each step before it is done
//
// A run that finds a difference prints what is needed to do it again.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string>

#include "tests/model/Coverage.h"
#include "tests/model/Generator.h"
#include "tests/model/SideBySide.h"

namespace model {
namespace {

constexpr long long kSteps = 20000;
constexpr long long kFirstSeed = 1;
constexpr int kSeeds = 3;
constexpr std::size_t kToldSteps = 20;
constexpr int kShorteningSeconds = 60;

long long Setting(const char* name, long long usual) {
    const char* value = std::getenv(name);
    return value ? ReadLong(value) : usual;
}

std::string Told(const std::vector<Step>& steps, std::size_t last) {
    std::string text;
    const std::size_t from = steps.size() > last ? steps.size() - last : 0;
    for (std::size_t i = from; i < steps.size(); i++)
        text += std::to_string(i + 1) + ". " + StepText(steps[i]) + "\n";
    return text;
}

/// Everything that is needed to look into a difference and to do the run again.
std::string Report(long long seed, const Scenario& scenario, const Difference& difference) {
    const Scenario shorter = Shortened(scenario, kShorteningSeconds);
    const auto remaining = FirstDifference(shorter);
    return "seed " + std::to_string(seed) + ", step " + std::to_string(scenario.steps.size()) + ": " +
           difference.Text() + "the last steps:\n" + Told(scenario.steps, kToldSteps) +
           "again: MODEL_SEED=" + std::to_string(seed) +
           " MODEL_STEPS=" + std::to_string(scenario.steps.size()) +
           " test_model --gtest_filter=*/0\n\nshortened to " + std::to_string(shorter.steps.size()) +
           " steps:\n" + Told(shorter.steps, shorter.steps.size()) + (remaining ? remaining->Text() : "");
}

class RandomRuns : public testing::TestWithParam<int> {
protected:
    void SetUp() override {
        std::cout << "seed " << seed_ << ", " << steps_ << " steps, next user " << AgentModel::nextUserId
                  << std::endl;
    }

    void Play() {
        Generator generator(static_cast<std::uint64_t>(seed_));
        scenario_.start = generator.Start();
        SideBySide run(scenario_.start);
        auto difference = run.Start();
        for (long long i = 0; i < steps_ && !difference; i++) {
            scenario_.steps.push_back(generator.Next(run.Model()));
            if (trace_) std::cout << Told(scenario_.steps, 1) << std::flush;
            difference = run.Do(scenario_.steps.back());
            coverage_.Count(scenario_.steps.back(), run.Lines(), run.Model().Agent());
        }
        difference_ = difference;
    }

    const long long seed_ = Setting("MODEL_SEED", kFirstSeed) + GetParam();
    const long long steps_ = Setting("MODEL_STEPS", kSteps);
    const bool trace_ = Setting("MODEL_TRACE", 0) != 0;
    Scenario scenario_;
    Coverage coverage_;
    std::optional<Difference> difference_;
};

TEST_P(RandomRuns, AgentDoesWhatTheModelSays) {
    Play();
    std::cout << coverage_.Table();
    if (difference_) FAIL() << Report(seed_, scenario_, *difference_);
    if (steps_ < kSteps) return;
    for (const std::string& missing : coverage_.Missing())
        ADD_FAILURE() << "the run never met " << missing;
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomRuns, testing::Range(0, kSeeds));

}  // namespace
}  // namespace model
