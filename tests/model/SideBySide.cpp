#include "tests/model/SideBySide.h"

#include <chrono>
#include <exception>

namespace model {
namespace {

constexpr unsigned long kFirstAgentId = 77;
constexpr std::size_t kMostOrderedPhones = 10;

std::vector<std::string> Indented(const std::vector<std::string>& lines) {
    std::vector<std::string> indented;
    for (const std::string& line : lines)
        indented.push_back("    " + line + "\n");
    return indented;
}

/// What an agent writes after it was started with the state, by the model.
std::string Rewritten(const Tree& state) {
    Surroundings nothing;
    std::vector<std::string> unheard;
    AgentModel agent(nothing, unheard);
    const Tree read = ReadBack(state);
    agent.Initialize(1, &read);
    return ToText(agent.State());
}

/// Three things do change when a state is read: a group that was renamed to the reserved name is not
/// loaded, the numbers of a contact with more than ten are put into another order, and keys that
/// differ only in what XML cannot carry become one.
bool SurvivesReading(const AgentModel& agent, const Tree& state) {
    if (!IsCarried(state)) return false;
    for (const auto& [id, group] : agent.groups()) {
        if (group.name == "All") return false;
    }
    for (const AgentModel::Contact& contact : agent.contacts()) {
        if (contact.phones.size() > kMostOrderedPhones) return false;
    }
    return true;
}

std::optional<Difference> Compared(const std::string& subject, const std::string& expected,
                                   const std::string& actual) {
    if (expected == actual) return std::nullopt;
    return Difference{subject, {expected}, {actual}};
}

}  // namespace

std::string Difference::Text() const {
    std::string text = subject + "\n  expected:\n";
    for (const std::string& line : Indented(expected))
        text += line;
    text += "  actual:\n";
    for (const std::string& line : Indented(actual))
        text += line;
    return text;
}

std::optional<Difference> SideBySide::Start() {
    model_.Start(kFirstAgentId, nullptr);
    real_.Start(kFirstAgentId, nullptr);
    expected_ = model_.Take();
    const auto difference = CompareLines();
    return difference ? difference : CompareStates();
}

std::optional<Difference> SideBySide::Do(const Step& step) {
    model_.Apply(step);
    expected_ = model_.Take();
    try {
        real_.Apply(step);
        const auto difference = CompareLines();
        return difference ? difference : CompareStates();
    } catch (const std::exception& exception) {
        return Difference{"the agent throws", expected_, {exception.what()}};
    }
}

std::optional<Difference> SideBySide::CompareLines() {
    const std::vector<std::string> actual = real_.Take();
    if (actual == expected_) return std::nullopt;
    return Difference{"what leaves the agent", expected_, actual};
}

std::optional<Difference> SideBySide::CompareStates() {
    const Tree tree = model_.Agent().State();
    const std::string state = ToText(tree);
    if (const auto difference = Compared("the state document", state, real_.State())) return difference;
    if (state == lastState_) return std::nullopt;
    lastState_ = state;
    const std::string after = real_.StateAfter(state);
    if (const auto difference = Compared("the document after reading it", Rewritten(tree), after))
        return difference;
    if (!SurvivesReading(model_.Agent(), tree)) return std::nullopt;
    return Compared("what is written and read back", state, after);
}

std::optional<Difference> FirstDifference(const Scenario& scenario) {
    SideBySide run(scenario.start);
    auto difference = run.Start();
    for (std::size_t i = 0; i < scenario.steps.size() && !difference; i++)
        difference = run.Do(scenario.steps[i]);
    return difference;
}

Scenario Shortened(Scenario scenario, int seconds) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::seconds(seconds);
    for (std::size_t chunk = scenario.steps.size() / 2; chunk > 0; chunk /= 2) {
        for (std::size_t from = 0; from < scenario.steps.size() && Clock::now() < end;) {
            Scenario shorter = scenario;
            const auto first = shorter.steps.begin() + static_cast<long>(from);
            const auto last =
                shorter.steps.begin() + static_cast<long>(std::min(from + chunk, shorter.steps.size()));
            shorter.steps.erase(first, last);
            if (FirstDifference(shorter)) {
                scenario = shorter;
            } else {
                from += chunk;
            }
        }
    }
    return scenario;
}

}  // namespace model
