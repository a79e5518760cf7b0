// The plug-in's one export. The home file's <library> is the file's name without ".so".
#include "host/glue/PluginEntry.h"

#include "drivers/template/TemplateDriver.h"

DVHOST_PLUGIN_ENTRY(&TemplateDriver::Create)
