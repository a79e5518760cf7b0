#include "driverhost/settings/TokenFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "driverhost/http/FormData.h"
#include "driverhost/runtime/Digest.h"
#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/FileDescriptor.h"
#include "driverhost/settings/Options.h"

namespace driverhost {
namespace {

constexpr mode_t kForOthers = S_IRWXG | S_IRWXO;
constexpr std::size_t kMaxTokenBytes = 1024;
constexpr std::size_t kMaxFileBytes = 256UL * 1024;
constexpr std::string_view kAdmin = "admin";
constexpr std::string_view kHousehold = "household";
constexpr std::string_view kTablet = "tablet";
constexpr char kTokenOption[] = "--token-file";

[[noreturn]] void Refuse(const std::string& option, const std::string& path, const std::string& why) {
    throw OptionError(option + " " + path + ": " + why);
}

enum class Readers { Anybody, OnlyOwner };

// Checks the open file, not its name, so that what was checked is what is read.
std::string Read(const std::string& option, const std::string& path, std::size_t mostBytes, Readers readers) {
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) Refuse(option, path, "cannot be read: " + SystemReason());
    struct stat status {};
    if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) Refuse(option, path, "is not a file");
    if (readers == Readers::OnlyOwner && (status.st_mode & kForOthers) != 0)
        Refuse(option, path, "others may read or change it; run chmod 600 on it");
    std::string text(mostBytes + 1, '\0');
    const ssize_t got = read(file.Get(), text.data(), text.size());
    if (got < 0) Refuse(option, path, "cannot be read: " + SystemReason());
    text.resize(static_cast<std::size_t>(got));
    return text;
}

std::string ReadAll(const std::string& option, const std::string& path, std::size_t mostBytes,
                    Readers readers) {
    std::string text = Read(option, path, mostBytes, readers);
    if (text.size() > mostBytes)
        Refuse(option, path, "has more than " + std::to_string(mostBytes) + " bytes");
    return text;
}

// What is wrong with one line.
class LineFault : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::vector<std::string> WordsOf(const std::string& line) {
    std::vector<std::string> words;
    boost::split(words, line, boost::is_any_of(" \t"), boost::token_compress_on);
    std::erase(words, std::string());
    return words;
}

bool IsVisible(char c) {
    return c > 0x20 && c < 0x7F;
}

// It must fit into a header line.
std::string HashOf(const std::string& token) {
    if (token.size() >= kMaxTokenBytes || !std::all_of(token.begin(), token.end(), IsVisible)) {
        throw LineFault("expected a token of fewer than " + std::to_string(kMaxTokenBytes) +
                        " visible ASCII characters, without blanks");
    }
    return Sha256(token);
}

std::string NameOf(const std::string& word) {
    const auto name = PercentDecode(word, Plus::IsPlus);
    if (!name || name->empty() || !XmlTextFault(*name).empty())
        throw LineFault("expected the name of a tablet's driver, percent-encoded where needed");
    return *name;
}

// A word alone is a token, as in files that know no roles.
std::optional<Token> ParseLine(const std::string& line, std::size_t number) {
    const std::vector<std::string> words = WordsOf(line);
    if (words.empty() || words[0].starts_with('#')) return std::nullopt;
    const std::string& first = words[0];
    const bool isRole = first == kAdmin || first == kHousehold || first == kTablet;
    if (words.size() == 1 && !isRole) return Token{HashOf(first), ROLE_ADMIN, {}, number};
    if (words.size() == 2 && first == kAdmin) return Token{HashOf(words[1]), ROLE_ADMIN, {}, number};
    if (words.size() == 2 && first == kHousehold) return Token{HashOf(words[1]), ROLE_HOUSEHOLD, {}, number};
    if (words.size() == 3 && first == kTablet)
        return Token{HashOf(words[2]), ROLE_TABLET, NameOf(words[1]), number};
    throw LineFault("expected TOKEN, admin TOKEN, household TOKEN or tablet NAME TOKEN");
}

void AddToken(std::vector<Token>& tokens, Token token) {
    const auto same = std::ranges::find(tokens, token.hash, &Token::hash);
    if (same != tokens.end())
        throw LineFault("has the token of line " + std::to_string(same->line) + "; each needs its own");
    tokens.push_back(std::move(token));
}

}  // namespace

std::string ReadSmallFile(const std::string& option, const std::string& path, std::size_t mostBytes) {
    return ReadAll(option, path, mostBytes, Readers::Anybody);
}

std::string ReadOwnersFile(const std::string& option, const std::string& path, std::size_t mostBytes) {
    return ReadAll(option, path, mostBytes, Readers::OnlyOwner);
}

std::vector<Token> ReadTokenFile(const std::string& path) {
    const std::string text = ReadAll(kTokenOption, path, kMaxFileBytes, Readers::OnlyOwner);
    std::vector<Token> tokens;
    std::size_t number = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        ++number;
        try {
            if (auto token = ParseLine(line, number)) AddToken(tokens, std::move(*token));
        } catch (const LineFault& fault) {
            Refuse(kTokenOption, path, "line " + std::to_string(number) + ": " + fault.what());
        }
    }
    if (tokens.empty()) Refuse(kTokenOption, path, "holds no token; expected one in a line of its own");
    return tokens;
}

}  // namespace driverhost
