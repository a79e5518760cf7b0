// The plug-in's only export.
#include "host/glue/PluginEntry.h"

#include "drivers/panel/Panel.h"

DVHOST_PLUGIN_ENTRY(&Panel::Create)
