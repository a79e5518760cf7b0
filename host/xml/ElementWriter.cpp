#include "host/xml/ElementWriter.h"

#include <algorithm>
#include <array>
#include <utility>

#include "host/xml/Characters.h"
#include "host/xml/Names.h"
#include "host/xml/Node.h"

namespace DvXML {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// Most elements of records fit, so that writing one allocates once.
constexpr std::size_t kFirstBytes = 512;

// What stands for a character; empty when it stands for itself, or when XML cannot carry it.
std::string_view EscapeOf(char c, bool isAttribute) {
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '\n':
            return "&#10;";
        case '\r':
            return "&#13;";
        case '"':
            return isAttribute ? "&quot;" : "";
        case '\t':
            return isAttribute ? "&#9;" : "";
        default:
            return "";
    }
}

// Characters that stand for themselves wherever they are: most texts hold no others.
constexpr std::array<bool, 0x100> kPlain = [] {
    std::array<bool, 0x100> plain{};
    for (unsigned char c = ' '; c < 0x80; ++c)
        plain[c] = c != '&' && c != '<' && c != '>' && c != '"';
    return plain;
}();

std::size_t PlainLength(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size() && kPlain[static_cast<unsigned char>(text[length])])
        ++length;
    return length;
}

}  // namespace

ElementWriter::ElementWriter(Form form) : form_(form) {
    if (form == Form::kText) text_.reserve(kFirstBytes);
}

void ElementWriter::Begin(std::string_view name) {
    if (form_ == Form::kNodes) return BeginNode(name);
    if (!IsLegalName(name)) {
        isExact_ = false;
        return Begin(LegalName(name));
    }
    EndTag();
    const bool isDropped = !open_.empty() && open_.back().isBlank;
    if (isDropped || open_.size() == ParseLimits::kMaxDepth) isExact_ = false;
    text_ += '<';
    open_.push_back({text_.size(), name.size(), false});
    text_ += name;
    inTag_ = true;
}

void ElementWriter::Attribute(std::string_view name, std::string_view value) {
    if (form_ == Form::kNodes) return openNodes_.back()->NodeSetAttribute(name, value);
    text_ += ' ';
    text_ += name;
    text_ += "=\"";
    Escaped(value, true);
    text_ += '"';
}

void ElementWriter::Text(std::string_view text) {
    if (form_ == Form::kNodes) return openNodes_.back()->AppendText(text);
    if (text.empty()) return;
    EndTag();
    open_.back().isBlank = IsBlank(text);
    Escaped(text, false);
}

void ElementWriter::End() {
    if (form_ == Form::kNodes) return openNodes_.pop_back();
    if (std::exchange(inTag_, false)) {
        text_ += "/>";
    } else {
        text_ += "</";
        text_.append(text_, open_.back().nameAt, open_.back().nameSize);
        text_ += '>';
    }
    open_.pop_back();
}

void ElementWriter::NamedValue(std::string_view name, std::string_view value) {
    Begin(name);
    Text(value);
    End();
}

void ElementWriter::Written(const std::string& element) {
    EndTag();
    text_ += element;
}

std::string ElementWriter::TakeText() {
    return std::move(text_);
}

ElementText ElementWriter::TakeExactText() {
    if (!isExact_ || text_.size() > ParseLimits::kMaxTextBytes) return nullptr;
    return std::make_shared<const std::string>(text_);
}

dv::auto_com<INode> ElementWriter::TakeNodes() {
    return std::move(root_);
}

void ElementWriter::BeginNode(std::string_view name) {
    dv::auto_com<Node> node = Node::Create(name);
    Node* const begun = node.get();
    if (openNodes_.empty())
        root_ = std::move(node);
    else
        openNodes_.back()->Append(std::move(node));
    openNodes_.push_back(begun);
}

void ElementWriter::EndTag() {
    if (std::exchange(inTag_, false)) text_ += '>';
}

void ElementWriter::Escaped(std::string_view text, bool isAttribute) {
    while (!text.empty()) {
        const std::size_t plain = PlainLength(text);
        text_ += text.substr(0, plain);
        text.remove_prefix(plain);
        if (!text.empty()) text.remove_prefix(Special(text, isAttribute));
    }
}

// Writes the one character at the beginning, and tells how long it is.
std::size_t ElementWriter::Special(std::string_view text, bool isAttribute) {
    const std::string_view escape = EscapeOf(text.front(), isAttribute);
    if (!escape.empty()) {
        text_ += escape;
        return 1;
    }
    const std::size_t length = Utf8Length(text);
    const bool isCarried = length > 0 && IsXmlCharacter(text.substr(0, length));
    if (!isCarried) isExact_ = false;
    text_ += isCarried ? text.substr(0, length) : kReplacement;
    return std::max<std::size_t>(length, 1);
}

dv::auto_com<INode> CreateXmlNode(const ElementText& text) {
    return Node::Create(text);
}

}  // namespace DvXML
