// What one driver's documents have been through, and whether what a new start finds agrees with it.
#ifndef TESTS_DRIVERHOST_SUPPORT_STOREHISTORY_H
#define TESTS_DRIVERHOST_SUPPORT_STOREHISTORY_H

#include <map>
#include <optional>
#include <set>
#include <string>

#include "tests/driverhost/support/MemoryFileSystem.h"
#include "tests/model/Dice.h"

namespace driverhost {

/// What a disk without power still holds, drawn by lot: any of the unsynced names, and of an
/// unsynced content nothing, all, a piece, a piece and zeros, or the old one.
MemoryFileSystem::PowerCut KeepingAny(model::Dice& dice);

class StoreHistory {
public:
    /// `folder` is where the driver's generations lie.
    explicit StoreHistory(std::string folder) : folder_(std::move(folder)) {}

    /// A change: the document that holds it. No two are the same.
    std::string Change(model::Dice& dice);
    int Latest() const { return latest_; }

    /// The change was answered: it and what came before it is on disk.
    void Answered(int change);

    /// What a new start loaded becomes the state that everything goes on from.
    /// Both tell what is wrong; empty when nothing is.
    std::string Loaded(const std::optional<std::string>& document, const MemoryFileSystem& disk);
    std::string Look(const MemoryFileSystem& disk);

private:
    std::string CheckKept(const std::map<std::string, std::string>& files) const;

    const std::string folder_;
    int latest_ = 0;
    std::set<int> possible_{0};  // changes that the disk may end with; 0: nothing was ever stored
    std::map<int, std::string> documents_;
    std::map<std::string, std::string> numbers_;  // file name to content, of every one that was seen
};

}  // namespace driverhost

#endif
