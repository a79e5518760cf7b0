// The one counting scheme of every object that crosses the plug-in border.
//
// An object is born holding one reference, which belongs to whoever made it.
// Hold references through dv::auto_com, never by hand.
#ifndef HOST_INTERFACES_IREFCOUNTED_H
#define HOST_INTERFACES_IREFCOUNTED_H

#include "host/interfaces/Export.h"

namespace dv {

class DVHOST_API IRefCounted {
public:
    IRefCounted(const IRefCounted&) = delete;
    IRefCounted& operator=(const IRefCounted&) = delete;

    /// Adds one reference.  [any thread]
    virtual void AddRef() const noexcept = 0;

    /// Drops one reference; the last one deletes the object.  [any thread]
    virtual void Release() const noexcept = 0;

protected:
    IRefCounted() = default;
    /// Only Release deletes.
    virtual ~IRefCounted();
};

}  // namespace dv

#endif
