// What the intercom agent offers to device drivers. Found under IntercomAgentInterfaceId.
#ifndef HOST_INTERFACES_IINTERCOMAGENT_H
#define HOST_INTERFACES_IINTERCOMAGENT_H

#include <string>
#include <vector>

#include "host/interfaces/DvXML.h"
#include "host/interfaces/dvIntercom.h"

class ISupportIntercom;

/// Every operation: [driver thread, between the agent's Initialize and OnDestroy]. The order of
/// the operations is the order of the table that drivers are built against; the first is
/// AddIntercomDevice, there is no destructor among them. What a device driver throws while it is
/// asked passes through to the caller, after the remaining steps; the registry has changed all the same.
class DVHOST_API IIntercomAgent {
public:
    /// Registers a device under an id of 0 to 4294967295, or replaces the one registered under it. The
    /// device stays its driver's; it must be removed before it is deleted, also when this call throws.
    /// Null is refused with a log line. Before it returns it asks this device, and perhaps all others,
    /// for getVersion, and calls this one's updateSipInfoFromDriver.
    virtual void AddIntercomDevice(unsigned long id, ISupportIntercom* device) = 0;

    /// Takes the device out of the registry and every group; asks the remaining devices for
    /// getVersion. Unknown ids are ignored.
    virtual void OnDeviceRemoved(unsigned long id) = 0;

    /// Tells user interfaces that `prop` of the device changed. DEVICE_VOLUME and values outside the
    /// table are not reported.
    virtual void OnDeviceChanged(unsigned long id, dvIntercom::DeviceProps prop) = 0;

    /// Element "groups" with one "group" per group; `includeAll` puts the synthetic "All" first.
    virtual dv::auto_com<DvXML::INode> GetGroupList(bool includeAll) = 0;

    /// Element "devices" with the devices' descriptions in display order; id 99999
    /// is left out.
    virtual dv::auto_com<DvXML::INode> GetDeviceList() = 0;

    /// The SIP address-of-record (the key) of a device; empty when unknown, and for id 99999.
    virtual std::string GetDeviceAOR(unsigned long id) = 0;

    /// Element "contacts", the address book.
    virtual dv::auto_com<DvXML::INode> GetContactList() = 0;

    /// Reports a finished call. The texts are stored as given; beyond the bound that users set, the
    /// oldest entries go.
    virtual void AddRecentContact(const std::string& displayName, const std::string& address,
                                  const std::string& callTime, const std::string& callLength,
                                  bool receivedCall, bool acceptedCall) = 0;

    /// Seconds that a call's pop-up stays on a user interface; any number that a user set.
    virtual int GetPopupTimeout() = 0;

    /// Replaces `out` by the ids of a stored group; leaves it alone when there is no such group.
    virtual void GetDeviceListByGroup(std::vector<unsigned long>& out, int groupId) = 0;

    /// The registered device, or null. It stays its driver's.
    virtual ISupportIntercom* GetIntercomDevice(unsigned long id) = 0;

    /// Ends sessions with a lost peer. `local` is the reporting device's key; `remote` is the peer's
    /// key, empty for broadcast endpoints, or "down" when the reporter's own connection went down.
    virtual void EndOfflineSession(const std::string& local, const std::string& remote) = 0;

protected:
    ~IIntercomAgent() = default;
};

#endif
