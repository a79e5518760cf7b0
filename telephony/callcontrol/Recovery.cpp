#include "telephony/callcontrol/Recovery.h"

#include "telephony/callcontrol/Call.h"
#include "telephony/callcontrol/Log.h"

namespace telephony {
namespace {

constexpr int kMostAttempts = 12;
constexpr std::chrono::seconds kPause(5);
// The journal may be older than the last request within the dialog; a number that is too high is right, too.
constexpr std::uint32_t kCseqAhead = 1000;
constexpr char kAnyPrefix[] = "callcontrol-";

}  // namespace

Recovery::Recovery(Loop& loop, NgClient& ng, Journal& journal, std::string ownPrefix)
    : ng_(ng), journal_(journal), ownPrefix_(std::move(ownPrefix)), again_(loop) {
    for (JournalEntry& entry : journal_.Read()) {
        const std::string room = entry.room;
        orphans_[room].entry = std::move(entry);
    }
    if (!orphans_.empty())
        LogLine(std::to_string(orphans_.size()) + " calls of an earlier process are ended");
}

void Recovery::EndDialogs(SipStack& sip) {
    std::vector<std::string> rooms;
    for (const auto& [room, orphan] : orphans_)
        if (orphan.open == 0) rooms.push_back(room);
    for (const std::string& room : rooms)
        EndDialogsOf(sip, room);
}

void Recovery::EndDialogsOf(SipStack& sip, const std::string& room) {
    Orphan& orphan = orphans_.at(room);
    ++orphan.attempts;
    const std::vector<nlohmann::json> dialogs = std::exchange(orphan.entry.dialogs, {});
    orphan.unconfirmed.clear();
    orphan.open = dialogs.size() + 1;  // one for this function: the last to be over finishes
    for (const nlohmann::json& text : dialogs) {
        const auto over = [this, &sip, room, text](bool confirmed) {
            if (!confirmed) orphans_.at(room).unconfirmed.push_back(text);
            Finish(sip, room);
        };
        try {
            Dialog dialog = text;
            if (dialog.established) dialog.cseq += kCseqAhead;
            sip.End(dialog, END_UNAVAILABLE, "Call control was started anew", over);
        } catch (const nlohmann::json::exception& error) {
            LogLine("a dialog in the journal cannot be read: " + std::string(error.what()));
            Finish(sip, room);
        }
    }
    Finish(sip, room);
}

void Recovery::Finish(SipStack& sip, const std::string& room) {
    Orphan& orphan = orphans_.at(room);
    if (--orphan.open > 0) return;
    if (orphan.unconfirmed.empty() || orphan.attempts == kMostAttempts) {
        if (!orphan.unconfirmed.empty())
            LogLine(std::to_string(orphan.unconfirmed.size()) +
                    " phones of an earlier process's call have not confirmed its end; they are left alone");
        journal_.Remove(room);
        orphans_.erase(room);
        return;
    }
    orphan.entry.dialogs = orphan.unconfirmed;
    again_.Start(kPause, [this, &sip] { EndDialogs(sip); });
}

void Recovery::DeleteRooms() {
    ng_.Ask({{"command", "list"}, {"limit", 1000}}, [this](const NgReply& reply) {
        for (const nlohmann::json& room : reply.values.value("calls", nlohmann::json::array())) {
            const std::string name = room.is_string() ? room.get<std::string>() : std::string();
            if (!name.starts_with(kAnyPrefix) || name.starts_with(ownPrefix_)) continue;
            LogLine("the room " + name + " of an earlier process is deleted");
            ng_.Ask({{"command", "delete"}, {"call-id", name}}, [](const NgReply&) {});
        }
    });
}

}  // namespace telephony
