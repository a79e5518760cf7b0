// What drivers publish for each other.
#ifndef DRIVERHOST_PLUGINS_INTERFACETABLE_H
#define DRIVERHOST_PLUGINS_INTERFACETABLE_H

#include <map>
#include <string>

namespace driverhost {

/// All operations: [driver thread]
class InterfaceTable {
public:
    using Owner = const void*;

    /// 0; negative when the id is empty, the object null, or the id already published.
    long Publish(const std::string& id, void* object, Owner owner) {
        if (id.empty() || !object) return -1;
        return published_.try_emplace(id, Entry{object, owner}).second ? 0 : -1;
    }

    /// 0; negative when that owner published no such id.
    long Withdraw(const std::string& id, Owner owner) {
        const auto found = published_.find(id);
        if (found == published_.end() || found->second.owner != owner) return -1;
        published_.erase(found);
        return 0;
    }

    /// Null when nobody published the id.
    void* Find(const std::string& id) const {
        const auto found = published_.find(id);
        return found == published_.end() ? nullptr : found->second.object;
    }

    void WithdrawAll(Owner owner) {
        std::erase_if(published_, [owner](const auto& entry) { return entry.second.owner == owner; });
    }

private:
    struct Entry {
        void* object;  // not owned
        Owner owner;
    };

    std::map<std::string, Entry> published_;
};

}  // namespace driverhost

#endif
