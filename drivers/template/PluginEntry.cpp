// The plug-in's only export. The home file's <library> is the name of the plug-in's file without ".so".
#include "host/glue/PluginEntry.h"

#include "drivers/template/TemplateDriver.h"

DVHOST_PLUGIN_ENTRY(&TemplateDriver::Create)
