// The stored documents of one driver, numbered generations in a folder of its own.
//
// A generation is the document in clear and, behind it, one comment line:
//
//     <IntercomState>...</IntercomState>
//     <!-- driverhost crc32=1A2B3C4D bytes=1234 library=intercom_agent -->
//
// Rules for changing the form: a reader takes the forms of all earlier versions; a new key goes
// to the end of the line; whoever cannot read a line leaves the file where it is, as damaged.
#ifndef DRIVERHOST_STATE_STATEFOLDER_H
#define DRIVERHOST_STATE_STATEFOLDER_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "driverhost/state/FileSystem.h"

namespace driverhost {

/// How many generations are kept, the newest included.
inline constexpr std::size_t kGenerations = 20;

/// The document with its comment line.
std::string SealDocument(std::string_view document, std::string_view library);

struct OpenedDocument {
    std::string document;
    std::string fault;  // why the file does not hold a good document of that library; else empty
};
OpenedDocument OpenDocument(std::string_view file, std::string_view library);

/// What a driver starts with.
struct LoadedState {
    std::optional<std::string> document;  // the newest good one, or none
    std::vector<std::string> warnings;    // of each that was not good, for the operator
};

/// A stored document as it is found, good or not.
struct Generation {
    std::uint64_t number = 0;
    std::chrono::system_clock::time_point written;
    std::size_t bytes = 0;  // of the document; of the whole file when it is not good
    std::string document;   // empty when it is not good
    std::string fault;      // why it is not good; else empty
};

/// All operations: [store thread]
class StateFolder {
public:
    /// Why a document with a good checksum is still of no use to the driver; empty when it is good.
    using Check = std::function<std::string(std::string_view document)>;

    StateFolder(FileSystem& files, std::string root, std::string driver, std::string library);

    /// The newest good document. Damaged ones before it are renamed to "….damaged" and named in the
    /// log. Throws FileError when the folder cannot be read: then nothing is known.
    LoadedState Load(const Check& check);

    /// A new generation; on disk on return. Throws FileError: the earlier generation is still the
    /// newest then, or the new one is.
    void Store(std::string_view document);

    /// Removes the oldest documents beyond kGenerations. What cannot be removed is named in the log and tried
    /// again next time.
    void DropOldest();

    /// The numbers of what is kept, ascending, those put aside as damaged included. Throws FileError.
    std::vector<std::uint64_t> Numbers();

    /// None when there is none of that number. Throws FileError.
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
    std::uint64_t highest_ = 0;               // damaged ones included: a number is used once
};

}  // namespace driverhost

#endif
