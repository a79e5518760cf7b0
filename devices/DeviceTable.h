// The registered devices by id: in the order of their ids, and found at once in a home of any size.
#ifndef DEVICES_DEVICETABLE_H
#define DEVICES_DEVICETABLE_H

#include <map>
#include <unordered_map>

#include "host/interfaces/ISupportIntercom.h"

/// Devices are not owned.  All operations: [driver thread]
class DeviceTable {
public:
    using Devices = std::map<unsigned long, ISupportIntercom*>;

    /// By ascending id. Valid until the next change.
    const Devices& All() const { return devices_; }

    /// Null when there is none of that id.
    ISupportIntercom* Find(unsigned long id) const {
        const auto found = index_.find(id);
        return found == index_.end() ? nullptr : found->second;
    }

    /// Puts the device under the id, in the place of the one that is there.
    void Set(unsigned long id, ISupportIntercom* device) {
        devices_[id] = device;
        index_[id] = device;
    }

    /// False when there is none of that id.
    bool Erase(unsigned long id) {
        index_.erase(id);
        return devices_.erase(id) != 0;
    }

    void Clear() {
        index_.clear();
        devices_.clear();
    }

private:
    Devices devices_;
    std::unordered_map<unsigned long, ISupportIntercom*> index_;
};

#endif
