// The plug-in's only export.
#include "host/glue/PluginEntry.h"

#include "agent/IntercomAgent.h"

DVHOST_PLUGIN_ENTRY(&IntercomAgent::Create)
