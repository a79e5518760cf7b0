// The tables of the device registry: the devices by id, and the ids in display order. Each keeps an
// index beside the list, so that looking up an id takes no longer in a large home.
#ifndef DEVICES_DEVICETABLE_H
#define DEVICES_DEVICETABLE_H

#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "host/interfaces/ISupportIntercom.h"

/// The registered devices; not owned.  All operations: [driver thread]
class DeviceTable {
public:
    using Devices = std::map<unsigned long, ISupportIntercom*>;

    /// By ascending id. Valid until the next change.
    const Devices& All() const { return devices_; }

    /// Null when no device has that id.
    ISupportIntercom* Find(unsigned long id) const {
        const auto found = index_.find(id);
        return found == index_.end() ? nullptr : found->second;
    }

    /// Puts the device under the id, replacing the one that is there.
    void Set(unsigned long id, ISupportIntercom* device) {
        devices_[id] = device;
        index_[id] = device;
    }

    /// False when no device has that id.
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

/// Device ids in an order.  All operations: [driver thread]
class OrderedIds {
public:
    OrderedIds() = default;
    /// Takes the ids as given, duplicates included.
    explicit OrderedIds(std::vector<unsigned long> ids)
        : ids_(std::move(ids)), known_(ids_.begin(), ids_.end()) {}

    const std::vector<unsigned long>& Ids() const { return ids_; }

    /// Appends the id unless it is there already.
    void AppendNew(unsigned long id) {
        if (known_.insert(id).second) ids_.push_back(id);
    }

private:
    std::vector<unsigned long> ids_;
    std::unordered_set<unsigned long> known_;
};

#endif
