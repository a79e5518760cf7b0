// The node behind INode: what reader and writer see of it beyond the interface.
#ifndef HOST_XML_NODE_H
#define HOST_XML_NODE_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/glue/RefCount.h"
#include "host/interfaces/DvXML.h"
#include "host/xml/ElementWriter.h"

namespace DvXML {

struct Attribute {
    std::string name;
    std::string value;
};

class Node final : public dv::RefCount<INode> {
public:
    static dv::auto_com<Node> Create(std::string_view name, std::string_view text = {});
    /// An element that is still a text.
    static dv::auto_com<Node> Create(const ElementText& text);

    // IRefCounted
    void Release() const noexcept override;

    // INode
    std::string_view NodeGetName() const override { return Made().name_; }
    std::string_view NodeGetText() const override { return Made().text_; }
    int NodeGetIntValue() const override;
    void NodeAddChild(INode* child) override;
    void NodeAddNamedValue(std::string_view name, std::string_view value) override;
    void NodeAddNamedInt(std::string_view name, int value) override;
    void NodeAddNamedULong(std::string_view name, unsigned long value) override;
    void NodeAddNamedBool(std::string_view name, bool value) override;
    std::string_view NodeGetNamedValue(std::string_view name) const override;
    int NodeGetNamedInt(std::string_view name) const override;
    INode* NodeFindChild(std::string_view name) const override { return Find(name); }
    std::size_t NodeChildCount() const override { return Made().children_.size(); }
    INode* NodeChildAt(std::size_t position) const override;
    void NodeSetAttribute(std::string_view name, std::string_view value) override;
    std::string_view NodeGetAttribute(std::string_view name) const override;
    void NodeSetBoolAttribute(std::string_view name, bool value) override;
    bool NodeGetBoolAttribute(std::string_view name) const override;
    std::string NodeToText() const override;

    // For reader and writer.
    using Children = std::vector<dv::auto_com<Node>>;
    using Attributes = std::vector<Attribute>;
    /// The element while it is still a text; null when it is made of nodes.
    const std::string* GetWritten() const { return written_.get(); }
    const Children& GetChildren() const { return Made().children_; }
    const Attributes& GetAttributes() const { return Made().attributes_; }
    /// Null when there is no such attribute.
    const Attribute* FindAttribute(std::string_view name) const;
    /// For a node that has no parent and no children yet.
    void Append(dv::auto_com<Node> child);
    /// For a name that the node does not have yet.
    void AppendAttribute(std::string_view name, std::string_view value);
    void AppendText(std::string_view text) { text_.append(text); }
    void CutText(std::size_t length) { text_.resize(length); }

private:
    Node(std::string_view name, std::string_view text) : name_(name), text_(text) {}
    ~Node() override = default;

    static void Destroy(Node* top) noexcept;

    // Whoever asks for, or changes, what the node holds does so by these.
    const Node& Made() const {
        if (written_) const_cast<Node*>(this)->ReadWritten();  // what is seen of it stays the same
        return *this;
    }
    Node& Made() {
        if (written_) ReadWritten();
        return *this;
    }
    void ReadWritten();

    Node* Find(std::string_view name) const;
    /// True when `wanted` is this node or below it.
    bool Contains(const Node* wanted) const;

    bool hadParent_ = false;  // was ever added to a node
    // Destroy reads these of every node, so they lie together.
    Children children_;
    Node* takenFrom_ = nullptr;  // the parent, while both are being destroyed
    ElementText written_;
    std::string name_;
    std::string text_;
    Attributes attributes_;
};

}  // namespace DvXML

#endif
