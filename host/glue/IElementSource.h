// Elements of records that seldom change, in documents that are often asked for.
//
// A record says once what its element holds (Describe), and from that come both the nodes and the text. An
// element created from a record is made of nodes only when somebody looks into it. The writer does not: it
// takes the text, which the record may keep.
#ifndef HOST_GLUE_IELEMENTSOURCE_H
#define HOST_GLUE_IELEMENTSOURCE_H

#include <array>
#include <charconv>
#include <cstddef>
#include <string>
#include <string_view>

#include "host/interfaces/DvXML.h"

namespace DvXML {

/// Takes the description of one element: Begin, attributes, the text, child elements, End; each child in the
/// same way. What is passed need not stay, but for names, which must until their End.
class DVHOST_API IElementSink {
public:
    /// Begins the element, or a child of the one that is open. Any name will do.
    virtual void Begin(std::string_view name) = 0;
    /// Once for each name, which must be a legal one in ASCII.
    virtual void Attribute(std::string_view name, std::string_view value) = 0;
    virtual void Text(std::string_view text) = 0;
    virtual void End() = 0;

    /// A child element with a text and nothing else.
    virtual void NamedValue(std::string_view name, std::string_view value) = 0;
    /// The same with a decimal number.
    template <class Integer>
    void NamedNumber(std::string_view name, Integer value) {
        std::array<char, 20> digits;  // of 64 bits, with a sign
        const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        NamedValue(name, {digits.data(), static_cast<std::size_t>(end - digits.data())});
    }

protected:
    IElementSink() = default;
    ~IElementSink() = default;
};

/// Elements hold their source for as long as they are not made of nodes: while there may be one, both answers
/// must stay the same.  All operations: [driver thread]
class DVHOST_API IElementSource : public dv::IRefCounted {
public:
    virtual void Describe(IElementSink& sink) const = 0;

    /// What WriteElement makes of the description.
    virtual const std::string& ElementText() const = 0;

protected:
    ~IElementSource() override;
};

/// A new element as the source describes it. It is as good as any other: whoever changes it changes it alone.
DVHOST_API dv::auto_com<INode> CreateXmlNode(const IElementSource& source);

/// The same of nodes at once, for a source that will change.
DVHOST_API dv::auto_com<INode> MakeElement(const IElementSource& source);

/// Makes `text` the text of the element, which is what NodeToText says of one made of nodes. The string keeps
/// its memory if that is enough; it is empty when this throws.
DVHOST_API void WriteElement(const IElementSource& source, std::string& text);

}  // namespace DvXML

#endif
