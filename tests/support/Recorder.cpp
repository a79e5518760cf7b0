#include "tests/support/Recorder.h"

#include <algorithm>
#include <utility>

namespace test {

void Recorder::Note(const std::string& line) {
    lines_.push_back(line);
    RunActions(line);
}

void Recorder::NoteQuery(const std::string& line) {
    const auto wanted = [&](const std::string& prefix) { return line.starts_with(prefix); };
    if (std::any_of(shown_.begin(), shown_.end(), wanted)) lines_.push_back(line);
    RunActions(line);
}

// An action may set further actions, or destroy whoever noted the line: only copies are used.
void Recorder::RunActions(const std::string& line) {
    std::vector<Action> due;
    for (const Entry& entry : actions_) {
        if (line.starts_with(entry.prefix)) due.push_back(entry.action);
    }
    std::erase_if(actions_, [&](const Entry& entry) { return entry.once && line.starts_with(entry.prefix); });
    for (const Action& action : due)
        action();
}

std::vector<std::string> Recorder::Take() {
    return std::exchange(lines_, {});
}

std::vector<std::string> Recorder::Take(std::string_view prefix) {
    std::vector<std::string> lines = Take();
    std::erase_if(lines, [&](const std::string& line) { return !line.starts_with(prefix); });
    return lines;
}

}  // namespace test
