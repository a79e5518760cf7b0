#include "calls/IntercomSession.h"

#include <algorithm>

#include "host/glue/Assert.h"

IntercomSession::IntercomSession(std::uint32_t id) : sessionId(id) {
    if (id == 0) dv::AssertWrite("domovia_agent_intercom/dvw/IntercomSession", 13, dv::StackTrace());
}

bool IntercomSession::containsDevice(std::uint32_t deviceId) const {
    return std::find(devices.begin(), devices.end(), deviceId) != devices.end();
}

bool IntercomSession::removeDeviceFromList(std::uint32_t deviceId) {
    const auto found = std::find(devices.begin(), devices.end(), deviceId);
    if (found == devices.end()) return false;
    devices.erase(found);
    return true;
}
