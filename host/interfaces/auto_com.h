// dv::auto_com, the handle that holds one reference to a counted object.
//
// There are two named ways in, because a bare pointer does not tell which is
// meant: adopt takes over a reference the caller already owns (a new object),
// share adds one of its own (an object somebody else holds too).
#ifndef HOST_INTERFACES_AUTO_COM_H
#define HOST_INTERFACES_AUTO_COM_H

#include <cstddef>
#include <utility>

namespace dv {

template <class T>
class auto_com {
public:
    auto_com() noexcept = default;
    auto_com(std::nullptr_t) noexcept {}  // NOLINT: null converts, as for any handle

    /// Takes over one reference that the caller owns. Null gives an empty handle.
    static auto_com adopt(T* object) noexcept { return auto_com(object); }

    /// Adds a reference to an object that somebody else holds. Null gives an empty handle.
    static auto_com share(T* object) noexcept {
        if (object) object->AddRef();
        return auto_com(object);
    }

    auto_com(const auto_com& other) noexcept : auto_com(share(other.object_)) {}
    auto_com(auto_com&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

    /// A handle to a derived type converts to one of its base, as a pointer does.
    template <class U>
    auto_com(auto_com<U> other) noexcept : object_(other.detach()) {}  // NOLINT

    auto_com& operator=(auto_com other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    ~auto_com() {
        if (object_) object_->Release();
    }

    T* get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

    /// Gives the reference up to the caller; the handle is empty afterwards.
    T* detach() noexcept { return std::exchange(object_, nullptr); }

    void reset() noexcept { *this = auto_com(); }

private:
    explicit auto_com(T* object) noexcept : object_(object) {}

    T* object_ = nullptr;
};

}  // namespace dv

#endif
