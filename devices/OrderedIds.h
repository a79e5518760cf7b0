// Device ids in an order, with a quick answer to whether an id is among them.
#ifndef DEVICES_ORDEREDIDS_H
#define DEVICES_ORDEREDIDS_H

#include <unordered_set>
#include <utility>
#include <vector>

/// All operations: [driver thread]
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
