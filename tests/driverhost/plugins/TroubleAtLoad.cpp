// A plug-in that makes trouble before it has made a driver; TROUBLE says which.
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "host/glue/PluginEntry.h"

namespace {

enum Trouble {
    CRASH_AT_LOAD,
    EXIT_AT_LOAD,
    THROW_AT_LOAD,
    HANG_AT_LOAD,
    CRASH_IN_ENTRY,
    THROW_IN_ENTRY,
    CRASH_AT_UNLOAD
};

void MakeTrouble() {
    switch (TROUBLE) {
        case EXIT_AT_LOAD:
            std::_Exit(0);
        case THROW_AT_LOAD:
        case THROW_IN_ENTRY:
            throw std::runtime_error("no entry");
        case HANG_AT_LOAD:
            for (;;)
                std::this_thread::sleep_for(std::chrono::hours(1));
        default:
            // The default action keeps a sanitizer from reporting a fault of the test program.
            std::signal(SIGSEGV, SIG_DFL);
            std::raise(SIGSEGV);
    }
}

struct WhileLoaded {
    WhileLoaded() {
        if (TROUBLE <= HANG_AT_LOAD) MakeTrouble();
    }
    ~WhileLoaded() {
        if (TROUBLE == CRASH_AT_UNLOAD) MakeTrouble();
    }
};

WhileLoaded whileLoaded;

CreateDriverFunc Entry() {
    if (TROUBLE == CRASH_IN_ENTRY || TROUBLE == THROW_IN_ENTRY) MakeTrouble();
    return nullptr;
}

}  // namespace

DVHOST_PLUGIN_ENTRY(Entry())
