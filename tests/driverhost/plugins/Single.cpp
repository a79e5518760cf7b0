// A driver that one home holds once.
#include "host/glue/DvBaseDriver.h"
#include "host/glue/PluginEntry.h"

namespace {

class Single final : public DvBaseDriver {
public:
    explicit Single(IInstanceManager& manager) : DvBaseDriver(manager, DRIVER_SINGLE) {}
};

IDriver* Create(IInstanceManager& manager) {
    return new Single(manager);
}

}  // namespace

DVHOST_PLUGIN_ENTRY(&Create)
