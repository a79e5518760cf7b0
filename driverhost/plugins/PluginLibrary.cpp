#include "driverhost/plugins/PluginLibrary.h"

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/FileDescriptor.h"
#include "host/glue/PluginEntry.h"

namespace driverhost {
namespace {

constexpr char kEntryName[] = "GetCreationFunc";
constexpr std::size_t kMaxNoteBytes = 64 * 1024;  // real notes have a few dozen bytes
constexpr std::size_t kNoteAlignment = 4;

// Reads which host a library was built for, from its file: before any of its code runs.
class LibraryFile {
public:
    /// Throws PluginError when the file cannot be read or is no shared library of this machine.
    explicit LibraryFile(const std::string& path);

    /// The version in the file's dv::AbiNote; no value when it has no such note.
    std::optional<std::uint32_t> AbiVersion() const;

private:
    using Header = ElfW(Ehdr);
    using Segment = ElfW(Phdr);

    void CheckHeader() const;
    std::vector<Segment> Segments() const;
    void Read(void* target, std::size_t bytes, std::uint64_t offset) const;
    [[noreturn]] void Throw(const std::string& text) const { throw PluginError(path_ + text); }

    const std::string path_;
    FileDescriptor file_;
    Header header_{};
};

LibraryFile::LibraryFile(const std::string& path)
    : path_(path), file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (!file_ && errno == ENOENT) Throw(": there is no such file; expected a driver plug-in");
    if (!file_) Throw(": cannot be read: " + SystemReason());
    struct stat status {};
    if (fstat(file_.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        Throw(": is not a file; expected a driver plug-in");
    }
    Read(&header_, sizeof header_, 0);
    CheckHeader();
}

void LibraryFile::CheckHeader() const {
    constexpr int ownClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
    constexpr int ownOrder = std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;
    const bool isElf = std::memcmp(header_.e_ident, ELFMAG, SELFMAG) == 0;
    const bool fits = header_.e_ident[EI_CLASS] == ownClass && header_.e_ident[EI_DATA] == ownOrder;
    if (!isElf || !fits || header_.e_type != ET_DYN || header_.e_phentsize != sizeof(Segment)) {
        Throw(": is not a shared library of this machine; expected a driver plug-in");
    }
}

std::vector<LibraryFile::Segment> LibraryFile::Segments() const {
    std::vector<Segment> segments(header_.e_phnum);
    Read(segments.data(), segments.size() * sizeof(Segment), header_.e_phoff);
    return segments;
}

void LibraryFile::Read(void* target, std::size_t bytes, std::uint64_t offset) const {
    const ssize_t got = pread(file_.Get(), target, bytes, static_cast<off_t>(offset));
    if (got < 0 || static_cast<std::size_t>(got) != bytes) {
        Throw(": is cut short or not a shared library; expected a driver plug-in");
    }
}

constexpr std::size_t Aligned(std::size_t size) {
    return (size + kNoteAlignment - 1) & ~(kNoteAlignment - 1);
}

// The value of our note in the bytes of a note segment (ELF gABI, "Note Section").
std::optional<std::uint32_t> FindNote(std::string_view notes) {
    constexpr std::string_view name(dv::kAbiNoteName, sizeof dv::kAbiNoteName);
    while (notes.size() >= sizeof(ElfW(Nhdr))) {
        ElfW(Nhdr) note;
        std::memcpy(&note, notes.data(), sizeof note);
        const std::size_t valueAt = sizeof note + Aligned(note.n_namesz);
        const std::size_t end = valueAt + Aligned(note.n_descsz);
        if (end > notes.size()) return std::nullopt;
        const bool ours = note.n_type == dv::kAbiNoteType && notes.substr(sizeof note, note.n_namesz) == name;
        if (ours && note.n_descsz == sizeof(std::uint32_t)) {
            std::uint32_t version = 0;
            std::memcpy(&version, notes.data() + valueAt, sizeof version);
            return version;
        }
        notes.remove_prefix(end);
    }
    return std::nullopt;
}

std::optional<std::uint32_t> LibraryFile::AbiVersion() const {
    for (const Segment& segment : Segments()) {
        // A wider alignment means notes of another maker, with other padding.
        if (segment.p_type != PT_NOTE || segment.p_align > kNoteAlignment) continue;
        if (segment.p_filesz > kMaxNoteBytes) continue;
        std::string notes(segment.p_filesz, '\0');
        Read(notes.data(), notes.size(), segment.p_offset);
        if (const auto version = FindNote(notes)) return version;
    }
    return std::nullopt;
}

std::string LoaderReason() {
    const char* reason = dlerror();
    return reason ? reason : "unknown reason";
}

void* Open(const std::string& path) {
    PluginLibrary::CheckFile(path);
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) throw PluginError(path + ": cannot be loaded: " + LoaderReason());
    return handle;
}

}  // namespace

void PluginLibrary::Closer::operator()(void* handle) const {
    dlclose(handle);
}

PluginLibrary::PluginLibrary(std::string path)
    : path_(std::move(path)), handle_(Open(path_)), create_(FindFactory()) {}

PluginLibrary::~PluginLibrary() = default;

void PluginLibrary::CheckFile(const std::string& path) {
    const auto version = LibraryFile(path).AbiVersion();
    if (!version) {
        throw PluginError(path +
                          ": is not a driver plug-in of this host: it has no ABI note; expected the one that "
                          "DVHOST_PLUGIN_ENTRY makes");
    }
    if (*version != dv::kAbiVersion) {
        throw PluginError(path + ": was built for driver ABI " + std::to_string(*version) +
                          "; expected ABI " + std::to_string(dv::kAbiVersion) + ": build it anew");
    }
}

bool PluginLibrary::IsLoaded(const std::string& path) {
    const std::unique_ptr<void, Closer> handle(dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD));
    return handle != nullptr;
}

CreateDriverFunc PluginLibrary::FindFactory() const {
    void* symbol = dlsym(handle_.get(), kEntryName);
    if (!symbol) throw PluginError(path_ + ": has no entry; expected it to export " + kEntryName);
    const auto entry = reinterpret_cast<GetCreationFuncType>(symbol);
    const CreateDriverFunc create = entry();
    if (!create) throw PluginError(path_ + ": " + kEntryName + " returned null; expected a factory");
    return create;
}

}  // namespace driverhost
