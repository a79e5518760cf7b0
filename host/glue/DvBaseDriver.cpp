#include "host/glue/DvBaseDriver.h"

#include <cstdarg>

#include "host/glue/CmdMessage.h"
#include "host/glue/Log.h"

namespace {

constexpr long kUnknownInterface = -1;
constexpr long kNoPlaceForResult = -2;

}  // namespace

DvBaseDriver::DvBaseDriver(IInstanceManager& instanceManager, DriverMultiplicity multiplicity)
    : instanceManager_(instanceManager), multiplicity_(multiplicity) {}

long DvBaseDriver::QueryInterface(const std::string&, void** out) {
    if (!out) return kNoPlaceForResult;
    *out = nullptr;
    return kUnknownInterface;
}

DvBaseDriver::~DvBaseDriver() {
    try {
        instanceManager_.WithdrawAll();
    } catch (...) {
        ::LogXMessage(dv::LOG_LEVEL_ERROR, "host: WithdrawAll threw while driver %lu was destroyed",
                      deviceId_);
    }
}

long DvBaseDriver::Initialize(unsigned long id, DvXML::INode&, DvXML::INode*) {
    deviceId_ = id;
    RegisterCommands();
    return 0;
}

void DvBaseDriver::OnDestroy() {}

dv::auto_com<DvXML::INode> DvBaseDriver::GetPersistState(unsigned long) {
    return nullptr;
}

void DvBaseDriver::RegisterCommands() {}

IDriverManager& DvBaseDriver::GetDriverManager() const {
    return instanceManager_.GetDriverManager();
}

long DvBaseDriver::RegisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                                    unsigned long number) {
    return instanceManager_.RegisterListener(callback, eventClass, number);
}

long DvBaseDriver::UnregisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                                      unsigned long number) {
    return instanceManager_.UnregisterListener(callback, eventClass, number);
}

void DvBaseDriver::ConSendDataToUI(const DvXML::INode& element) {
    instanceManager_.SendDataToUI(element);
}

void DvBaseDriver::DmInvalidateState() {
    instanceManager_.InvalidateState();
}

dv::auto_com<ICmdMessage> DvBaseDriver::CreateCommandMessageFromName(const std::string& name) const {
    return dv::CmdMessage::Create(name);
}

void DvBaseDriver::LogXMessage(unsigned int level, const char* format, ...) const {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = dv::FormatText(format, arguments);
    va_end(arguments);
    instanceManager_.WriteLog(level, text);
}

DvBaseAgentDriver::~DvBaseAgentDriver() = default;
