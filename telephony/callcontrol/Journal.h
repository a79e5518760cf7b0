// What a later process must end when this one dies: the dialogs and the room of every call, a file each. The
// folder is 0700 and the files 0600, since who knows a dialog can end it.
#ifndef TELEPHONY_CALLCONTROL_JOURNAL_H
#define TELEPHONY_CALLCONTROL_JOURNAL_H

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace telephony {

struct JournalEntry {
    std::string room;
    std::vector<nlohmann::json> dialogs;
};

class Journal {
public:
    /// Makes the folder. Throws std::runtime_error when it cannot, or when others may read it.
    explicit Journal(std::filesystem::path folder);

    /// Replaces the entry of its room, whole or not at all. A disk that takes nothing is said once, until it
    /// takes something again; the calls go on.
    /// The dialogs are texts of JSON: of many, the callers make anew only those that have changed.
    void Write(const std::string& room, const std::vector<std::string>& dialogs);
    void Remove(const std::string& room);

    /// All entries. What cannot be read is named in the log and removed.
    std::vector<JournalEntry> Read();

    /// Why the last entry was not written; empty when it was.
    const std::string& Trouble() const { return trouble_; }

private:
    std::filesystem::path PathOf(const std::string& room) const { return folder_ / (room + ".json"); }

    const std::filesystem::path folder_;
    std::string trouble_;
};

}  // namespace telephony

#endif
