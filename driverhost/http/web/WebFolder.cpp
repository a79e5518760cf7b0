#include "driverhost/http/web/WebFolder.h"

#include <fcntl.h>
#include <libdeflate.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <utility>

#include "driverhost/runtime/Digest.h"
#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/FileDescriptor.h"
#include "driverhost/state/FileSystem.h"

namespace driverhost {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPackedEnd = ".gz";
constexpr std::size_t kHashDigits = 32;  // of SHA-256: two contents with the same ones will not be met

constexpr std::array<std::pair<std::string_view, std::string_view>, 18> kWebTypes = {{
    {".html", "text/html; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".mjs", "text/javascript; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".json", "application/json"},
    {".map", "application/json"},
    {".webmanifest", "application/manifest+json"},
    {".txt", "text/plain; charset=utf-8"},
    {".svg", "image/svg+xml"},
    {".png", "image/png"},
    {".jpg", "image/jpeg"},
    {".webp", "image/webp"},
    {".ico", "image/x-icon"},
    {".woff2", "font/woff2"},
    {".wav", "audio/wav"},
    {".mp3", "audio/mpeg"},
    {".ogg", "audio/ogg"},
    {".webm", "video/webm"},
}};

bool Unpacks(const std::string& packed, const std::string& content) {
    const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> unpacker(
        libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
    std::string unpacked(content.size() + 1, '\0');  // one more shows that it is longer
    std::size_t size = 0;
    const auto result = libdeflate_gzip_decompress(unpacker.get(), packed.data(), packed.size(),
                                                   unpacked.data(), unpacked.size(), &size);
    unpacked.resize(size);
    return result == LIBDEFLATE_SUCCESS && unpacked == content;
}

// Reads one folder and those in it.
class Reading {
public:
    explicit Reading(std::string folder) : folder_(std::move(folder)) {}

    WebFolder Run() {
        Walk(folder_);
        for (auto& [path, file] : packed_)
            AddPacked(path, std::move(file));
        return std::move(result_);
    }

private:
    using Text = std::shared_ptr<const std::string>;

    void Walk(const fs::path& folder);
    void Take(const fs::path& path);
    void AddPacked(const std::string& path, Text packed);
    Text ReadFile(const fs::path& path);
    void LeaveOut(const std::string& path, const std::string& why) {
        result_.faults.push_back(path + ": " + why);
    }

    const std::string folder_;
    WebFolder result_;
    std::map<std::string, Text> packed_;  // by the path of what they pack
    std::size_t files_ = 0;
    std::size_t bytes_ = 0;
};

void Reading::Walk(const fs::path& folder) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const fs::path& path = entry->path();
        if (path.filename().native().starts_with('.')) continue;
        if (entry->is_symlink()) {
            LeaveOut(path.string(), "is a link, which may lead anywhere; put a copy there");
        } else if (entry->is_directory()) {
            Walk(path);
        } else {
            Take(path);
        }
    }
    if (error) throw FileError("the pages in " + folder.string() + " cannot be read: " + error.message());
}

void Reading::Take(const fs::path& path) {
    std::string name = path.lexically_relative(folder_).generic_string();
    const bool isPacked = name.ends_with(kPackedEnd);
    if (isPacked) name.resize(name.size() - kPackedEnd.size());
    const std::string_view type = WebTypeOf(name);
    if (type.empty()) return;
    Text content = ReadFile(path);
    if (!content) return;
    if (isPacked) {
        packed_[name] = std::move(content);
    } else {
        result_.files[name] = {type, Sha256(*content).substr(0, kHashDigits), content, nullptr};
    }
}

// A packed file that is older than its page would be served for it without anybody seeing why.
void Reading::AddPacked(const std::string& path, Text packed) {
    const auto page = result_.files.find(path);
    if (page == result_.files.end()) return LeaveOut(path + ".gz", "packs a file that is not there");
    if (!Unpacks(*packed, *page->second.content))
        return LeaveOut(path + ".gz", "is not what its name says, packed; pack it anew");
    page->second.packed = std::move(packed);
}

// Null when it is left out. What is checked is the open file, not its name.
Reading::Text Reading::ReadFile(const fs::path& path) {
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0) {
        LeaveOut(path.string(), "cannot be read: " + SystemReason());
        return nullptr;
    }
    if (!S_ISREG(status.st_mode)) {
        LeaveOut(path.string(), "is not a file");
        return nullptr;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    if (++files_ > kMostWebFiles || (bytes_ += size) > kMostWebBytes) {
        throw FileError("the pages in " + folder_ + " are more than " + std::to_string(kMostWebFiles) +
                        " files or " + std::to_string(kMostWebBytes) + " bytes; is it the right folder?");
    }
    auto text = std::make_shared<std::string>(size, '\0');
    const ssize_t got = read(file.Get(), text->data(), size);
    if (got < 0 || static_cast<std::size_t>(got) != size) {
        LeaveOut(path.string(), "changed while it was read");
        return nullptr;
    }
    return text;
}

}  // namespace

std::string_view WebTypeOf(std::string_view name) {
    const auto found = std::find_if(kWebTypes.begin(), kWebTypes.end(),
                                    [&](const auto& type) { return name.ends_with(type.first); });
    return found == kWebTypes.end() ? std::string_view() : found->second;
}

WebFolder ReadWebFolder(const std::string& folder) {
    return Reading(folder).Run();
}

}  // namespace driverhost
