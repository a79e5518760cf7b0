// The document behind IDocument, and the reading of parameters.
#include <new>
#include <utility>

#include "host/glue/RefCount.h"
#include "host/glue/XmlText.h"
#include "host/xml/Node.h"
#include "host/xml/Reader.h"

namespace DvXML {
namespace {

constexpr long kParseFailed = -1;

ReadResult Read(std::string_view text, DeclaredEncoding encoding, ElementLines* lines = nullptr) {
    try {
        return ReadXml(text, encoding, lines);
    } catch (const std::bad_alloc&) {
        return {nullptr, "out of memory"};  // short enough to need none
    }
}

class Document final : public dv::RefCount<IDocument> {
public:
    explicit Document(dv::auto_com<Node> root) : root_(std::move(root)) {}

    // IDocument
    long DocumentParse(std::string_view text) override;
    INode* DocumentGetRoot() const override { return root_.get(); }
    const std::string& DocumentGetError() const override { return error_; }

private:
    ~Document() override = default;

    dv::auto_com<Node> root_;
    std::string error_;
};

long Document::DocumentParse(std::string_view text) {
    root_.reset();
    ReadResult result = Read(text, DeclaredEncoding::kMustBeUtf8);
    root_ = std::move(result.root);
    error_ = std::move(result.error);
    return root_ ? 0 : kParseFailed;
}

}  // namespace

dv::auto_com<IDocument> CreateXmlDocument(const std::string& name) {
    return dv::auto_com<IDocument>::adopt(new Document(Node::Create(name)));
}

dv::auto_com<INode> ParseParameter(std::string_view text) {
    return Read(text, DeclaredEncoding::kIgnored).root;
}

dv::auto_com<INode> ParseWithLines(std::string_view text, ElementLines& lines, std::string& error) {
    ReadResult result = Read(text, DeclaredEncoding::kMustBeUtf8, &lines);
    error = std::move(result.error);
    return result.root;
}

}  // namespace DvXML
