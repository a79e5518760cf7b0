// A plug-in without entry.
#include "host/glue/PluginEntry.h"

DVHOST_AS_IT_STANDS
    __attribute__((section(".note.dvhost"), used, aligned(4))) static const dv::AbiNote note = {
        sizeof dv::kAbiNoteName, sizeof dv::kAbiVersion, dv::kAbiNoteType, "dvhost", dv::kAbiVersion};
