#include "client/Answers.h"

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <iostream>
#include <sstream>
#include <vector>

namespace {

constexpr unsigned int kOk = 200;
constexpr unsigned int kNoContent = 204;
constexpr int kMaxDepth = 256;

// Nothing that a host sends has a document type, or text around its element. They are not skipped, so that an
// answer with any of them is recognised as something else and printed as it is.
constexpr unsigned int kEverything =
    pugi::parse_doctype | pugi::parse_fragment | pugi::parse_cdata | pugi::parse_ws_pcdata_single;
constexpr unsigned int kDecoded = kEverything | pugi::parse_escapes | pugi::parse_eol;

class DepthBound : public pugi::xml_tree_walker {
    bool for_each(pugi::xml_node&) override { return depth() < kMaxDepth; }
};

pugi::xml_document Parse(const std::string& text, unsigned int options) {
    pugi::xml_document document;
    const bool parsed = text.find('\0') == std::string::npos &&
                        document.load_buffer(text.data(), text.size(), options, pugi::encoding_utf8);
    DepthBound bound;
    const bool isOneElement = document.document_element() && document.first_child() == document.last_child();
    if (!parsed || !isOneElement || !document.traverse(bound)) document.reset();
    return document;
}

// Attributes are printed in double quotes, whatever quotes they were sent in.
std::string QuotesEscaped(const char* text) {
    return boost::replace_all_copy(std::string(text), "\"", "&quot;");
}

bool IsElement(pugi::xml_node node) {
    return node.type() == pugi::node_element;
}

// Puts line feeds and margins between the children of the element, unless it has only text.
void BreakLines(pugi::xml_node element, const std::string& margin) {
    for (pugi::xml_attribute attribute : element.attributes())
        attribute.set_value(QuotesEscaped(attribute.value()).c_str());
    const std::vector<pugi::xml_node> children(element.begin(), element.end());
    const bool isLeaf = std::none_of(children.begin(), children.end(), &IsElement);
    const std::string childMargin = margin + "  ";
    for (pugi::xml_node child : children) {
        if (!isLeaf) element.insert_child_before(pugi::node_pcdata, child).set_value(childMargin.c_str());
        if (IsElement(child)) {
            BreakLines(child, childMargin);
        } else if (child.type() == pugi::node_pcdata) {
            child.set_value(QuotesEscaped(child.value()).c_str());
        }
    }
    if (!isLeaf) element.append_child(pugi::node_pcdata).set_value(margin.c_str());
}

}  // namespace

pugi::xml_document ParseXml(const std::string& text) {
    return Parse(text, kDecoded);
}

// References stay as they are. The host uses them for line breaks in texts, so each element stays on its
// line.
std::optional<std::string> Indented(const std::string& text) {
    const pugi::xml_document document = Parse(text, kEverything);
    if (!document.document_element()) return std::nullopt;
    BreakLines(document.document_element(), "\n");
    std::ostringstream out;
    document.save(out, "", pugi::format_raw | pugi::format_no_escapes | pugi::format_no_declaration);
    out << "\n";
    return out.str();
}

void CheckStatus(const Answer& answer) {
    if (answer.status == kOk || answer.status == kNoContent) return;
    const std::string words = ParseXml(answer.body).document_element().child_value();
    throw Failure(EXIT_NO_ANSWER, (words.empty() ? "the host refused" : words) + " (HTTP " +
                                      std::to_string(answer.status) + ")");
}

ExitStatus PrintAnswer(const Answer& answer, bool raw) {
    CheckStatus(answer);
    std::cout << (raw ? answer.body : Indented(answer.body).value_or(answer.body));
    const std::string name = ParseXml(answer.body).document_element().name();
    return name == "fail" || name == "failed" ? EXIT_ANSWER_FAIL : EXIT_DONE;
}

void FlushOutput() {
    if (!std::cout.flush()) throw Failure(EXIT_NO_ANSWER, "cannot write to standard output");
}
