// A plug-in whose entry returns no factory.
#include "host/glue/PluginEntry.h"

DVHOST_PLUGIN_ENTRY(nullptr)
