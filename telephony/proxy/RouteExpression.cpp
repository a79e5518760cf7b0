// A route's pattern is a POSIX extended regular expression, and replaces like sed: what stands before and
// behind the match stays. Kamailio's transformation {re.subst} does that with the C library's regcomp,
// which is also what checks the pattern here.
#include <regex.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <stdexcept>

#include "telephony/proxy/Plan.h"

namespace proxy {

namespace {

// Stands between the parts of an expression; no text of a record may hold it.
constexpr char kSeparator = '\x01';
constexpr std::size_t kLongestPart = 512;
constexpr int kMostReplaced = 10;    // places in a replacement, a bound of Kamailio's
constexpr long kMostRepeats = 1000;  // each repeat is compiled out, so nested ones would eat the memory

void CheckText(const std::string& text, const char* what) {
    if (text.size() > kLongestPart)
        throw std::invalid_argument(std::string(what) + " is longer than 512 bytes");
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; };
    if (std::ranges::any_of(text, isControl))
        throw std::invalid_argument(std::string(what) + " holds a control character");
}

// The numbers in all "{n,m}" multiplied, as if each stood in the next.
void CheckRepeats(const std::string& pattern) {
    long product = 1;
    for (std::size_t at = pattern.find('{'); at != pattern.npos; at = pattern.find('{', at + 1)) {
        long highest = 1;
        std::size_t digit = at + 1;
        while (digit < pattern.size() &&
               (std::isdigit(static_cast<unsigned char>(pattern[digit])) || pattern[digit] == ',')) {
            long number = 0;
            for (; digit < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[digit]));
                 ++digit)
                number = std::min(number * 10 + pattern[digit] - '0', kMostRepeats + 1);
            highest = std::max(highest, number);
            if (digit < pattern.size() && pattern[digit] == ',') ++digit;
        }
        product *= highest;
        if (product > kMostRepeats) throw std::invalid_argument("the pattern repeats more than 1000 times");
    }
}

/// The number of groups.
std::size_t CheckPattern(const std::string& pattern) {
    if (pattern.empty()) throw std::invalid_argument("the pattern is empty");
    CheckText(pattern, "the pattern");
    CheckRepeats(pattern);
    regex_t compiled;
    const int fault = ::regcomp(&compiled, pattern.c_str(), REG_EXTENDED | REG_NEWLINE);
    if (fault != 0) {
        char reason[128];
        ::regerror(fault, &compiled, reason, sizeof reason);
        throw std::invalid_argument("the pattern is no regular expression: " + std::string(reason));
    }
    const std::unique_ptr<regex_t, decltype(&::regfree)> freed(&compiled, ::regfree);
    if (::regexec(&compiled, "", 0, nullptr, 0) == 0)
        throw std::invalid_argument("the pattern also matches nothing at all");
    return compiled.re_nsub;
}

// "$1" and "\1" are what group 1 matched, "$0" all of it; any other "$" is itself, any other character
// behind a "\" too. What comes out has only "\N", "\\" and "\$" beside plain characters.
std::string Replacement(const std::string& rewrite, std::size_t groups) {
    CheckText(rewrite, "the replacement");
    std::string result;
    int replaced = 0;
    for (std::size_t at = 0; at < rewrite.size(); ++at) {
        const char c = rewrite[at];
        const bool leads = (c == '$' || c == '\\') && at + 1 < rewrite.size();
        if (leads && rewrite[at + 1] >= '0' && rewrite[at + 1] <= '9') {
            const char digit = rewrite[++at];
            if (static_cast<std::size_t>(digit - '0') > groups)
                throw std::invalid_argument(std::string("the replacement asks for group ") + digit +
                                            ", which the pattern does not have");
            result += {'\\', digit};
            ++replaced;
            continue;
        }
        const char plain = c == '\\' && leads ? rewrite[++at] : c;
        if (plain == '$' || plain == '\\') {
            result += '\\';
            ++replaced;
        }
        result += plain;
    }
    if (replaced > kMostReplaced)
        throw std::invalid_argument("the replacement has more than 10 groups, $ and \\");
    return result;
}

// Kamailio takes one backslash away in front of each brace, wherever it stands.
std::string WithBracesKept(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool beforeBrace = at + 1 < text.size() && (text[at + 1] == '{' || text[at + 1] == '}');
        if (text[at] == '\\' && beforeBrace) result += '\\';
        result += text[at];
    }
    return result;
}

}  // namespace

std::string RouteExpression(const std::string& pattern, const std::string& rewrite) {
    const std::size_t groups = CheckPattern(pattern);
    if (pattern.ends_with('\\')) throw std::invalid_argument("the pattern ends with a backslash");
    const std::string replacement = Replacement(rewrite, groups);
    return WithBracesKept(kSeparator + pattern + kSeparator + replacement + kSeparator);
}

}  // namespace proxy
