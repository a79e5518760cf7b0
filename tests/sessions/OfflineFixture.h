// Devices with keys and sessions, and the agent's log lines about them.
#ifndef TESTS_SESSIONS_OFFLINEFIXTURE_H
#define TESTS_SESSIONS_OFFLINEFIXTURE_H

#include <map>
#include <string>

#include "tests/support/AgentFixture.h"

namespace test {

class OfflineFixture : public AgentFixture {
protected:
    using Sessions = std::map<std::string, unsigned char>;

    /// A registered device with a key, and its sessions by the key at the other end.
    FakeDevice& AddKey(unsigned long id, const std::string& key, const Sessions& sessions = {}) {
        FakeDevice& device = AddDevice(id);
        device.deviceKey = key;
        device.sessions = sessions;
        return device;
    }
    void End(const std::string& local, const std::string& remote) {
        Drivers().EndOfflineSession(local, remote);
    }

    static std::string Log(const std::string& text) {
        return "log 7 IntercomAgent::EndOfflineSession - " + text;
    }
    static std::string Asked(unsigned long id, const std::string& key) {
        return "device " + std::to_string(id) + " findSessionId " + key;
    }
    static std::string HungUp(unsigned long id, int session) {
        return "device " + std::to_string(id) + " HangupSipSession " + std::to_string(session);
    }
};

}  // namespace test

#endif
