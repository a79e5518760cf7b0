#include "host/xml/Described.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/xml/Output.h"

namespace DvXML {
namespace {

class NodeSink final : public IElementSink {
public:
    dv::auto_com<Node> Finish() { return std::move(root_); }

    // IElementSink
    void Begin(std::string_view name) override;
    void Attribute(std::string_view name, std::string_view value) override {
        open_.back()->NodeSetAttribute(name, value);
    }
    void Text(std::string_view text) override { open_.back()->AppendText(text); }
    void End() override { open_.pop_back(); }
    void NamedValue(std::string_view name, std::string_view value) override {
        open_.back()->Append(Node::Create(name, value));
    }

private:
    dv::auto_com<Node> root_;
    std::vector<Node*> open_;
};

void NodeSink::Begin(std::string_view name) {
    dv::auto_com<Node> node = Node::Create(name);
    Node* const begun = node.get();
    if (open_.empty())
        root_ = std::move(node);
    else
        open_.back()->Append(std::move(node));
    open_.push_back(begun);
}

class TextSink final : public IElementSink {
public:
    explicit TextSink(std::string& text) : out_(text) {}
    void Finish() { out_.Finish(); }

    // IElementSink
    void Begin(std::string_view name) override;
    void Attribute(std::string_view name, std::string_view value) override;
    void Text(std::string_view text) override;
    void End() override;
    void NamedValue(std::string_view name, std::string_view value) override;

private:
    struct OpenElement {
        std::string_view name;
        bool isLegal;

        // The name as it is written; `made` is where one that had to be made legal is kept.
        std::string_view Written(std::string& made) const {
            return isLegal ? name : std::string_view(made = LegalName(name));
        }
    };

    void EndTag();

    Output out_;
    std::vector<OpenElement> open_;
    bool inTag_ = false;  // the start tag of the innermost one has no end yet
};

void TextSink::Begin(std::string_view name) {
    EndTag();
    open_.push_back({name, IsLegalName(name)});
    std::string made;
    out_.Put('<', open_.back().Written(made));
    inTag_ = true;
}

void TextSink::Attribute(std::string_view name, std::string_view value) {
    out_.Put(' ', name, "=\"");
    out_.PutValue(value);
    out_.Put('"');
}

void TextSink::Text(std::string_view text) {
    if (text.empty()) return;
    EndTag();
    out_.PutText(text);
}

void TextSink::End() {
    std::string made;
    if (std::exchange(inTag_, false))
        out_.Put("/>");
    else
        out_.Put("</", open_.back().Written(made), '>');
    open_.pop_back();
}

void TextSink::NamedValue(std::string_view name, std::string_view value) {
    if (!IsLegalName(name)) return NamedValue(LegalName(name), value);
    EndTag();
    if (value.empty()) return out_.Put('<', name, "/>");
    if (IsPlainText(value)) return out_.Put('<', name, '>', value, "</", name, '>');
    out_.Put('<', name, '>');
    out_.PutText(value);
    out_.Put("</", name, '>');
}

void TextSink::EndTag() {
    if (std::exchange(inTag_, false)) out_.Put('>');
}

}  // namespace

dv::auto_com<Node> MakeNode(const IElementSource& source) {
    NodeSink sink;
    source.Describe(sink);
    return sink.Finish();
}

dv::auto_com<INode> CreateXmlNode(const IElementSource& source) {
    return Node::Create(source);
}

dv::auto_com<INode> MakeElement(const IElementSource& source) {
    return MakeNode(source);
}

void WriteElement(const IElementSource& source, std::string& text) {
    try {
        TextSink sink(text);
        source.Describe(sink);
        sink.Finish();
    } catch (...) {
        text.clear();  // a part of it would pass for the whole
        throw;
    }
}

}  // namespace DvXML
