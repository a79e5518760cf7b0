#include "tests/scenarios/Compare.h"

#include <algorithm>
#include <cstddef>

namespace scenario {

namespace {

/// Of an element in a difference: narrow enough to show which child differs.
constexpr std::size_t kDifferenceWidth = 40;
constexpr std::string_view kIndent = "  ";

bool IsEndTag(std::string_view tag) {
    return tag.starts_with("</");
}

bool IsEmptyTag(std::string_view tag) {
    return tag.ends_with("/>");
}

/// Lays out one XML text, tag by tag. What is no XML comes out as it is, on one line.
class Layout {
public:
    Layout(std::string_view xml, std::size_t width) : xml_(xml), width_(width) {}

    std::vector<std::string> Take() {
        while (at_ < xml_.size())
            Next(0);
        return std::move(lines_);
    }

private:
    // An element that is narrow enough, or a tag, or a run of text.
    void Next(std::size_t depth) {
        const std::string_view token = Token(at_);
        if (!token.starts_with("<") || IsEmptyTag(token) || IsEndTag(token))
            return Write(depth, token.size());
        const std::size_t end = EndOfElement();
        if (end - at_ + depth * kIndent.size() <= width_) return Write(depth, end - at_);
        const std::size_t opening = token.size() + TextBehind(at_ + token.size());
        if (at_ + opening < end && IsEndTag(Token(at_ + opening))) return Write(depth, end - at_);
        Write(depth, opening);
        while (at_ < end && !IsEndTag(Token(at_)))
            Next(depth + 1);
        if (at_ < end) Write(depth, Token(at_).size());
    }

    void Write(std::size_t depth, std::size_t size) {
        std::string line;
        for (std::size_t level = 0; level < depth; ++level)
            line.append(kIndent);
        lines_.push_back(line.append(xml_.substr(at_, size)));
        at_ += size;
    }

    /// A tag, or text up to the next one.
    std::string_view Token(std::size_t at) const {
        const bool tag = xml_[at] == '<';
        const auto end = tag ? xml_.find('>', at) : xml_.find('<', at);
        if (end == std::string_view::npos) return xml_.substr(at);
        return xml_.substr(at, end - at + (tag ? 1 : 0));
    }

    std::size_t TextBehind(std::size_t at) const {
        return at < xml_.size() && xml_[at] != '<' ? Token(at).size() : 0;
    }

    std::size_t EndOfElement() const {
        std::size_t open = 0;
        for (std::size_t at = at_; at < xml_.size();) {
            const std::string_view token = Token(at);
            at += token.size();
            if (!token.starts_with("<") || IsEmptyTag(token)) continue;
            open = IsEndTag(token) ? open - 1 : open + 1;
            if (open == 0) return at;
        }
        return xml_.size();
    }

    std::string_view xml_;
    std::size_t width_;
    std::size_t at_ = 0;
    std::vector<std::string> lines_;
};

std::vector<std::string> LayOutAll(const std::vector<std::string>& texts) {
    std::vector<std::string> lines;
    for (const std::string& text : texts)
        for (std::string& line : LayOut(text, kDifferenceWidth))
            lines.push_back(std::move(line));
    return lines;
}

/// common[i][j]: how many lines the texts share from line i and line j on.
std::vector<std::vector<std::size_t>> CountCommon(const std::vector<std::string>& expected,
                                                  const std::vector<std::string>& seen) {
    std::vector common(expected.size() + 1, std::vector<std::size_t>(seen.size() + 1));
    for (std::size_t i = expected.size(); i-- > 0;)
        for (std::size_t j = seen.size(); j-- > 0;)
            common[i][j] = Matches(expected[i], seen[j]) ? common[i + 1][j + 1] + 1
                                                         : std::max(common[i + 1][j], common[i][j + 1]);
    return common;
}

}  // namespace

bool Matches(std::string_view expected, std::string_view seen) {
    auto gap = expected.find(kAnything);
    if (gap == std::string_view::npos) return expected == seen;
    if (!seen.starts_with(expected.substr(0, gap))) return false;
    seen.remove_prefix(gap);
    expected.remove_prefix(gap + kAnything.size());
    // What stands between two gaps is best found as early as possible.
    for (gap = expected.find(kAnything); gap != std::string_view::npos; gap = expected.find(kAnything)) {
        const auto found = seen.find(expected.substr(0, gap));
        if (found == std::string_view::npos) return false;
        seen.remove_prefix(found + gap);
        expected.remove_prefix(gap + kAnything.size());
    }
    return seen.ends_with(expected);
}

bool Matches(const std::vector<std::string>& expected, const std::vector<std::string>& seen) {
    return std::equal(expected.begin(), expected.end(), seen.begin(), seen.end(),
                      [](const std::string& a, const std::string& b) { return Matches(a, b); });
}

std::vector<std::string> LayOut(std::string_view xml, std::size_t width) {
    return Layout(xml, width).Take();
}

std::string Difference(const std::vector<std::string>& expected, const std::vector<std::string>& seen) {
    const auto wanted = LayOutAll(expected);
    const auto found = LayOutAll(seen);
    const auto common = CountCommon(wanted, found);
    std::string difference;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < wanted.size() || j < found.size()) {
        if (i < wanted.size() && j < found.size() && Matches(wanted[i], found[j])) {
            difference += "    " + found[j++] + "\n";
            ++i;
        } else if (j == found.size() || (i < wanted.size() && common[i + 1][j] >= common[i][j + 1])) {
            difference += "  - " + wanted[i++] + "\n";
        } else {
            difference += "  + " + found[j++] + "\n";
        }
    }
    return difference;
}

}  // namespace scenario
