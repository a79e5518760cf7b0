// libre's own headers, which need <cstdint> and three macros first: without them its structures have another
// layout than in the library as Debian builds it. The macros are set by the build.
#ifndef TELEPHONY_CALLCONTROL_LIBRE_H
#define TELEPHONY_CALLCONTROL_LIBRE_H

#include <cstdint>

#if !defined(HAVE_INET6) || !defined(HAVE_INTTYPES_H) || !defined(HAVE_STDBOOL_H)
#error "libre is used without the macros that it was built with"
#endif

#include <re.h>

#include <memory>
#include <string>
#include <string_view>

namespace telephony {

/// What libre counts references of.
struct Dereference {
    void operator()(void* object) const { mem_deref(object); }
};
template <typename Object>
using LibrePtr = std::unique_ptr<Object, Dereference>;

inline std::string_view View(const struct pl& text) {
    return text.p ? std::string_view(text.p, text.l) : std::string_view();
}
inline std::string Text(const struct pl& text) {
    return std::string(View(text));
}

}  // namespace telephony

#endif
