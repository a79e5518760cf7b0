#include "tests/scenarios/Scenario.h"

#include <cctype>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace scenario {

namespace {

constexpr std::string_view kBlank = " \t\r";

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) throw std::runtime_error(path.string() + ": cannot be read");
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

std::string_view Trim(std::string_view text) {
    const auto first = text.find_first_not_of(kBlank);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

bool IsStatus(std::string_view line) {
    const auto digit = [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; };
    return line.size() >= 3 && digit(line[0]) && digit(line[1]) && digit(line[2]) &&
           (line.size() == 3 || line[3] == ' ');
}

/// Reads the lines of one text into steps. An indented line goes on where the one above stopped.
class StepReader {
public:
    StepReader(std::string file, int firstLine) : file_(std::move(file)), line_(firstLine - 1) {}

    void Read(std::string_view line) {
        ++line_;
        const std::string_view content = Trim(line);
        if (content.empty() || line.front() == '#') return Skip(line);
        if (kBlank.find(line.front()) != std::string_view::npos) return GoOn(content);
        if (line.front() == '>') return Begin(Trim(line.substr(1)));
        if (steps_.empty()) Fail("nothing can be expected before the first step; begin one with \"> \"");
        Expect(content);
    }

    std::vector<Step> Take() {
        if (!steps_.empty()) return std::move(steps_);
        Fail("there is no step");
    }

private:
    [[noreturn]] void Fail(const std::string& what) const {
        throw std::runtime_error(file_ + ":" + std::to_string(line_) + ": " + what);
    }

    void Skip(std::string_view line) {
        before_.append(line).append("\n");
        open_ = nullptr;
    }

    void Begin(std::string_view text) {
        Step step;
        step.line = line_;
        step.before = std::move(before_);
        before_.clear();
        step.text = text;
        try {
            step.words = SplitWords(text);
        } catch (const std::runtime_error& error) {
            Fail(error.what());
        }
        if (step.words.empty()) Fail("\">\" says nothing to do");
        steps_.push_back(std::move(step));
        open_ = &steps_.back().body;
    }

    void GoOn(std::string_view content) {
        if (!open_) Fail("an indented line goes on with the one above it, and there is none");
        open_->append(content);
    }

    void Expect(std::string_view line) {
        Step& step = steps_.back();
        if (line.front() == '!') return Append(step.events, line);
        if (line.front() == '$') return Append(step.requests, line);
        if (line.front() == '~') return Append(step.log, line);
        if (line.front() == '<') return ExpectElement(step, line);
        if (IsStatus(line)) return ExpectStatus(step, line);
        Fail("a line begins with >, <, a status, !, $, ~ or #, or is indented");
    }

    void Append(std::vector<std::string>& list, std::string_view line) {
        list.emplace_back(Trim(line.substr(1)));
        open_ = &list.back();
    }

    // An element that is closed on a line of its own, at the margin.
    void ExpectElement(Step& step, std::string_view line) {
        const bool goesOn = step.answer && open_ == &step.answer->body;
        if (step.answer && !goesOn) Fail("this step has an answer already");
        if (!step.answer) step.answer.emplace();
        step.answer->body.append(line);
        open_ = &step.answer->body;
    }

    void ExpectStatus(Step& step, std::string_view line) {
        if (step.answer) Fail("this step has an answer already");
        step.answer = Answer{std::stoi(std::string(line.substr(0, 3))), std::string(Trim(line.substr(3)))};
        open_ = &step.answer->body;
    }

    std::string file_;
    int line_;
    std::string before_;
    std::vector<Step> steps_;
    std::string* open_ = nullptr;  // where an indented line goes on
};

template <class Reader>
void ForEachLine(std::string_view text, Reader read) {
    while (!text.empty()) {
        const auto end = text.find('\n');
        read(text.substr(0, end));
        if (end == std::string_view::npos) return;
        text.remove_prefix(end + 1);
    }
}

/// The fenced blocks of a page: the home, and the steps with blank lines in the place of all else,
/// so that every step keeps its line.
struct PageBlocks {
    std::string home;
    std::string steps;
};

PageBlocks ReadBlocks(std::string_view page) {
    enum { PROSE, HOME, STEPS, OTHER } inside = PROSE;
    PageBlocks blocks;
    ForEachLine(page, [&](std::string_view line) {
        std::string_view step;
        if (line.starts_with("```")) {
            const std::string_view info = Trim(line.substr(3));
            if (inside != PROSE)
                inside = PROSE;
            else
                inside = info == "xml home" ? HOME : info == "scenario" ? STEPS : OTHER;
        } else if (inside == HOME) {
            blocks.home.append(line).append("\n");
        } else if (inside == STEPS) {
            step = line;
        }
        blocks.steps.append(step).append("\n");
    });
    return blocks;
}

}  // namespace

std::vector<std::string> SplitWords(std::string_view text) {
    std::vector<std::string> words;
    char quote = 0;
    bool inWord = false;
    for (const char c : text) {
        const bool blank = !quote && kBlank.find(c) != std::string_view::npos;
        if (!blank && !inWord) words.emplace_back();
        inWord = !blank;
        if (blank) continue;
        if (quote ? c == quote : c == '\'' || c == '"')
            quote = quote ? 0 : c;
        else
            words.back() += c;
    }
    if (quote) throw std::runtime_error(std::string("a quote ") + quote + " is left open");
    return words;
}

std::vector<Step> ParseSteps(std::string_view text, const std::string& file, int firstLine) {
    StepReader reader(file, firstLine);
    ForEachLine(text, [&](std::string_view line) { reader.Read(line); });
    return reader.Take();
}

Scenario ReadScenario(const std::filesystem::path& path) {
    if (std::filesystem::is_directory(path)) {
        const auto file = path / "steps";
        return {file, ReadFile(path / "home.xml"), ParseSteps(ReadFile(file), file.string())};
    }
    PageBlocks blocks = ReadBlocks(ReadFile(path));
    if (blocks.home.empty()) throw std::runtime_error(path.string() + ": there is no block \"```xml home\"");
    return {path, blocks.home, ParseSteps(blocks.steps, path.string())};
}

}  // namespace scenario
