// Counts live counted objects in builds made with DVHOST_COUNT_OBJECTS, so that a test run
// can show that it ends with none. In other builds a Counted base is empty.
#ifndef HOST_GLUE_LIVEOBJECTS_H
#define HOST_GLUE_LIVEOBJECTS_H

#include "host/interfaces/Export.h"

namespace dv {

class DVHOST_API LiveObjects {
public:
    /// Objects alive now, of all kinds and in all plug-ins; always 0 where they are not counted.
    static long Count() noexcept;
    static void Add(long change) noexcept;
};

/// Base, or member, of every class whose objects are counted.
class Counted {
#ifdef DVHOST_COUNT_OBJECTS
public:
    Counted() noexcept { LiveObjects::Add(1); }
    Counted(const Counted&) noexcept { LiveObjects::Add(1); }
    Counted& operator=(const Counted&) noexcept = default;
    ~Counted() { LiveObjects::Add(-1); }
#endif
};

}  // namespace dv

#endif
