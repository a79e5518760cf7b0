// A plug-in that was built for a later host.
#include <cstdio>

#include "host/glue/PluginEntry.h"

namespace {

// Prints when code of the library runs.
[[maybe_unused]] const int loaded = std::fputs("OtherAbi was loaded\n", stderr);

}  // namespace

DVHOST_AS_IT_STANDS
    __attribute__((section(".note.dvhost"), used, aligned(4))) static const dv::AbiNote note = {
        sizeof dv::kAbiNoteName, sizeof dv::kAbiVersion, dv::kAbiNoteType, "dvhost", dv::kAbiVersion + 1};

extern "C" DVHOST_API CreateDriverFunc GetCreationFunc();
extern "C" CreateDriverFunc GetCreationFunc() {
    return nullptr;
}
