#include "agent/IntercomAgent.h"

#include <algorithm>
#include <exception>

#include "agent/FirstException.h"
#include "agent/UiEvents.h"
#include "host/glue/Log.h"
#include "host/glue/NetworkInterfaces.h"
#include "host/interfaces/IDriverManager.h"
#include "host/interfaces/InterfaceIds.h"

namespace {

// The classes of system events that the agent listens to, in the order of registration. They
// report items of the project that are removed, renamed or moved.
constexpr unsigned int kEventClasses[] = {11, 8, 12};

// The port of the proxy on the controller itself: SIP's default (RFC 3261, section 19.1.2).
constexpr int kOwnSipPort = 5060;

}  // namespace

IDriver* IntercomAgent::Create(IInstanceManager& im) {
    return new IntercomAgent(im);
}

IntercomAgent::IntercomAgent(IInstanceManager& im) : DvBaseAgentDriver(im, DRIVER_SINGLE) {
    RestartSipProxy();
}

IntercomAgent::~IntercomAgent() = default;

long IntercomAgent::QueryInterface(const std::string& id, void** out) {
    if (id != IntercomAgentInterfaceId || !out) return DvBaseAgentDriver::QueryInterface(id, out);
    *out = static_cast<IIntercomAgent*>(this);
    return 0;
}

long IntercomAgent::Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) {
    DvBaseAgentDriver::Initialize(id, config, savedState);
    const long published = GetInstanceManager().InstanceRegisterInterface(IntercomAgentInterfaceId,
                                                                          static_cast<IIntercomAgent*>(this));
    if (published < 0)
        LogXMessage(
            dv::LOG_LEVEL_ERROR,
            "IntercomAgent: not published (%ld), so device drivers will not find it; is there another "
            "intercom agent in this home?",
            published);
    for (const unsigned int eventClass : kEventClasses)
        RegisterListener(*this, eventClass, 0);
    if (savedState) ReadState(*savedState);
    AddOwnSipConfig();
    UpdateExternal();
    AnnounceExternal();
    AskDriversToRegister();  // last, because drivers call back into an agent that must be complete
    return 0;
}

void IntercomAgent::OnDestroy() {
    // Nobody must find the agent any more once it starts to disconnect the devices.
    FirstException trouble;
    for (const unsigned int eventClass : kEventClasses)
        trouble.Run([&] { UnregisterListener(*this, eventClass, 0); });
    trouble.Run([&] { GetInstanceManager().InstanceUnregisterInterface(IntercomAgentInterfaceId); });
    DisconnectDevices(trouble);
    devices.Clear();
    users.clear();
    trouble.Run([&] { DisableSipProxy(); });
    trouble.Rethrow();
}

// A saved record with this key stays as it is: somebody may have changed its port.
void IntercomAgent::AddOwnSipConfig() {
    const std::string address = NetworkInterfaces().IPv4();
    if (address.empty() || configs.count(address) != 0) return;
    AddConfig(new SipConfig(address, kOwnSipPort));
}

void IntercomAgent::AnnounceExternal() {
    MySendDataToUI(UiEvents::kAgentExternal, OwnId(), isExternal ? 1 : 0);
}

// A driver that fails must not keep the agent, and with it the whole home, from starting.
void IntercomAgent::AskDriversToRegister() {
    for (ISupportIntercom* const driver : FindIntercomDrivers()) {
        const auto running = FindIntercomDrivers();  // an earlier driver's answer may have ended this one
        if (std::find(running.begin(), running.end(), driver) == running.end()) continue;
        try {
            driver->requestToAddDevice();
        } catch (const std::exception& error) {
            LogXMessage(dv::LOG_LEVEL_ERROR, "IntercomAgent: a device driver failed to add its device: %s",
                        error.what());
        } catch (...) {
            LogXMessage(dv::LOG_LEVEL_ERROR, "IntercomAgent: a device driver failed to add its device");
        }
    }
}

std::vector<ISupportIntercom*> IntercomAgent::FindIntercomDrivers() const {
    std::vector<ISupportIntercom*> found;
    GetDriverManager().DriverManagerFindByInterface(0, IntercomDeviceInterfaceId, found);
    return found;
}

void IntercomAgent::DisconnectDevices(FirstException& trouble) {
    for (const unsigned long id : DeviceIds()) {
        ISupportIntercom* const device = getIntercomDevice(id);
        if (!device) continue;
        // Cast before the call, because a driver may delete its device when it is disconnected.
        auto* const user = dynamic_cast<ReproUser*>(device);
        if (user && !IsOwnUser(user)) users.emplace_back(user);
        trouble.Run([&] { device->disconnectAgent(); });
    }
}

bool IntercomAgent::IsOwnUser(const ReproUser* user) const {
    return std::any_of(users.begin(), users.end(), [&](const auto& own) { return own.get() == user; });
}
