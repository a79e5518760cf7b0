#include "host/xml/Names.h"

#include <algorithm>
#include <functional>

#include "host/xml/Reader.h"

namespace DvXML {
namespace {

bool IsAscii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

// ASCII characters that a name may begin with, and those that it may hold (XML 1.0, section 2.3).
constexpr auto mayBegin = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':';
};
constexpr auto mayFollow = [](char c) {
    return mayBegin(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
};
constexpr auto mayFollowOrIsBeyondAscii = [](char c) { return !IsAscii(c) || mayFollow(c); };

// The name with "_" for each character, or byte beyond ASCII, that is not `kept`.
template <class IsKept>
std::string Replaced(std::string_view name, const IsKept& isKept) {
    std::string replaced(name);
    std::replace_if(replaced.begin(), replaced.end(), std::not_fn(isKept), '_');
    return IsLegalName(replaced) ? replaced : "_" + replaced;
}

}  // namespace

// Which characters beyond ASCII a name may hold differs between editions of XML, so the reader is asked about
// those; it is asked about nothing that could be taken for markup.
bool IsLegalName(std::string_view name) {
    if (name.empty() || (IsAscii(name.front()) && !mayBegin(name.front()))) return false;
    if (std::all_of(name.begin(), name.end(), mayFollow)) return true;
    return std::all_of(name.begin(), name.end(), mayFollowOrIsBeyondAscii) && IsReadableName(name);
}

// The reader is asked about whole names only, so that a long one takes no longer than its length.
std::string LegalName(std::string_view name) {
    std::string legal = Replaced(name, mayFollowOrIsBeyondAscii);
    return IsLegalName(legal) ? legal : Replaced(name, mayFollow);
}

}  // namespace DvXML
