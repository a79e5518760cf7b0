// run_scenario [--record] [--patience=MS] PATH...: plays scenarios, each a folder or a page. Ends with 1 when
// one of them differs from what it expects; --record prints the steps with what was seen instead. It waits up
// to MS milliseconds for the events and log lines that a step expects.
#include <chrono>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "tests/scenarios/Player.h"
#include "tests/scenarios/Scenario.h"
#include "tests/support/process/Patience.h"

namespace {

using scenario::Player;
using scenario::Scenario;
using scenario::Step;

constexpr char kUsage[] =
    "use: run_scenario [--record] [--patience=MS] PATH...  (a folder with home.xml and steps, or a page)";
constexpr std::string_view kPatienceOption = "--patience=";

struct Options {
    bool record = false;
    std::chrono::milliseconds patience = test::kPatience;
    std::vector<std::string> paths;
};

Options ReadOptions(const std::vector<std::string>& words) {
    Options options;
    for (const std::string& word : words) {
        if (word == "--record")
            options.record = true;
        else if (word.starts_with(kPatienceOption))
            options.patience = std::chrono::milliseconds(std::stoi(word.substr(kPatienceOption.size())));
        else
            options.paths.push_back(word);
    }
    return options;
}

std::string PlaceOf(const Scenario& scenario, const Step& step) {
    return scenario.file.string() + ":" + std::to_string(step.line) + ": > " + step.text;
}

/// Stops at the first step that differs: what comes after it builds on it.
bool PlayStep(Player& player, const Scenario& scenario, const Step& step) {
    std::string difference;
    try {
        difference = DifferenceOf(step, player.Play(step));
    } catch (const std::exception& error) {
        difference = std::string("  ") + error.what() + "\n";
    }
    if (difference.empty()) return true;
    std::fprintf(stderr, "%s\n%s", PlaceOf(scenario, step).c_str(), difference.c_str());
    return false;
}

bool Run(const std::string& path, std::chrono::milliseconds patience) {
    const Scenario scenario = scenario::ReadScenario(path);
    Player player(scenario.home, patience);
    player.Begin(scenario);
    for (const Step& step : scenario.steps)
        if (!PlayStep(player, scenario, step)) return false;
    player.End();
    std::printf("%s: %zu steps\n", path.c_str(), scenario.steps.size());
    return true;
}

bool Record(const std::string& path, std::chrono::milliseconds patience) {
    Scenario scenario = scenario::ReadScenario(path);
    Player player(scenario.home, patience);
    player.Begin(scenario);
    for (Step& step : scenario.steps)
        std::printf("%s", RecordOf(step, player.Play(step)).c_str());
    player.End();
    return true;
}

bool RunOrRecord(const std::string& path, const Options& options) {
    try {
        return options.record ? Record(path, options.patience) : Run(path, options.patience);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return false;
    }
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = ReadOptions({argv + 1, argv + argc});
    if (options.paths.empty()) {
        std::fprintf(stderr, "%s\n", kUsage);
        return 2;
    }
    bool allWell = true;
    for (const std::string& path : options.paths)
        allWell = RunOrRecord(path, options) && allWell;
    return allWell ? 0 : 1;
}
