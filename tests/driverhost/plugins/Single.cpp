// A driver that a home holds once, and that cannot give its state before it is initialised.
#include <stdexcept>

#include "host/glue/DvBaseDriver.h"
#include "host/glue/Log.h"
#include "host/glue/PluginEntry.h"

namespace {

class Single final : public DvBaseDriver {
public:
    explicit Single(IInstanceManager& manager) : DvBaseDriver(manager, DRIVER_SINGLE) {
        LogXMessage(dv::LOG_LEVEL_INFO, "created");
    }

    long Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) override {
        DvBaseDriver::Initialize(id, config, savedState);
        initialized_ = true;
        const std::string given = savedState ? savedState->NodeToText() : "nothing";
        LogXMessage(dv::LOG_LEVEL_INFO, "starts with %s", given.c_str());
        return 0;
    }

    dv::auto_com<DvXML::INode> GetPersistState(unsigned long) override {
        if (!initialized_) throw std::logic_error("too early");
        return DvXML::CreateXmlNode("SingleState", "");
    }

private:
    bool initialized_ = false;
};

IDriver* Create(IInstanceManager& manager) {
    return new Single(manager);
}

}  // namespace

DVHOST_PLUGIN_ENTRY(&Create)
