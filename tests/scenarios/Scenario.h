// A scenario as text: a home, and steps with what is expected of each. README.md beside this file
// describes the form. A scenario stands in a folder (home.xml and steps), or in the fenced blocks
// of a page: "```xml home" and "```scenario".
#ifndef TESTS_SCENARIOS_SCENARIO_H
#define TESTS_SCENARIOS_SCENARIO_H

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace scenario {

/// An answer over HTTP, as it is expected and as it came.
struct Answer {
    int status = 200;
    std::string body;
};

struct Step {
    int line = 0;                    // of the ">" in its file
    std::string before;              // comments and blank lines above, as they stand
    std::string text;                // behind "> "
    std::vector<std::string> words;  // the text, taken apart
    std::string body;                // what the request carries: the indented lines below it
    std::optional<Answer> answer;
    std::vector<std::string> events;    // "!"
    std::vector<std::string> requests;  // "$", to the system manager
    std::vector<std::string> log;       // "~"
};

struct Scenario {
    std::filesystem::path file;  // where the steps stand
    std::string home;
    std::vector<Step> steps;
};

/// Reads a folder, or the page when `path` is a file. Throws std::runtime_error, "FILE:LINE: what",
/// when something is missing or not understood.
Scenario ReadScenario(const std::filesystem::path& path);

/// Steps from a text whose first line is the line `firstLine` of `file`.
std::vector<Step> ParseSteps(std::string_view text, const std::string& file, int firstLine = 1);

/// Words divided by blanks; a part in '...' or "..." is taken as it stands. Throws when a quote is
/// left open.
std::vector<std::string> SplitWords(std::string_view text);

}  // namespace scenario

#endif
