#include "driverhost/home/ElementLines.h"

#include <algorithm>
#include <cstddef>

namespace driverhost {
namespace {

// Finds the start tags of a well-formed document without DTD, in order.
class TagScanner {
public:
    explicit TagScanner(std::string_view text) : text_(text) {}

    /// The line of the next start tag.
    int Next() {
        for (;;) {
            SkipTo(text_.find('<', at_));
            const std::string_view rest = text_.substr(at_);
            if (rest.empty()) return line_;
            if (rest.starts_with("<!--")) {
                SkipPast("-->");
            } else if (rest.starts_with("<![CDATA[")) {
                SkipPast("]]>");
            } else if (rest.starts_with("<?") || rest.starts_with("</")) {
                SkipPast(">");
            } else {
                const int line = line_;
                SkipTag();
                return line;
            }
        }
    }

private:
    void SkipTo(std::size_t end) {
        end = std::min(end, text_.size());
        const std::string_view skipped = text_.substr(at_, end - at_);
        line_ += static_cast<int>(std::count(skipped.begin(), skipped.end(), '\n'));
        at_ = end;
    }

    void SkipPast(std::string_view mark) {
        const std::size_t found = text_.find(mark, at_);
        SkipTo(found == std::string_view::npos ? found : found + mark.size());
    }

    // An attribute may hold a ">".
    void SkipTag() {
        std::size_t end = at_;
        char quote = '\0';
        for (; end < text_.size() && (quote != '\0' || text_[end] != '>'); ++end) {
            const char c = text_[end];
            if (quote == c) {
                quote = '\0';
            } else if (quote == '\0' && (c == '"' || c == '\'')) {
                quote = c;
            }
        }
        SkipTo(end);
    }

    const std::string_view text_;
    std::size_t at_ = 0;
    int line_ = 1;
};

void Collect(TagScanner& scanner, const DvXML::INode& element, std::map<const DvXML::INode*, int>& lines) {
    lines[&element] = scanner.Next();
    for (const DvXML::INode* child : element.NodeChildren())
        Collect(scanner, *child, lines);
}

}  // namespace

ElementLines::ElementLines(std::string_view text, const DvXML::INode& root) {
    TagScanner scanner(text);
    Collect(scanner, root, lines_);
}

int ElementLines::LineOf(const DvXML::INode& element) const {
    const auto found = lines_.find(&element);
    return found == lines_.end() ? 1 : found->second;
}

}  // namespace driverhost
