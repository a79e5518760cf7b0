// What a run has met: kinds of steps with their outcomes, and kinds of lines.
#ifndef TESTS_MODEL_COVERAGE_H
#define TESTS_MODEL_COVERAGE_H

#include <map>
#include <string>
#include <vector>

#include "tests/model/Step.h"

namespace model {

class Coverage {
public:
    /// `lines` is what the step led to, `agent` how it left the model.
    void Count(const Step& step, const std::vector<std::string>& lines, const AgentModel& agent);

    std::string Table() const;

    /// What a long enough run must have met and this one has not.
    std::vector<std::string> Missing() const;

private:
    void CountSituations(const Step& step, const std::string& outcome, const AgentModel& agent);

    std::map<std::string, std::map<std::string, int>> outcomes_;  // by kind of step
    std::map<std::string, int> lines_;                            // by kind of line
    std::map<std::string, int> situations_;
    std::size_t lastGroups_ = 0;
    std::size_t lastRecents_ = 0;
};

}  // namespace model

#endif
