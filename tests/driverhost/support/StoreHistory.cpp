#include "tests/driverhost/support/StoreHistory.h"

#include <algorithm>

#include "driverhost/state/StateFolder.h"

namespace driverhost {
namespace {

constexpr std::size_t kMostFiller = 150;

std::string Torn(model::Dice& dice, const std::string& synced, const std::string& written) {
    const std::size_t piece = dice.Below(written.size() + 1);
    switch (dice.Below(5)) {
        case 0:
            return {};
        case 1:
            return written;
        case 2:
            return written.substr(0, piece);
        case 3:
            return written.substr(0, piece) + std::string(written.size() - piece, '\0');
        default:
            return synced;
    }
}

}  // namespace

MemoryFileSystem::PowerCut KeepingAny(model::Dice& dice) {
    return {[&dice] { return dice.Coin(); },
            [&dice](const std::string& synced, const std::string& written) {
                return Torn(dice, synced, written);
            }};
}

std::string StoreHistory::Change(model::Dice& dice) {
    ++latest_;
    possible_.insert(latest_);
    const std::string filler(dice.Below(kMostFiller), static_cast<char>('a' + latest_ % 26));
    return documents_[latest_] = "<s><n>" + std::to_string(latest_) + "</n>" + filler + "</s>";
}

void StoreHistory::Answered(int change) {
    possible_.erase(possible_.begin(), possible_.lower_bound(change));
}

std::string StoreHistory::Loaded(const std::optional<std::string>& document, const MemoryFileSystem& disk) {
    const auto isIt = [&](int change) {
        return change == 0 ? !document : document && documents_.at(change) == *document;
    };
    const auto found = std::find_if(possible_.begin(), possible_.end(), isIt);
    if (found == possible_.end()) {
        return "loaded " + (document ? document->substr(0, 40) : std::string("nothing")) +
               "; expected change " + std::to_string(*possible_.begin()) + " or one behind it, whole";
    }
    possible_ = {*found};
    return CheckFiles(disk);
}

std::string StoreHistory::CheckFiles(const MemoryFileSystem& disk) {
    const auto files = disk.FilesOf(folder_);
    for (const auto& [name, content] : files) {
        if (name.ends_with(".damaged")) return "a power cut or an error has left a damaged " + name;
        if (!name.ends_with(".xml")) continue;
        const auto& before = numbers_.try_emplace(name, content).first->second;
        if (before != content) return "the number of " + name + " was used twice";
    }
    return CheckKept(files);
}

// The newest of the files that were ever seen must still be there.
std::string StoreHistory::CheckKept(const std::map<std::string, std::string>& files) const {
    std::size_t looked = 0;
    for (auto seen = numbers_.rbegin(); seen != numbers_.rend() && looked < kGenerations; ++seen, ++looked)
        if (!files.contains(seen->first)) return seen->first + " was dropped too early";
    return {};
}

}  // namespace driverhost
