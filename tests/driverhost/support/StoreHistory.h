// What happened to one driver's documents, and whether what a new start finds agrees with that.
#ifndef TESTS_DRIVERHOST_SUPPORT_STOREHISTORY_H
#define TESTS_DRIVERHOST_SUPPORT_STOREHISTORY_H

#include <map>
#include <optional>
#include <set>
#include <string>

#include "tests/driverhost/support/MemoryFileSystem.h"
#include "tests/model/Dice.h"

namespace driverhost {

/// Chooses at random what a disk keeps in a power cut: any of the names that were not synced, and of a
/// content that was not synced nothing, everything, a piece, a piece and zeros, or the old content.
MemoryFileSystem::PowerCut KeepingAny(model::Dice& dice);

class StoreHistory {
public:
    /// `folder` holds the driver's generations.
    explicit StoreHistory(std::string folder) : folder_(std::move(folder)) {}

    /// The document after one more change. No two are the same.
    std::string Change(model::Dice& dice);
    int Latest() const { return latest_; }

    /// The change was answered, so it must be on disk, or a later one.
    void Answered(int change);

    // What is wrong, or empty:

    /// A new start loaded this document, and goes on from it.
    std::string Loaded(const std::optional<std::string>& document, const MemoryFileSystem& disk);
    std::string CheckFiles(const MemoryFileSystem& disk);

private:
    std::string CheckKept(const std::map<std::string, std::string>& files) const;

    const std::string folder_;
    int latest_ = 0;
    std::set<int> possible_{0};  // the change that a new start may find; 0: nothing was stored
    std::map<int, std::string> documents_;
    std::map<std::string, std::string> numbers_;  // the content of every file that was ever seen, by name
};

}  // namespace driverhost

#endif
