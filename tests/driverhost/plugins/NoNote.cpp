// A library with the right entry that was not built as a plug-in.
#include <cstdio>

#include "host/interfaces/IDriver.h"

namespace {

// Prints when code of the library runs.
[[maybe_unused]] const int loaded = std::fputs("NoNote was loaded\n", stderr);

}  // namespace

extern "C" DVHOST_API CreateDriverFunc GetCreationFunc();
extern "C" CreateDriverFunc GetCreationFunc() {
    return nullptr;
}
