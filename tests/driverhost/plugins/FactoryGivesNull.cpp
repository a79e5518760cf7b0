// A plug-in whose factory returns null.
#include "host/glue/PluginEntry.h"

static IDriver* Create(IInstanceManager&) {
    return nullptr;
}

DVHOST_PLUGIN_ENTRY(&Create)
