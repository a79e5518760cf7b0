// Plays a scenario on the real driverhost and tells where it differs from what is expected.
#ifndef TESTS_SCENARIOS_PLAYER_H
#define TESTS_SCENARIOS_PLAYER_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tests/scenarios/Scenario.h"
#include "tests/support/process/DriverHost.h"
#include "tests/support/process/EventReader.h"

namespace scenario {

/// What a step brought about.
struct Seen {
    std::optional<Answer> answer;
    std::vector<std::string> events;
    std::vector<std::string> requests;
    std::vector<std::string> log;
};

class Player {
public:
    /// `patience` is how long to wait for the events and log lines that a step expects.
    Player(const std::string& home, std::chrono::milliseconds patience) : host_(home), patience_(patience) {}

    /// Starts the process, unless the scenario does it in its first step.
    void Begin(const Scenario& scenario);

    /// Does what the step says and waits for what it expects. Throws std::runtime_error when the step
    /// is not understood or the process fails.
    Seen Play(const Step& step);

    /// Ends the process. Throws std::runtime_error when it does not end well.
    void End();

private:
    std::optional<Answer> Do(const Step& step);
    bool DoByItself(const Step& step);
    test::HttpRequest RequestOf(const Step& step) const;
    void Start();
    void Watch(const Step& step, Seen& seen);
    void TakeEvents(std::vector<std::string>& events, std::size_t expected);

    test::DriverHost host_;
    const std::chrono::milliseconds patience_;
    std::optional<test::EventReader> reader_;
    std::size_t eventsRead_ = 0;  // of this run of the process
};

/// What differs, to be read by people; empty when nothing does.
std::string DifferenceOf(const Step& step, const Seen& seen);

/// The step as it would be written if what was seen were expected.
std::string RecordOf(const Step& step, const Seen& seen);

}  // namespace scenario

#endif
