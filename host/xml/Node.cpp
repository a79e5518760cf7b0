#include "host/xml/Node.h"

#include <algorithm>
#include <stdexcept>
#include <typeinfo>
#include <unordered_set>
#include <utility>

#include "host/glue/Log.h"
#include "host/glue/Numbers.h"
#include "host/xml/Reader.h"

namespace DvXML {
namespace {

// A list of children begins with room for so many: most are shorter.
constexpr std::size_t kFirstChildren = 8;

}  // namespace

dv::auto_com<Node> Node::Create(std::string_view name, std::string_view text) {
    return dv::auto_com<Node>::adopt(new Node(name, text));
}

dv::auto_com<Node> Node::Create(const ElementText& text) {
    dv::auto_com<Node> node = Create(std::string_view());
    node->written_ = text;
    return node;
}

void Node::Release() const noexcept {
    if (DropReference()) Destroy(const_cast<Node*>(this));
}

// Deleting a node must not recurse into its children, as a deep tree would overrun the stack, and must not
// allocate, as it must not fail. So each that is being taken apart knows the one that it was taken from.
void Node::Destroy(Node* top) noexcept {
    for (Node* dead = top; dead;) {
        Children& children = dead->children_;
        if (children.empty()) {
            delete std::exchange(dead, dead->takenFrom_);
            continue;
        }
        Node* const child = children.back().detach();
        children.pop_back();
        // A large tree is in no cache any more, so nodes are asked for before their turn.
        if (children.size() > 2) __builtin_prefetch(children[children.size() - 3].get());
        if (child->DropReference()) child->takenFrom_ = std::exchange(dead, child);
    }
}

// The text is given up last: where there is no memory, the next one to look tries again.
void Node::ReadWritten() {
    const ReadResult read = ReadXml(*written_, DeclaredEncoding::kMustBeUtf8);
    if (!read.root) throw std::logic_error("an element was written that cannot be read: " + read.error);
    name_.swap(read.root->name_);
    text_.swap(read.root->text_);
    attributes_.swap(read.root->attributes_);
    children_.swap(read.root->children_);
    written_.reset();
}

int Node::NodeGetIntValue() const {
    return dv::ParseInt(NodeGetText());
}

void Node::NodeAddChild(INode* child) {
    if (!child) return;
    // The writer needs to see inside every node, and only nodes made here can be looked into.
    if (typeid(*child) != typeid(Node)) {
        LogXMessage(dv::LOG_LEVEL_ERROR,
                    "NodeAddChild: the child was not made by CreateXmlNode; it is not added");
        return;
    }
    auto* node = static_cast<Node*>(child);
    if (node == this) return;
    // Only a node that has been added somewhere can be below another one, and never below a leaf.
    if (hadParent_ && node->Contains(this)) return;
    Append(dv::auto_com<Node>::share(node));
}

void Node::NodeAddNamedValue(std::string_view name, std::string_view value) {
    Append(Create(name, value));
}

void Node::NodeAddNamedInt(std::string_view name, int value) {
    Append(Create(name, std::to_string(value)));
}

void Node::NodeAddNamedULong(std::string_view name, unsigned long value) {
    Append(Create(name, std::to_string(value)));
}

void Node::NodeAddNamedBool(std::string_view name, bool value) {
    NodeAddNamedValue(name, dv::BoolText(value));
}

std::string_view Node::NodeGetNamedValue(std::string_view name) const {
    const Node* child = Find(name);
    return child ? child->NodeGetText() : std::string_view();
}

int Node::NodeGetNamedInt(std::string_view name) const {
    return dv::ParseInt(NodeGetNamedValue(name));
}

INode* Node::NodeChildAt(std::size_t position) const {
    const Children& children = GetChildren();
    return position < children.size() ? children[position].get() : nullptr;
}

void Node::NodeSetAttribute(std::string_view name, std::string_view value) {
    for (Attribute& attribute : Made().attributes_) {
        if (attribute.name != name) continue;
        attribute.value = std::string(value);
        return;
    }
    AppendAttribute(name, value);
}

std::string_view Node::NodeGetAttribute(std::string_view name) const {
    const Attribute* attribute = FindAttribute(name);
    return attribute ? std::string_view(attribute->value) : std::string_view();
}

void Node::NodeSetBoolAttribute(std::string_view name, bool value) {
    NodeSetAttribute(name, dv::BoolText(value));
}

bool Node::NodeGetBoolAttribute(std::string_view name) const {
    return dv::ParseBool(NodeGetAttribute(name));
}

const Attribute* Node::FindAttribute(std::string_view name) const {
    const Attributes& attributes = GetAttributes();
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const Attribute& attribute) { return attribute.name == name; });
    return found == attributes.end() ? nullptr : &*found;
}

void Node::AppendAttribute(std::string_view name, std::string_view value) {
    attributes_.push_back({std::string(name), std::string(value)});
}

Node* Node::Find(std::string_view name) const {
    const Children& children = GetChildren();
    const auto found = std::find_if(children.begin(), children.end(),
                                    [&](const auto& child) { return child->NodeGetName() == name; });
    return found == children.end() ? nullptr : found->get();
}

void Node::Append(dv::auto_com<Node> child) {
    Node& added = *child;
    Children& children = Made().children_;
    if (children.empty()) children.reserve(kFirstChildren);
    children.push_back(std::move(child));
    added.hadParent_ = true;
}

// Nodes may be shared, so a tree can have more paths than nodes: each node is visited once.
bool Node::Contains(const Node* wanted) const {
    std::vector<const Node*> waiting{this};
    std::unordered_set<const Node*> seen;
    while (!waiting.empty()) {
        const Node* node = waiting.back();
        waiting.pop_back();
        if (node == wanted) return true;
        for (const auto& child : node->children_) {
            if (seen.insert(child.get()).second) waiting.push_back(child.get());
        }
    }
    return false;
}

dv::auto_com<INode> CreateXmlNode() {
    return Node::Create(std::string_view());
}

dv::auto_com<INode> CreateXmlNode(const std::string& name, const std::string& text) {
    return Node::Create(name, text);
}

dv::auto_com<INode> CreateXmlNode(const std::string& name, const char* text) {
    return Node::Create(name, text ? text : "");
}

dv::auto_com<INode> CreateXmlNode(const std::string& name, int value) {
    return Node::Create(name, std::to_string(value));
}

dv::auto_com<INode> CreateXmlNode(const std::string& name, bool value) {
    return Node::Create(name, dv::BoolText(value));
}

}  // namespace DvXML
