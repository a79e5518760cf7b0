// A plug-in whose entry knows no factory.
#include "host/glue/PluginEntry.h"

DVHOST_PLUGIN_ENTRY(nullptr)
