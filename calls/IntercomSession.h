// A record of one SIP session and the devices in it, for device drivers. The agent keeps none of
// these: it asks the drivers for their sessions. Everything is in this header, so that it is all
// of the agent that a driver needs.
#ifndef CALLS_INTERCOMSESSION_H
#define CALLS_INTERCOMSESSION_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "host/glue/Assert.h"

/// Not synchronised: one thread at a time.
class IntercomSession {
public:
    /// The id must not be 0; a 0 is reported as an assertion, but kept.
    explicit IntercomSession(std::uint32_t id) : sessionId(id) {
        if (id == 0) dv::AssertWrite("domovia_agent_intercom/dvw/IntercomSession", 13, dv::StackTrace());
    }

    bool containsDevice(std::uint32_t deviceId) const {
        return std::find(devices.begin(), devices.end(), deviceId) != devices.end();
    }

    /// Removes the first occurrence of the id; false when there is none.
    bool removeDeviceFromList(std::uint32_t deviceId) {
        const auto found = std::find(devices.begin(), devices.end(), deviceId);
        if (found == devices.end()) return false;
        devices.erase(found);
        return true;
    }

    std::uint32_t reserved = 0;          // unused
    std::vector<std::uint32_t> devices;  // in the order of joining; duplicates are allowed
    std::uint32_t sessionId;
};

#endif
