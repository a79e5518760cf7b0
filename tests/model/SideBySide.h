// The agent and the model side by side: every step is done to both, and what leaves them must be
// the same.
#ifndef TESTS_MODEL_SIDEBYSIDE_H
#define TESTS_MODEL_SIDEBYSIDE_H

#include <optional>
#include <string>
#include <vector>

#include "tests/model/ModelSide.h"
#include "tests/model/RealSide.h"
#include "tests/model/Step.h"

namespace model {

/// Where the two sides differ.
struct Difference {
    std::string subject;
    std::vector<std::string> expected;
    std::vector<std::string> actual;

    std::string Text() const;
};

class SideBySide {
public:
    explicit SideBySide(const Surroundings& start) : model_(start), real_(start) {}

    /// Makes both agents.
    std::optional<Difference> Start();
    std::optional<Difference> Do(const Step& step);

    const ModelSide& Model() const { return model_; }
    /// What the model expected of the last step.
    const std::vector<std::string>& Lines() const { return expected_; }

private:
    std::optional<Difference> CompareLines();
    /// What is written and read back is written the same again.
    std::optional<Difference> CompareStates();

    ModelSide model_;
    RealSide real_;
    std::vector<std::string> expected_;
    std::string lastState_;
};

/// A whole run as data.
struct Scenario {
    Surroundings start;
    std::vector<Step> steps;
};

/// The first difference that a run through the scenario meets, whichever it is.
std::optional<Difference> FirstDifference(const Scenario& scenario);

/// A scenario with fewer steps that meets a difference still; as short as was found in the time.
Scenario Shortened(Scenario scenario, int seconds);

}  // namespace model

#endif
