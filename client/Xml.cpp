#include "client/Xml.h"

#include <expat.h>

#include <memory>

namespace Xml {

namespace {

constexpr std::size_t kMaxDepth = 256;

// Elements grow on a stack and move into their parent when they end.
struct Builder {
    std::vector<Element> open{Element{}};
    XML_Parser parser;

    static Builder& From(void* data) { return *static_cast<Builder*>(data); }
};

void OnStart(void* data, const XML_Char* name, const XML_Char** attributes) {
    Builder& builder = Builder::From(data);
    if (builder.open.size() > kMaxDepth) {
        XML_StopParser(builder.parser, XML_FALSE);
        return;
    }
    Element element;
    element.name = name;
    for (; *attributes; attributes += 2)
        element.attributes.emplace_back(attributes[0], attributes[1]);
    builder.open.push_back(std::move(element));
}

void OnEnd(void* data, const XML_Char*) {
    Builder& builder = Builder::From(data);
    Element ended = std::move(builder.open.back());
    builder.open.pop_back();
    builder.open.back().children.push_back(std::move(ended));
}

void OnText(void* data, const XML_Char* text, int length) {
    Builder::From(data).open.back().text.append(text, static_cast<std::size_t>(length));
}

// Nothing that a host sends has a document type.
void OnDoctype(void* data, const XML_Char*, const XML_Char*, const XML_Char*, int) {
    XML_StopParser(Builder::From(data).parser, XML_FALSE);
}

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
        switch (character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\r':
                escaped += "&#13;";
                break;
            case '\n':
                escaped += "&#10;";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

void Append(std::string& out, const Element& element, std::size_t depth) {
    const std::string indent(2 * depth, ' ');
    out += indent + "<" + element.name;
    for (const auto& [name, value] : element.attributes)
        out += " " + name + "=\"" + Escaped(value) + "\"";
    if (element.children.empty()) {
        out += element.text.empty() ? "/>\n" : ">" + Escaped(element.text) + "</" + element.name + ">\n";
        return;
    }
    out += ">\n";
    if (element.text.find_first_not_of(" \t\r\n") != std::string::npos)
        out += indent + "  " + Escaped(element.text) + "\n";
    for (const Element& child : element.children)
        Append(out, child, depth + 1);
    out += indent + "</" + element.name + ">\n";
}

}  // namespace

std::string Element::Value(const std::string& child) const {
    for (const Element& candidate : children) {
        if (candidate.name == child) return candidate.text;
    }
    return "";
}

std::optional<Element> Parse(const std::string& text) {
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreate("UTF-8"),
                                                                              &XML_ParserFree);
    Builder builder;
    builder.parser = parser.get();
    XML_SetUserData(parser.get(), &builder);
    XML_SetElementHandler(parser.get(), &OnStart, &OnEnd);
    XML_SetCharacterDataHandler(parser.get(), &OnText);
    XML_SetStartDoctypeDeclHandler(parser.get(), &OnDoctype);
    if (XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), XML_TRUE) != XML_STATUS_OK)
        return std::nullopt;
    return std::move(builder.open.front().children.front());
}

std::string Indented(const Element& element) {
    std::string text;
    Append(text, element, 0);
    return text;
}

}  // namespace Xml
