// The plug-in's only export.
#include "host/glue/PluginEntry.h"

#include "drivers/phone/Phone.h"

DVHOST_PLUGIN_ENTRY(&Phone::Create)
