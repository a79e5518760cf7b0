// A plug-in's one exported function, and the note that tells which host it was built for.
//
// In one source file of the plug-in:
//
//     static IDriver* Create(IInstanceManager& im) { return new MyDriver(im); }
//     DVHOST_PLUGIN_ENTRY(&Create)
#ifndef HOST_GLUE_PLUGINENTRY_H
#define HOST_GLUE_PLUGINENTRY_H

#include <cstdint>

#include "host/interfaces/IDriver.h"

namespace dv {

/// Grows with every change of host/ that a built plug-in would not survive.
inline constexpr std::uint32_t kAbiVersion = 3;

/// The name and type of the ELF note that carries the version. The host reads it from the file
/// before it loads the library, so a plug-in of another version never runs a line.
inline constexpr char kAbiNoteName[] = "dvhost";
inline constexpr std::uint32_t kAbiNoteType = 1;

/// One note as it lies in the file (ELF gABI, "Note Section": sizes, type, padded name, value).
struct AbiNote {
    std::uint32_t nameSize;
    std::uint32_t valueSize;
    std::uint32_t type;
    char name[8];
    std::uint32_t version;
};

}  // namespace dv

// clang++'s AddressSanitizer would put its guards around the note, which then is none.
#if defined(__clang__)
#define DVHOST_AS_IT_STANDS __attribute__((no_sanitize("address")))
#else
#define DVHOST_AS_IT_STANDS
#endif

#define DVHOST_PLUGIN_ENTRY(create)                                                                    \
    DVHOST_AS_IT_STANDS __attribute__((section(".note.dvhost"), used,                                  \
                                       aligned(4))) static const dv::AbiNote dvhostAbiNote = {         \
        sizeof dv::kAbiNoteName, sizeof dv::kAbiVersion, dv::kAbiNoteType, "dvhost", dv::kAbiVersion}; \
    extern "C" DVHOST_API CreateDriverFunc GetCreationFunc();                                          \
    extern "C" CreateDriverFunc GetCreationFunc() {                                                    \
        return (create);                                                                               \
    }

#endif
