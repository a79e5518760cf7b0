// Who is who: the devices of the home by the names that people and SIP use for them.
#ifndef DRIVERS_CALLS_DIRECTORY_H
#define DRIVERS_CALLS_DIRECTORY_H

#include <string>
#include <vector>

class IIntercomAgent;
class ISupportIntercom;

/// A device as the other end of a call.
struct Peer {
    std::string user;  // of its SIP account
    std::string key;
    std::string name;  // its intercom name
    bool dnd = false;
    bool autoAnswer = false;
    bool ringDoorbell = false;
};

/// What an address leads to.
struct Destination {
    std::string name;         // as it was called
    std::vector<Peer> peers;  // one device, or the members of a group
    bool isGroup = false;
    std::string fault;  // why it cannot be called; empty when it can
};

/// The home at one moment. Make it, use it, drop it.  [driver thread]
class Directory {
public:
    /// Without an agent nobody is known.
    explicit Directory(IIntercomAgent* agent);

    /// NAME@ADDRESS or NAME, with or without "sip:". A name is looked for among the devices, by intercom
    /// name, by user and by key, exactly and then in any case, then among the groups. What nobody here is
    /// called is left to the proxy's routes, and so is any other host than `proxy`, which is this home's own.
    /// Of several devices with one name the first in the display order has it.
    Destination Resolve(const std::string& address, const std::string& proxy) const;

    /// The device with that SIP user; else a stranger whose user is all that is known of it.
    Peer FindUser(const std::string& user) const;
    /// The same as the agent has it; null for a stranger.
    ISupportIntercom* FindDeviceOf(const std::string& user) const;

private:
    const Peer* FindDevice(const std::string& name) const;
    bool FindGroup(const std::string& name, std::vector<Peer>& members) const;

    struct Device {
        unsigned long id;
        Peer peer;
    };

    IIntercomAgent* const agent_;
    std::vector<Device> devices_;
};

#endif
