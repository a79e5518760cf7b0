// The plug-in's one export.
#include "host/glue/PluginEntry.h"

#include "agent/IntercomAgent.h"

DVHOST_PLUGIN_ENTRY(&IntercomAgent::Create)
