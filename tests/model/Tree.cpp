#include "tests/model/Tree.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace model {
namespace {

constexpr char kWhiteSpace[] = " \t\n\v\f\r";
constexpr char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD
constexpr long long kLargestId = 4294967295;
constexpr long long kSmallestIdText = -2147483648;

bool IsBlank(const std::string& text) {
    return text.find_first_not_of(kWhiteSpace) == std::string::npos;
}

std::string Trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

/// Bytes that no XML 1.0 document holds. The tests make no other invalid UTF-8 than the byte 0xFF.
bool IsForbidden(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte == 0xFF || (byte < 0x20 && c != '\t' && c != '\n' && c != '\r');
}

std::string Carried(const std::string& text) {
    std::string carried;
    for (const char c : text) {
        if (IsForbidden(c)) {
            carried += kReplacement;
        } else {
            carried += c;
        }
    }
    return carried;
}

void WriteEscaped(const std::string& text, std::string& out) {
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '\n':
                out += "&#10;";
                break;
            case '\r':
                out += "&#13;";
                break;
            default:
                if (IsForbidden(c)) {
                    out += kReplacement;
                } else {
                    out += c;
                }
        }
    }
}

void Write(const Tree& tree, std::string& out) {
    out += '<' + tree.name;
    for (const auto& [name, value] : tree.attributes) {
        out += ' ' + name + "=\"";
        WriteEscaped(value, out);
        out += '"';
    }
    if (tree.text.empty() && tree.children.empty()) {
        out += "/>";
        return;
    }
    out += '>';
    WriteEscaped(tree.text, out);
    for (const Tree& child : tree.children)
        Write(child, out);
    out += "</" + tree.name + '>';
}

}  // namespace

Tree& Tree::Add(Tree child) {
    children.push_back(std::move(child));
    return *this;
}

Tree& Tree::Add(const std::string& childName, const std::string& childText) {
    return Add(Tree(childName, childText));
}

Tree& Tree::AddInt(const std::string& childName, long long number) {
    return Add(childName, std::to_string(number));
}

Tree& Tree::AddBool(const std::string& childName, bool value) {
    return Add(childName, value ? "true" : "false");
}

const Tree* Tree::Find(const std::string& childName) const {
    for (const Tree& child : children) {
        if (child.name == childName) return &child;
    }
    return nullptr;
}

std::string Tree::Value(const std::string& childName) const {
    const Tree* child = Find(childName);
    return child ? child->text : "";
}

std::string Tree::Attribute(const std::string& attributeName) const {
    for (const auto& [name_, value] : attributes) {
        if (name_ == attributeName) return value;
    }
    return "";
}

std::string ToText(const Tree& tree) {
    std::string text;
    Write(tree, text);
    return text;
}

Tree ReadBack(const Tree& tree) {
    Tree read(tree.name, Carried(tree.text));
    if (!tree.children.empty() && IsBlank(read.text)) read.text.clear();
    for (const auto& [name, value] : tree.attributes)
        read.attributes.emplace_back(name, Carried(value));
    for (const Tree& child : tree.children)
        read.Add(ReadBack(child));
    return read;
}

bool IsCarried(const Tree& tree) {
    return std::none_of(tree.text.begin(), tree.text.end(), IsForbidden) &&
           std::all_of(tree.children.begin(), tree.children.end(), IsCarried);
}

long long ReadLong(const std::string& text) {
    return std::strtoll(text.c_str(), nullptr, 10);
}

int ReadInt(const std::string& text) {
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<long long>(ReadLong(text), Limits::min(), Limits::max()));
}

unsigned long ToId(long long number) {
    return static_cast<std::uint32_t>(std::clamp<long long>(number, kSmallestIdText, kLargestId));
}

unsigned long ReadId(const std::string& text) {
    return ToId(ReadLong(text));
}

bool ReadStrictId(const std::string& text, unsigned long& id) {
    const std::string digits = Trimmed(text);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) return false;
    const long long number = ReadLong(digits);
    if (number > kLargestId) return false;
    id = static_cast<unsigned long>(number);
    return true;
}

bool ReadBool(const std::string& text) {
    std::string word = Trimmed(text);
    for (char& c : word) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return word == "true" || word == "1";
}

}  // namespace model
