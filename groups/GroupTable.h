// The groups by id, and found at once by name in a home of any size.
#ifndef GROUPS_GROUPTABLE_H
#define GROUPS_GROUPTABLE_H

#include <boost/shared_ptr.hpp>
#include <map>
#include <set>
#include <string>
#include <unordered_map>

#include "groups/IntercomGroup.h"

using GroupPtr = boost::shared_ptr<IntercomGroup>;

/// Several groups may have one name; the one with the lowest id counts. Names are changed with Rename only.
/// All operations: [driver thread]
class GroupTable {
public:
    using Groups = std::map<int, GroupPtr>;

    /// By ascending id. Valid until the next change.
    const Groups& All() const { return groups_; }

    /// Null when there is none of that id.
    GroupPtr Find(int id) const;
    /// The group with the lowest id of that name; null when there is none.
    GroupPtr Find(const std::string& name) const;

    /// Puts the group under its id. Does nothing when the id is taken.
    void Add(const GroupPtr& group);
    /// False when there is none of that id.
    bool Erase(int id);
    /// For a group of this table.
    void Rename(IntercomGroup& group, const std::string& name);

private:
    void Forget(const IntercomGroup& group);

    Groups groups_;
    std::unordered_map<std::string, std::set<int>> idsByName_;  // no set is empty
};

#endif
