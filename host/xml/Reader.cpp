#include "host/xml/Reader.h"

#include <expat.h>
#include <strings.h>
#include <sys/random.h>

#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/xml/Characters.h"

namespace DvXML {
namespace {

struct ParserDeleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using ParserPtr = std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDeleter>;

// What keeps senders from choosing names that collide in the parser's tables. A parser left to itself draws a
// salt of its own from the system, which takes a fifth of the time of a short document; it does so when this
// is 0.
unsigned long DrawHashSalt() {
    unsigned long salt = 0;
    return getrandom(&salt, sizeof salt, GRND_NONBLOCK) == ssize_t{sizeof salt} ? salt : 0;
}

ParserPtr CreateParser() {
    static const unsigned long hashSalt = DrawHashSalt();
    ParserPtr parser(XML_ParserCreate("UTF-8"));
    if (!parser) throw std::bad_alloc();
    XML_SetHashSalt(parser.get(), hashSalt);
    return parser;
}

// The parser would take UTF-16 by its byte order mark or its null bytes.
bool LooksLikeUtf16(std::string_view text) {
    const std::string_view start = text.substr(0, 2);
    return start == "\xFE\xFF" || start == "\xFF\xFE" || start.find('\0') != std::string_view::npos;
}

class Reader {
public:
    Reader(DeclaredEncoding encoding, ElementLines* lines);

    ReadResult Read(std::string_view text);

private:
    struct OpenElement {
        Node* node;
        std::size_t runStart;  // where in its text the run since the last tag begins
    };

    void StartElement(const char* name, const char** attributes);
    void EndElement();
    void Characters(std::string_view text);
    void Declaration(const char* encoding);

    void EndRun();
    void Fail(std::string_view reason);
    std::string Place() const;
    std::string Reason() const;

    // Nothing may be thrown through the parser, which is written in C.
    template <class Action>
    static void Guard(void* reader, Action action) noexcept;

    ParserPtr parser_ = CreateParser();
    ElementLines* const lines_;  // null: nobody wants them
    dv::auto_com<Node> root_;
    std::vector<OpenElement> open_;
    std::string error_;
    bool outOfMemory_ = false;
};

template <class Action>
void Reader::Guard(void* reader, Action action) noexcept {
    auto& self = *static_cast<Reader*>(reader);
    // A stopped parser may still deliver what it has begun.
    if (self.outOfMemory_ || !self.error_.empty()) return;
    try {
        action(self);
    } catch (const std::bad_alloc&) {
        self.outOfMemory_ = true;
        XML_StopParser(self.parser_.get(), XML_FALSE);
    }
}

Reader::Reader(DeclaredEncoding encoding, ElementLines* lines) : lines_(lines) {
    XML_Parser parser = parser_.get();
    XML_SetUserData(parser, this);
    XML_SetElementHandler(
        parser,
        [](void* reader, const char* name, const char** attributes) {
            Guard(reader, [=](Reader& self) { self.StartElement(name, attributes); });
        },
        [](void* reader, const char*) { Guard(reader, [](Reader& self) { self.EndElement(); }); });
    XML_SetCharacterDataHandler(parser, [](void* reader, const char* text, int length) {
        Guard(reader, [=](Reader& self) { self.Characters({text, static_cast<std::size_t>(length)}); });
    });
    XML_SetStartDoctypeDeclHandler(parser, [](void* reader, const char*, const char*, const char*, int) {
        Guard(reader,
              [](Reader& self) { self.Fail("a document type declaration is not allowed; remove it"); });
    });
    // The parser itself takes every text for UTF-8.
    if (encoding == DeclaredEncoding::kIgnored) return;
    XML_SetXmlDeclHandler(parser, [](void* reader, const char*, const char* declared, int) {
        Guard(reader, [=](Reader& self) { self.Declaration(declared); });
    });
}

ReadResult Reader::Read(std::string_view text) {
    if (text.size() > ParseLimits::kMaxTextBytes) {
        return {nullptr,
                "the document is larger than " + std::to_string(ParseLimits::kMaxTextBytes) + " bytes"};
    }
    if (LooksLikeUtf16(text)) return {nullptr, "line 1, column 1: the document is not in UTF-8; convert it"};
    const auto length = static_cast<int>(text.size());
    if (XML_Parse(parser_.get(), text.data(), length, XML_TRUE) == XML_STATUS_OK)
        return {std::move(root_), {}};
    if (outOfMemory_ || XML_GetErrorCode(parser_.get()) == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
    if (error_.empty()) error_ = Place() + Reason();
    return {nullptr, std::move(error_)};
}

void Reader::StartElement(const char* name, const char** attributes) {
    if (open_.size() == ParseLimits::kMaxDepth) {
        Fail("more than " + std::to_string(ParseLimits::kMaxDepth) + " elements within each other");
        return;
    }
    dv::auto_com<Node> node = Node::Create(name);
    if (lines_) lines_->emplace(node.get(), static_cast<int>(XML_GetCurrentLineNumber(parser_.get())));
    for (const char** attribute = attributes; *attribute; attribute += 2) {
        node->AppendAttribute(attribute[0], attribute[1]);
    }
    if (open_.empty()) {
        root_ = node;
        open_.push_back({node.get(), 0});
        return;
    }
    EndRun();
    Node& parent = *open_.back().node;
    open_.push_back({node.get(), 0});
    parent.Append(std::move(node));
}

void Reader::EndElement() {
    if (open_.back().node->NodeChildCount() > 0) EndRun();
    open_.pop_back();
    if (!open_.empty()) open_.back().runStart = open_.back().node->NodeGetText().size();
}

void Reader::Characters(std::string_view text) {
    open_.back().node->AppendText(text);
}

void Reader::Declaration(const char* encoding) {
    if (encoding && strcasecmp(encoding, "UTF-8") != 0) {
        Fail("the document declares an encoding other than UTF-8; convert it");
    }
}

// Called where the open element is known to have child elements.
void Reader::EndRun() {
    const auto& [node, runStart] = open_.back();
    if (IsBlank(node->NodeGetText().substr(runStart))) node->CutText(runStart);
}

void Reader::Fail(std::string_view reason) {
    error_ = Place().append(reason);
    XML_StopParser(parser_.get(), XML_FALSE);
}

std::string Reader::Place() const {
    return "line " + std::to_string(XML_GetCurrentLineNumber(parser_.get())) + ", column " +
           std::to_string(XML_GetCurrentColumnNumber(parser_.get()) + 1) + ": ";
}

std::string Reader::Reason() const {
    const XML_Error code = XML_GetErrorCode(parser_.get());
    if (code != XML_ERROR_NO_ELEMENTS) return XML_ErrorString(code);
    return root_ ? "the text ends before the root element does" : "there is no element";
}

}  // namespace

ReadResult ReadXml(std::string_view text, DeclaredEncoding encoding, ElementLines* lines) {
    return Reader(encoding, lines).Read(text);
}

bool IsReadableName(std::string_view name) {
    const std::string text = std::string("<").append(name).append("/>");
    if (text.size() > ParseLimits::kMaxTextBytes) return false;
    const ParserPtr parser = CreateParser();
    return XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), XML_TRUE) == XML_STATUS_OK;
}

}  // namespace DvXML
