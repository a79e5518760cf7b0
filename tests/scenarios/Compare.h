// Comparing what is expected with what was seen, and showing the difference to people.
#ifndef TESTS_SCENARIOS_COMPARE_H
#define TESTS_SCENARIOS_COMPARE_H

#include <string>
#include <string_view>
#include <vector>

namespace scenario {

/// Stands for any run of characters, the empty one too, in what is expected.
inline constexpr std::string_view kAnything = "...";

/// True when the two are the same byte for byte, but for kAnything.
bool Matches(std::string_view expected, std::string_view seen);

/// The same for two lists, entry by entry.
bool Matches(const std::vector<std::string>& expected, const std::vector<std::string>& seen);

/// The lines of an XML text laid out for reading: an element that is wider than `width` with its
/// children on lines of their own. Joined without their indentation they are the text again.
std::vector<std::string> LayOut(std::string_view xml, std::size_t width);

/// Both texts laid out, line by line: "-" in front of what is only expected, "+" of what was only
/// seen, a blank of what both have.
std::string Difference(const std::vector<std::string>& expected, const std::vector<std::string>& seen);

}  // namespace scenario

#endif
