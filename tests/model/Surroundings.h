// The surroundings of both agents, the real one and the model: devices, system manager,
// network address, and the counter of SIP users. The steps of a run change it.
#ifndef TESTS_MODEL_SURROUNDINGS_H
#define TESTS_MODEL_SURROUNDINGS_H

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/model/Tree.h"

namespace model {

/// What a device's driver does from inside a call of the agent.
enum class Reaction {
    None,
    Announce,  // OnDeviceChanged for itself
    Report,    // AddRecentContact
    Leave,     // OnDeviceRemoved for itself
    Evict      // OnDeviceRemoved for its victim
};

struct DeviceFacts {
    std::string label;  // names the device in the lines
    unsigned long id = 0;
    std::string key;
    std::string name;
    int version = 2;
    int state = 0;
    unsigned short volume = 0;
    bool camera = false;
    bool display = false;
    bool answerWithVideo = false;
    bool dnd = false;
    bool autoAnswer = false;
    bool monitorMode = false;
    bool excludeFromNav = false;
    bool ringDoorbell = false;
    bool doorStation = false;
    bool thirdParty = false;
    std::map<std::string, unsigned char> sessions;  // by the other device's key
    std::optional<Tree> buttons;                    // the answer to GET_CUSTOM_BUTTON
    bool answersRequests = true;                    // registers when asked to
    unsigned long victim = 0;
    Reaction onAddress = Reaction::None;
    Reaction onCall = Reaction::None;
    Reaction onHangup = Reaction::None;
    Reaction onDisconnect = Reaction::None;

    // SIP users only.
    bool isUser = false;
    std::string user, domain, realm, password, displayName, email, forwardAddress;
};

/// What the system manager prints; none when it cannot be started.
using SysmanReply = std::optional<std::string>;

struct Surroundings {
    std::vector<DeviceFacts> drivers;  // in the order in which the host lists them
    std::deque<SysmanReply> replies;   // to the next requests; then each is answered by its own word
    std::string address;               // the controller's own
};

}  // namespace model

#endif
