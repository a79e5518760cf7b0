// The counting behind IRefCounted, for classes that implement a counted interface.
#ifndef HOST_GLUE_REFCOUNT_H
#define HOST_GLUE_REFCOUNT_H

#include <atomic>

#include "host/glue/LiveObjects.h"

namespace dv {

/// Derive from RefCount<Interface>: born holding one reference, deleted by the last Release.
/// Give the class a private destructor, so that nothing else can delete it.
template <class Interface>
class RefCount : public Interface, private Counted {
public:
    void AddRef() const noexcept override { count_.fetch_add(1, std::memory_order_relaxed); }

    void Release() const noexcept override {
        if (DropReference()) delete this;
    }

protected:
    RefCount() = default;
    ~RefCount() override = default;

    /// Drops one reference without deleting. True when it was the last one: the object is then
    /// the caller's to delete. For classes that have a Release of their own.
    /// Whoever holds the only reference need not write: nobody else can take one.
    bool DropReference() const noexcept {
        return count_.load(std::memory_order_acquire) == 1 ||
               count_.fetch_sub(1, std::memory_order_acq_rel) == 1;
    }

private:
    mutable std::atomic<int> count_{1};
};

}  // namespace dv

#endif
