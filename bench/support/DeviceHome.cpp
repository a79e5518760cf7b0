#include "bench/support/DeviceHome.h"

#include <random>

namespace bench {

DeviceHome::DeviceHome(unsigned long devices) {
    for (unsigned long id = kFirstId; id < kFirstId + devices; ++id)
        agent_->AddIntercomDevice(id, &devices_.emplace_back(id));
}

std::vector<unsigned long> DeviceHome::DrawIds(std::size_t count) const {
    std::mt19937 random;  // the same on every machine, other than a distribution of the standard library
    std::vector<unsigned long> ids;
    while (ids.size() < count)
        ids.push_back(kFirstId + random() % devices_.size());
    return ids;
}

}  // namespace bench
