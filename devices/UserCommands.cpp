// Commands on SIP users. Look-ups by key and by index find any device, not only users.
#include "agent/FirstException.h"
#include "agent/IntercomAgent.h"
#include "agent/Replies.h"

IntercomAgent::Reply IntercomAgent::OnReqAddUser(const ICmdMessage& message) {
    users.push_back(std::make_unique<ReproUser>(message));
    ReproUser* const user = users.back().get();
    // Asks other drivers for their versions: if one throws, the mark must be set all the same, as the
    // user's place in the display order is part of the saved state.
    FirstException trouble;
    trouble.Run([&] { AddIntercomDevice(user->getDeviceId(), user); });
    DmInvalidateState();
    trouble.Rethrow();
    return Replies::Success();
}

// The object stays alive until the agent ends, because drivers may still hold a pointer to it.
IntercomAgent::Reply IntercomAgent::OnReqEraseUser(const ICmdMessage& message) {
    const std::string key = message.GetString("key");
    ISupportIntercom* const device = getIntercomDevice(key);
    if (!device) return Replies::UnableToErase(key);
    OnDeviceRemoved(device->getDeviceId());
    return Replies::Success();
}

IntercomAgent::Reply IntercomAgent::OnReqGetUser(const ICmdMessage& message) {
    if (message.HasParameter("key")) return GetUserByKey(message.GetString("key"));
    if (message.HasParameter("index")) return GetUserByIndex(message.GetULong("index"));
    return Replies::Fail("OnReqGetUser: Invalid parameters");
}

IntercomAgent::Reply IntercomAgent::GetUserByKey(const std::string& key) const {
    ISupportIntercom* const device = getIntercomDevice(key);
    return device ? device->toXml(dvIntercom::DEVICE_CHANGED) : Replies::UnableToFind(key);
}

IntercomAgent::Reply IntercomAgent::GetUserByIndex(unsigned long index) const {
    const auto found = EntryAt(devices.All(), index);
    return found == devices.All().end() ? Replies::NoEntityAt(index)
                                        : DvXML::CreateXmlNode("key", found->second->getKey());
}
