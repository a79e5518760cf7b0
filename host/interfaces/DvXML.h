// The XML tree in which replies, events, saved state and configuration travel.
//
// A tree is exact: nodes keep the bytes they were given. What XML cannot carry
// is replaced when a node is written as text (see NodeToText), so that every
// text written can be read back.
//
// The one convention of all our documents: a named value is a child element of
// that name whose text is the value.
#ifndef HOST_INTERFACES_DVXML_H
#define HOST_INTERFACES_DVXML_H

#include <cstddef>
#include <string>
#include <string_view>

#include "host/interfaces/Export.h"
#include "host/interfaces/IRefCounted.h"
#include "host/interfaces/auto_com.h"

namespace DvXML {

class ChildRange;

/// One element: a name, its own text, attributes and child elements. Several
/// parents may hold the same node; holding a node const promises nothing about
/// its children, as with any shared handle.
///
/// Every view returned stays valid until the node is next changed or released.
/// All operations: [driver thread]
class DVHOST_API INode : public dv::IRefCounted {
public:
    /// Drops one reference; the last one deletes the node. Same as Release.
    void NodeRelease() const noexcept { Release(); }

    /// The element's name, as it was given.
    virtual std::string_view NodeGetName() const = 0;

    /// The node's own character data in document order, without that of its descendants.
    virtual std::string_view NodeGetText() const = 0;

    /// The node's own text as an integer, by the rules of dv::ParseInt.
    virtual int NodeGetIntValue() const = 0;

    /// Appends `child` behind the existing children and takes a reference of its
    /// own. Null is ignored, and so is a child whose tree contains this node. A node that was not
    /// made by CreateXmlNode or a parser is refused with a log line.
    virtual void NodeAddChild(INode* child) = 0;

    /// Appends a child element `name` with the text `value`. Repeated calls with one
    /// name append repeated children. This and the three below never replace.
    virtual void NodeAddNamedValue(std::string_view name, std::string_view value) = 0;
    /// The same with the decimal text of a signed number.
    virtual void NodeAddNamedInt(std::string_view name, int value) = 0;
    /// The same with the decimal text of an unsigned number.
    virtual void NodeAddNamedULong(std::string_view name, unsigned long value) = 0;
    /// The same with "true" or "false".
    virtual void NodeAddNamedBool(std::string_view name, bool value) = 0;

    /// The text of the first child element of that name; empty when there is none.
    virtual std::string_view NodeGetNamedValue(std::string_view name) const = 0;
    /// The same as an integer (dv::ParseInt); 0 when there is none.
    virtual int NodeGetNamedInt(std::string_view name) const = 0;

    /// The first child element of that name, or null. The node keeps its reference.
    virtual INode* NodeFindChild(std::string_view name) const = 0;

    /// The number of child elements.
    virtual std::size_t NodeChildCount() const = 0;
    /// The child element at a position from 0; null behind the last. The node keeps its reference.
    virtual INode* NodeChildAt(std::size_t position) const = 0;
    /// The child elements in document order, for a range-based for.
    ChildRange NodeChildren() const;

    /// Sets an attribute, replacing one of that name.
    virtual void NodeSetAttribute(std::string_view name, std::string_view value) = 0;
    /// The attribute's text; empty when absent.
    virtual std::string_view NodeGetAttribute(std::string_view name) const = 0;
    /// Sets an attribute to "true" or "false".
    virtual void NodeSetBoolAttribute(std::string_view name, bool value) = 0;
    /// True when the attribute reads as true (dv::ParseBool); false when absent.
    virtual bool NodeGetBoolAttribute(std::string_view name) const = 0;

    /// The node as one XML text without declaration and without added white space. Always
    /// well-formed: markup is escaped, line breaks become character references, what XML 1.0
    /// cannot carry becomes U+FFFD, an illegal element or attribute name is made legal.
    virtual std::string NodeToText() const = 0;

protected:
    ~INode() override;
};

/// Walks children by position, so a tree that grows or shrinks meanwhile is safe.
class ChildRange {
public:
    class Iterator {
    public:
        Iterator(const INode* parent, std::size_t position) : parent_(parent), position_(position) {}
        INode* operator*() const { return parent_->NodeChildAt(position_); }
        Iterator& operator++() {
            ++position_;
            return *this;
        }
        bool operator!=(std::nullptr_t) const { return parent_->NodeChildAt(position_) != nullptr; }

    private:
        const INode* parent_;
        std::size_t position_;
    };

    explicit ChildRange(const INode& parent) : parent_(&parent) {}
    Iterator begin() const { return {parent_, 0}; }
    std::nullptr_t end() const { return nullptr; }

private:
    const INode* parent_;
};

inline ChildRange INode::NodeChildren() const { return ChildRange(*this); }

/// A document: at most one root element.
class DVHOST_API IDocument : public dv::IRefCounted {
public:
    /// Replaces the document by what `text` says. 0 on success; negative when `text` is not a
    /// well-formed document within the limits (see ParseLimits): then there is no root and
    /// DocumentGetError tells what is wrong and where. Throws nothing, logs nothing.
    virtual long DocumentParse(std::string_view text) = 0;

    /// The root element, or null. The document keeps its reference.
    virtual INode* DocumentGetRoot() const = 0;

    /// Why the last parse failed, with line and column; empty when it did not.
    virtual const std::string& DocumentGetError() const = 0;

protected:
    ~IDocument() override;
};

/// Bounds of the reader. What is larger is an error, not an effort.
struct ParseLimits {
    static constexpr std::size_t kMaxDepth = 128;                      // elements within elements
    static constexpr std::size_t kMaxTextBytes = 64UL * 1024 * 1024;   // one document
};

/// New elements. The caller holds the one reference.  [driver thread]
DVHOST_API dv::auto_com<INode> CreateXmlNode();
DVHOST_API dv::auto_com<INode> CreateXmlNode(const std::string& name, const std::string& text);
DVHOST_API dv::auto_com<INode> CreateXmlNode(const std::string& name, const char* text);
DVHOST_API dv::auto_com<INode> CreateXmlNode(const std::string& name, int value);
DVHOST_API dv::auto_com<INode> CreateXmlNode(const std::string& name, bool value);

/// A new document with an empty root element of that name.
DVHOST_API dv::auto_com<IDocument> CreateXmlDocument(const std::string& name);

}  // namespace DvXML

#endif
