// An agent with many registered devices, which need the SIP proxy.
#ifndef BENCH_SUPPORT_DEVICEHOME_H
#define BENCH_SUPPORT_DEVICEHOME_H

#include <deque>
#include <vector>

#include "bench/support/Agent.h"
#include "bench/support/Device.h"

namespace bench {

class DeviceHome {
public:
    /// The id of the first device; the others follow. One below, 99999, is left out of device lists.
    static constexpr unsigned long kFirstId = 100'000;

    explicit DeviceHome(unsigned long devices);

    Agent& GetAgent() { return agent_; }
    Device& GetDevice(unsigned long id) { return devices_[id - kFirstId]; }
    /// Ids of devices, drawn with a fixed seed; a device may be drawn several times.
    std::vector<unsigned long> DrawIds(std::size_t count) const;

private:
    std::deque<Device> devices_;  // stay where they are
    Agent agent_;
};

}  // namespace bench

#endif
