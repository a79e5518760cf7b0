#include "telephony/callcontrol/Journal.h"

#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "telephony/callcontrol/Log.h"
#include "telephony/report/PrivateFiles.h"

namespace telephony {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

}  // namespace

Journal::Journal(fs::path folder) : folder_(std::move(folder)) {
    try {
        MakePrivateFolder(folder_);
    } catch (const Failure& fault) {
        throw Failure(std::string("the journal cannot be kept: ") + fault.what());
    }
}

// Not synced: after a power cut rtpengine and its calls are gone, too.
void Journal::Write(const std::string& room, const std::vector<std::string>& dialogs) try {
    std::string text;
    for (const std::string& dialog : dialogs)
        text += (text.empty() ? "" : ",") + dialog;
    WritePrivateFile(PathOf(room), R"({"room":)" + json(room).dump() + R"(,"dialogs":[)" + text + "]}");
    if (!trouble_.empty()) LogLine("the journal can be written again");
    trouble_.clear();
} catch (const Failure& fault) {
    if (trouble_.empty())
        LogLine(std::string("the journal cannot be written: ") + fault.what() +
                ". Calls go on; should this program die, their phones stay off the hook until they hang up");
    trouble_ = fault.what();
}

void Journal::Remove(const std::string& room) {
    unlink(PathOf(room).c_str());
}

std::vector<JournalEntry> Journal::Read() {
    std::vector<JournalEntry> entries;
    std::error_code error;
    for (const auto& file : fs::directory_iterator(folder_, error)) {
        std::ifstream stream(file.path());
        const json text = json::parse(stream, nullptr, false);
        try {
            JournalEntry entry{text.at("room"), text.at("dialogs")};
            if (PathOf(entry.room) != file.path()) throw std::runtime_error("the name is another room's");
            entries.push_back(std::move(entry));
        } catch (const std::exception& fault) {
            LogLine("the journal's file " + file.path().string() +
                    " is no entry and is removed: " + fault.what());
            fs::remove(file.path(), error);
        }
    }
    return entries;
}

}  // namespace telephony
