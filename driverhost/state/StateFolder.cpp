#include "driverhost/state/StateFolder.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <set>
#include <utility>

#include <libdeflate.h>

#include "driverhost/runtime/HostLog.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

constexpr std::size_t kNumberDigits = 10;
constexpr std::string_view kEnding = ".xml";
constexpr std::string_view kDamagedEnding = ".damaged";
constexpr char kTemporaryName[] = "next.tmp";
constexpr std::string_view kSealStart = "\n<!-- driverhost ";

std::string GenerationName(std::uint64_t number) {
    std::string digits = std::to_string(number);
    if (digits.size() < kNumberDigits) digits.insert(0, kNumberDigits - digits.size(), '0');
    return digits.append(kEnding);
}

// The number in "NNNNNNNNNN.xml" and in "NNNNNNNNNN.xml.damaged"; 0 for other names.
std::uint64_t NumberOf(std::string_view name) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    const auto digits = static_cast<std::size_t>(end - name.data());
    const bool fits = error == std::errc() && digits >= kNumberDigits;
    return fits && name.substr(digits).starts_with(kEnding) ? number : 0;
}

std::string SealLine(std::string_view document, std::string_view library) {
    std::array<char, 16> checksum{};
    std::snprintf(checksum.data(), checksum.size(), "%08X",
                  libdeflate_crc32(0, document.data(), document.size()));
    return std::string(kSealStart)
        .append("crc32=")
        .append(checksum.data())
        .append(" bytes=")
        .append(std::to_string(document.size()))
        .append(" library=")
        .append(library)
        .append(" -->\n");
}

std::string_view LibraryOf(std::string_view seal) {
    constexpr std::string_view key = " library=";
    const std::size_t start = seal.find(key);
    if (start == std::string_view::npos) return {};
    const std::string_view rest = seal.substr(start + key.size());
    return rest.substr(0, rest.find(' '));
}

}  // namespace

std::string SealDocument(std::string_view document, std::string_view library) {
    const std::string line = SealLine(document, library);
    std::string sealed;
    sealed.reserve(document.size() + line.size());
    return sealed.append(document).append(line);
}

OpenedDocument OpenDocument(std::string_view file, std::string_view library) {
    const std::size_t sealStart = file.rfind(kSealStart);
    if (sealStart == std::string_view::npos) return {{}, "its checksum line is missing"};
    const std::string_view document = file.substr(0, sealStart);
    const std::string_view seal = file.substr(sealStart);
    const std::string_view writer = LibraryOf(seal);
    if (seal != SealLine(document, writer)) return {{}, "its checksum does not match"};
    if (writer != library) {
        return {{},
                "it was stored by the library " + std::string(writer) + ", not by " + std::string(library)};
    }
    return {std::string(document), {}};
}

StateFolder::StateFolder(FileSystem& files, std::string root, std::string driver, std::string library)
    : files_(files),
      root_(std::move(root)),
      driver_(std::move(driver)),
      library_(std::move(library)),
      folder_(root_ + "/" + driver_) {}

LoadedState StateFolder::Load(const Check& check) {
    Scan();
    LoadedState loaded;
    while (!generations_.empty()) {
        std::size_t bytes = 0;
        OpenedDocument opened = ReadFile(GenerationName(generations_.back()), bytes);
        if (opened.fault.empty()) opened.fault = check(opened.document);
        if (opened.fault.empty()) {
            loaded.document = std::move(opened.document);
            return loaded;
        }
        loaded.warnings.push_back(PutAside(generations_.back(), opened.fault));
        generations_.pop_back();
    }
    if (!loaded.warnings.empty()) {
        loaded.warnings.push_back(
            Warn("no stored document in " + folder_ + " is good: the driver starts as new"));
    }
    return loaded;
}

void StateFolder::Store(std::string_view document) {
    if (!scanned_) Scan();
    scanned_ = false;  // after a failure only the folder itself can say what is in it
    const std::uint64_t number = ++highest_;
    WriteTemporary(document);
    files_.Rename(PathOf(kTemporaryName), PathOf(GenerationName(number)));
    files_.SyncFolder(folder_);
    generations_.push_back(number);
    scanned_ = true;
}

void StateFolder::WriteTemporary(std::string_view document) {
    try {
        const auto file = files_.Create(PathOf(kTemporaryName));
        file->Write(SealDocument(document, library_));
        file->Sync();
    } catch (const FileError&) {
        RemoveQuietly(kTemporaryName);  // on a full disk its space is needed
        throw;
    }
}

// An earlier process may have ended before its last file's name was on disk. What is listed here is what
// the driver goes on from, so a power cut must not take it away: the folder is synced first.
std::vector<std::string> StateFolder::Scan() {
    CreateFolder();
    files_.SyncFolder(folder_);
    generations_.clear();
    std::vector<std::string> names = files_.List(folder_);
    for (const std::string& name : names) {
        const std::uint64_t number = NumberOf(name);
        highest_ = std::max(highest_, number);
        if (number != 0 && name == GenerationName(number)) generations_.push_back(number);
    }
    std::sort(generations_.begin(), generations_.end());
    scanned_ = true;
    return names;
}

std::vector<std::uint64_t> StateFolder::Numbers() {
    std::set<std::uint64_t> numbers;
    for (const std::string& name : Scan())
        if (const std::uint64_t number = NumberOf(name); number != 0) numbers.insert(number);
    return {numbers.begin(), numbers.end()};
}

// The file of that number; the damaged one only if there is no other.
std::string StateFolder::NameOf(std::uint64_t number) {
    std::string found;
    for (const std::string& name : files_.List(folder_)) {
        if (name == GenerationName(number)) return name;
        if (number != 0 && NumberOf(name) == number) found = name;
    }
    return found;
}

std::optional<Generation> StateFolder::Examine(std::uint64_t number) {
    const std::string name = NameOf(number);
    if (name.empty()) return std::nullopt;
    Generation generation;
    generation.number = number;
    generation.written = files_.WrittenAt(PathOf(name));
    OpenedDocument opened = ReadFile(name, generation.bytes);
    const bool isAside = name != GenerationName(number);
    if (isAside && opened.fault.empty()) opened.fault = "the driver could not use it";
    generation.fault = opened.fault;
    if (isAside) generation.fault += "; it was put aside as " + PathOf(name);
    if (!generation.fault.empty()) return generation;
    generation.bytes = opened.document.size();
    generation.document = std::move(opened.document);
    return generation;
}

// A file on a bad sector is as damaged as one with wrong bytes. A file that cannot be read for another
// reason may be the newest good document, so that error goes on to the caller.
OpenedDocument StateFolder::ReadFile(const std::string& name, std::size_t& bytes) {
    try {
        const std::string file = files_.Read(PathOf(name));
        bytes = file.size();
        return OpenDocument(file, library_);
    } catch (const FileDamaged& error) {
        return {{}, error.what()};
    }
}

std::string StateFolder::PutAside(std::uint64_t number, const std::string& fault) {
    const std::string path = PathOf(GenerationName(number));
    const std::string aside = path + std::string(kDamagedEnding);
    files_.Rename(path, aside);
    return Warn("the stored document " + path + " is damaged (" + fault + "): renamed to " + aside);
}

std::string StateFolder::Warn(const std::string& warning) const {
    HostLog::Write(dv::LOG_LEVEL_ERROR, driver_, warning);
    return warning;
}

// A document in it is only safe once the folder's own name is on disk.
void StateFolder::CreateFolder() {
    files_.CreateFolder(folder_);
    files_.SyncFolder(root_);
}

void StateFolder::RemoveQuietly(const std::string& name) {
    try {
        files_.Remove(PathOf(name));
    } catch (const FileError&) {
        // the next document overwrites it
    }
}

void StateFolder::DropOldest() {
    while (generations_.size() > kGenerations) {
        try {
            files_.Remove(PathOf(GenerationName(generations_.front())));
        } catch (const FileError& error) {
            HostLog::Write(dv::LOG_LEVEL_ERROR, driver_, error.what());
            return;
        }
        generations_.erase(generations_.begin());
    }
}

}  // namespace driverhost
