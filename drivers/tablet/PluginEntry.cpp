// The plug-in's only export.
#include "host/glue/PluginEntry.h"

#include "drivers/tablet/Tablet.h"

DVHOST_PLUGIN_ENTRY(&Tablet::Create)
