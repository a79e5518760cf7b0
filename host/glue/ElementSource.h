// The counting and the kept text behind IElementSource, for records that only have to describe themselves.
#ifndef HOST_GLUE_ELEMENTSOURCE_H
#define HOST_GLUE_ELEMENTSOURCE_H

#include <string>

#include "host/glue/IElementSource.h"
#include "host/glue/RefCount.h"

namespace DvXML {

/// Derive from this, with a private destructor.  All operations: [driver thread]
class ElementSource : public dv::RefCount<IElementSource> {
public:
    const std::string& ElementText() const final {
        if (text_.empty()) WriteElement(*this, text_);
        return text_;
    }

protected:
    ElementSource() = default;
    ~ElementSource() override = default;

    /// The description has changed, while no element stands for the former one.
    void ForgetText() { text_.clear(); }

private:
    mutable std::string text_;  // empty when nobody asked since the last change
};

}  // namespace DvXML

#endif
