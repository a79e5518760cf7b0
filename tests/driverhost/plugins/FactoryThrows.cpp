// A plug-in whose factory throws.
#include <stdexcept>

#include "host/glue/PluginEntry.h"

static IDriver* Create(IInstanceManager&) {
    throw std::runtime_error("no parts");
}

DVHOST_PLUGIN_ENTRY(&Create)
