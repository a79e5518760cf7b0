// Answers as a tree, and as text for people.
#ifndef CLIENT_XML_H
#define CLIENT_XML_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Xml {

struct Element {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text;  // its own, without that of its children
    std::vector<Element> children;

    /// The text of the first child of that name; empty when there is none.
    std::string Value(const std::string& child) const;
};

/// None when the text is not XML, or nested deeper than anything a host sends.
std::optional<Element> Parse(const std::string& text);

/// One element a line, two blanks a level, a line feed at the end. Where an element has children,
/// white space between them is left out.
std::string Indented(const Element& element);

}  // namespace Xml

#endif
