// A record of one SIP session and the devices in it, for device drivers. The agent keeps none:
// it asks the drivers for their sessions.
#ifndef CALLS_INTERCOMSESSION_H
#define CALLS_INTERCOMSESSION_H

#include <cstdint>
#include <vector>

/// Not synchronised: one thread at a time.
class IntercomSession {
public:
    /// The id must not be 0; 0 is reported as an assertion and kept.
    explicit IntercomSession(std::uint32_t sessionId);

    bool containsDevice(std::uint32_t deviceId) const;

    /// Takes out the first occurrence of the id; false when there is none.
    bool removeDeviceFromList(std::uint32_t deviceId);

    std::uint32_t reserved = 0;          // unused
    std::vector<std::uint32_t> devices;  // in the order of joining; duplicates are allowed
    std::uint32_t sessionId = 0;
};

#endif
