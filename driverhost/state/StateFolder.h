// The stored documents of one driver: numbered generations in a folder of their own.
//
// A generation is the document as plain text, followed by one comment line:
//
//     <IntercomState>...</IntercomState>
//     <!-- driverhost crc32=1A2B3C4D bytes=1234 library=intercom_agent -->
//
// Rules for changing the format: a reader accepts the lines of all earlier versions; a new key goes
// to the end of the line; a file whose line cannot be read is damaged, and is renamed, never removed.
#ifndef DRIVERHOST_STATE_STATEFOLDER_H
#define DRIVERHOST_STATE_STATEFOLDER_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "driverhost/runtime/Fault.h"
#include "driverhost/state/FileSystem.h"

namespace driverhost {

/// How many generations are kept, the newest included.
inline constexpr std::size_t kGenerations = 20;

/// The document with its comment line.
std::string SealDocument(std::string_view document, std::string_view library);

struct OpenedDocument {
    std::string document;
    Fault fault;  // why the file holds no good document of that library
};
/// Takes a sealed document apart.
OpenedDocument OpenDocument(std::string_view file, std::string_view library);

/// What a driver starts with.
struct LoadedState {
    std::optional<std::string> document;  // the newest good one, if any
    std::vector<std::string> warnings;    // about each damaged one, for the operator
};

/// A stored document, good or damaged.
struct Generation {
    std::uint64_t number = 0;
    std::chrono::system_clock::time_point written;
    std::size_t bytes = 0;  // of the document; of the whole file when it is damaged
    std::string document;   // empty when it is damaged
    Fault fault;            // why it is damaged
};

/// All operations: [store thread]
class StateFolder {
public:
    /// Can the driver use a document whose checksum is right?
    using Check = std::function<Fault(std::string_view document)>;

    StateFolder(FileSystem& files, std::string root, std::string driver, std::string library);

    /// The newest good document. Damaged ones that are newer are renamed to "….damaged" and logged.
    /// Throws FileError when the folder or a file cannot be read, since that proves no damage.
    LoadedState Load(const Check& check);

    /// Stores a new generation, which is on disk on return. After a FileError the newest generation
    /// may be either the one before or the new one.
    void Store(std::string_view document);

    /// Removes the oldest documents beyond kGenerations. A file that cannot be removed is logged, and
    /// tried again next time.
    void DropOldest();

    /// The numbers of all generations, ascending, damaged ones included. Throws FileError.
    std::vector<std::uint64_t> Numbers();

    /// No value when there is no such generation. Throws FileError.
    std::optional<Generation> Examine(std::uint64_t number);

private:
    std::vector<std::string> Scan();
    std::string NameOf(std::uint64_t number);
    OpenedDocument ReadFile(const std::string& name, std::size_t& bytes);
    std::string PutAside(std::uint64_t number, const std::string& fault);
    std::string Warn(const std::string& warning) const;
    void CreateFolder();
    void WriteTemporary(std::string_view document);
    void RemoveQuietly(const std::string& name);
    std::string PathOf(const std::string& name) const { return folder_ + "/" + name; }

    FileSystem& files_;
    const std::string root_;
    const std::string driver_;
    const std::string library_;
    const std::string folder_;

    bool scanned_ = false;
    std::vector<std::uint64_t> generations_;  // ascending
    std::uint64_t highest_ = 0;               // damaged ones included: no number is used twice
};

}  // namespace driverhost

#endif
