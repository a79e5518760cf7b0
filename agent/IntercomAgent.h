// The intercom agent: the only object of the plug-in. It holds every registry of the home's
// intercom and answers the commands on them.
//
// The class is declared here once. Each operation is defined in the folder of its subject: devices/,
// groups/, contacts/, sipproxy/, calls/, or agent/ if it concerns the agent as a whole.
//
// Everything runs on the driver thread. A device driver may call back from inside any call that the
// agent makes to it, so no iterator into a table and no reference to one of the agent's strings is
// held across such a call: loops go over a copy of the ids and look each one up again.
#ifndef AGENT_INTERCOMAGENT_H
#define AGENT_INTERCOMAGENT_H

#include <boost/shared_ptr.hpp>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "contacts/AddressBook.h"
#include "contacts/IntercomRecentContact.h"
#include "devices/DeviceTable.h"
#include "devices/ReproUser.h"
#include "groups/GroupTable.h"
#include "host/glue/DvBaseDriver.h"
#include "host/interfaces/IIntercomAgent.h"
#include "host/interfaces/ISupportIntercom.h"
#include "host/interfaces/ISystemEventCallback.h"
#include "sipproxy/SipEntity.h"

using RecentContactPtr = boost::shared_ptr<IntercomRecentContact>;
using ServiceMap = std::map<std::string, boost::shared_ptr<ServiceInfo>>;

class FirstException;

class IntercomAgent final : public DvBaseAgentDriver, public IIntercomAgent, public ISystemEventCallback {
public:
    /// The kinds of call that evalVideoType knows.
    enum SessionType : int { SESSION_REGULAR = 0, SESSION_BROADCAST = 1, SESSION_MONITOR = 2 };

    /// Intercom modes. A device version above 2 becomes the mode too, but neither starts nor stops the
    /// SIP proxy. After construction the proxy runs although the mode is 1.
    static constexpr int kModeClassic = 1;  // no device needs the SIP proxy; entering this mode stops it
    static constexpr int kModeSip = 2;      // some device needs it; entering this mode starts it

    /// A new agent, which the host owns. Throws what the constructor throws.
    static IDriver* Create(IInstanceManager& im);

    /// Restarts the SIP proxy, so that one left running by an earlier agent is in a known state.
    explicit IntercomAgent(IInstanceManager& im);

    // DvBaseDriver
    long QueryInterface(const std::string& id, void** out) override;
    ~IntercomAgent() override;
    long Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) override;
    /// Does every step even if a driver throws, then passes on the first exception.
    void OnDestroy() override;
    dv::auto_com<DvXML::INode> GetPersistState(unsigned long reserved) override;
    void RegisterCommands() override;

    // IIntercomAgent
    void AddIntercomDevice(unsigned long id, ISupportIntercom* device) override;
    void OnDeviceRemoved(unsigned long id) override;
    void OnDeviceChanged(unsigned long id, dvIntercom::DeviceProps prop) override;
    dv::auto_com<DvXML::INode> GetGroupList(bool includeAll) override;
    dv::auto_com<DvXML::INode> GetDeviceList() override;
    std::string GetDeviceAOR(unsigned long id) override;
    dv::auto_com<DvXML::INode> GetContactList() override;
    void AddRecentContact(const std::string& displayName, const std::string& address,
                          const std::string& callTime, const std::string& callLength, bool receivedCall,
                          bool acceptedCall) override;
    int GetPopupTimeout() override;
    void GetDeviceListByGroup(std::vector<unsigned long>& out, int groupId) override;
    ISupportIntercom* GetIntercomDevice(unsigned long id) override;
    void EndOfflineSession(const std::string& local, const std::string& remote) override;

    // ISystemEventCallback
    void OnSystemEvent(DvXML::INode& event) override;

    // Modes
    /// Makes the highest version among the devices the mode; entering 1 stops the SIP proxy,
    /// entering 2 starts it.
    void CheckIntercomMode();
    /// Checks whether there are external services, for GetExternal. Sends no event.
    void UpdateExternal();
    /// The result of the last UpdateExternal.
    bool GetExternal() const { return isExternal; }

    // Devices
    /// Null when the id is not registered.
    ISupportIntercom* getIntercomDevice(unsigned long id) const;
    /// The first device, by ascending id, that has the key; null when none has it.
    ISupportIntercom* getIntercomDevice(const std::string& key) const;

    // Display order
    /// Element "order" with a child "devices", which has one "idDevice" per entry.
    dv::auto_com<DvXML::INode> GetDeviceOrder() const;
    /// Appends the id unless it is in the order already.
    void UpdateDeviceOrder(unsigned long id);
    /// Takes the ids as given and marks the state; "success", or "fail" for an empty list.
    dv::auto_com<DvXML::INode> SetDeviceOrder(const std::vector<unsigned long>& ids);

    // Groups
    /// The group's element; id 0 is the computed "All"; "fail" for an unknown group.
    dv::auto_com<DvXML::INode> GetGroup(int id) const;
    /// Takes name and ids as given and announces the group, but does not mark the state; "success",
    /// or "fail" for an unknown group.
    dv::auto_com<DvXML::INode> SetGroupState(int id, const std::string& name,
                                             const std::vector<unsigned long>& deviceIds);

    // Contacts
    /// The display name of the first contact that has a phone-list entry with that key; the key itself
    /// when none has.
    std::string getNameByAddress(std::string address) const;

    // SIP proxy
    /// Take ownership in any case; false when the key is taken. They neither mark the state nor send
    /// an event.
    bool AddConfig(SipConfig* config);
    bool AddRoute(SipRoute* route);
    /// True when there was a service of that name.
    bool removeService(const std::string& name);
    /// Sends the request to the system manager and waits for its answer; the outcome is only logged.
    void IssueSipProxyCommand(const std::string& request);
    void EnableSipProxy();
    void DisableSipProxy();
    /// Kills the proxy, then enables it, even if the first request failed.
    void RestartSipProxy();

    // Calls
    /// The video mode that the calling device will use; MEDIA_NONE, with a log line, for an unknown
    /// type.
    dvIntercom::MediaMode evalVideoType(const ISupportIntercom* device, SessionType type,
                                        dvIntercom::MediaMode requested) const;

private:
    using Reply = dv::auto_com<DvXML::INode>;
    struct CommandRow;
    static const CommandRow kCommands[];

    // UI commands, in the order of the command table
    Reply OnReqAddGroup(const ICmdMessage& message);
    Reply OnReqCopyGroup(const ICmdMessage& message);
    Reply OnReqDeleteGroup(const ICmdMessage& message);
    Reply OnReqGetGroupList(const ICmdMessage& message);
    Reply OnReqGetGroup(const ICmdMessage& message);
    Reply OnReqGetDeviceList(const ICmdMessage& message);
    Reply OnReqSetDeviceOrder(const ICmdMessage& message);
    Reply OnReqGetDeviceState(const ICmdMessage& message);
    Reply OnReqSetDeviceState(const ICmdMessage& message);
    Reply OnReqGetPopupTimeout(const ICmdMessage& message);
    Reply OnReqSetPopupTimeout(const ICmdMessage& message);
    Reply OnReqGetIsExternal(const ICmdMessage& message);
    Reply OnReqSetGroupState(const ICmdMessage& message);
    Reply OnReqGetSipUserGroup(const ICmdMessage& message);
    Reply OnReqGetCustomButtons(const ICmdMessage& message);
    Reply OnReqAddUser(const ICmdMessage& message);
    Reply OnReqEraseUser(const ICmdMessage& message);
    Reply OnReqGetUser(const ICmdMessage& message);
    Reply OnReqAddRoute(const ICmdMessage& message);
    Reply OnReqEraseRoute(const ICmdMessage& message);
    Reply OnReqGetRoute(const ICmdMessage& message);
    Reply OnReqAddAcl(const ICmdMessage& message);
    Reply OnReqEraseAcl(const ICmdMessage& message);
    Reply OnReqGetAcl(const ICmdMessage& message);
    Reply OnReqAddConfig(const ICmdMessage& message);
    Reply OnReqEraseConfig(const ICmdMessage& message);
    Reply OnReqGetConfig(const ICmdMessage& message);
    Reply OnReqGetSipProxyIP(const ICmdMessage& message);
    Reply OnReqSetSipProxyIP(const ICmdMessage& message);
    Reply OnReqApplySIPProxyChanges(const ICmdMessage& message);
    Reply OnReqEditService(const ICmdMessage& message);
    Reply OnReqGetServiceList(const ICmdMessage& message);
    Reply OnReqRemoveService(const ICmdMessage& message);
    Reply OnReqAddContact(const ICmdMessage& message);
    Reply OnReqDeleteContact(const ICmdMessage& message);
    Reply OnReqEditContact(const ICmdMessage& message);
    Reply OnReqGetContactList(const ICmdMessage& message);
    Reply OnReqGetRecentContactList(const ICmdMessage& message);
    Reply OnReqDeleteRecentContact(const ICmdMessage& message);
    Reply OnReqClearRecentContactList(const ICmdMessage& message);

    // Plain commands
    void handleSipExternalCall(const ICmdMessage& message);
    void handleSipRegularCall(const ICmdMessage& message);
    void handleSipMonitorCall(const ICmdMessage& message);
    void handleSipBroadcastCall(const ICmdMessage& message);
    void handleCustomButtonEvent(const ICmdMessage& message);

    // Start and end
    void AddOwnSipConfig();
    void AnnounceExternal();
    void AskDriversToRegister();
    std::vector<ISupportIntercom*> FindIntercomDrivers() const;
    /// Disconnects every device. A registered ReproUser that this agent did not create moves into
    /// `users`, because the agent deletes it too.
    void DisconnectDevices(FirstException& trouble);
    bool IsOwnUser(const ReproUser* user) const;

    // Saved state
    void ReadState(DvXML::INode& state);
    void ReadDeviceOrder(DvXML::INode& order);
    void ReadGroups(DvXML::INode& list);
    void ReadContacts(DvXML::INode& list);
    void ReadServices(DvXML::INode& list);
    void ReadConfigs(DvXML::INode& list);

    // User interface
    /// Sends an element of that name with "id" and "state"; -1 leaves the number out.
    void MySendDataToUI(const std::string& name, int id, int state);
    void EchoCommand(const ICmdMessage& message);
    /// The agent's own id, signed as in events.
    int OwnId() const { return static_cast<int>(GetDeviceId()); }

    // Devices
    std::vector<unsigned long> DeviceIds() const;
    int HighestVersion() const;
    bool IsRegistered(const ISupportIntercom* device) const;
    /// The device's answer; none when it is not (or no longer) registered.
    template <class Answer>
    std::optional<Answer> Ask(unsigned long id, Answer (ISupportIntercom::*question)() const) const;
    template <class Answer>
    std::optional<Answer> Ask(unsigned long id, Answer (ISupportIntercom::*question)()) const;
    void RefreshSipInfo(unsigned long id);
    void SendSipProxyIPToDevices();
    Reply GetUserByKey(const std::string& key) const;
    Reply GetUserByIndex(unsigned long index) const;

    // Groups
    bool IsGroupNameFree(const std::string& name) const;
    Reply InsertNewGroup(const std::string& name, const std::vector<unsigned long>& deviceIds);
    /// Ascending ids of the registered devices that are not door stations.
    std::vector<unsigned long> IdsOfAll() const;

    // Contacts
    void BoundRecentContacts();

    // SIP proxy
    Reply GetSipEntity(const SipEntityMap& store, const ICmdMessage& message) const;
    Reply EraseSipEntity(SipEntityMap& store, const std::string& key);
    Reply EraseExisting(SipEntityMap& store, const ICmdMessage& message);
    Reply FinishAdd(bool stored, const ICmdMessage& message);

    // Calls
    using StartOperation = void (ISupportIntercom::*)(dvIntercom::MediaMode, dvIntercom::MediaMode,
                                                      const std::string&);
    void StartCallBetween(const ICmdMessage& message, SessionType type, dvIntercom::MediaMode audio,
                          StartOperation start);
    std::optional<std::string> SipAddress(unsigned long id) const;
    bool AcceptsBroadcasts(unsigned long id) const;
    std::vector<std::string> BroadcastAddresses(const ICmdMessage& message, unsigned long source) const;
    void EndBroadcastSessions(const std::string& local);
    void EndAllSessions(const std::string& local);
    void EndSessionWithPeer(unsigned long local, const std::string& localKey, const std::string& remoteKey);
    void HangupEndpoint(unsigned long id, const std::string& local);
    std::optional<unsigned long> FindDeviceId(const std::string& key) const;
    std::optional<std::string> LogEndpointKey(unsigned long id) const;

    // Persisted, and constant once Initialize has read the saved state
    int maxRecentCalls = 50;

    // Persisted
    AddressBook contacts;
    int nextGroupId = 1;
    int popupTimeout = 20;  // seconds
    GroupTable groups;
    OrderedIds deviceOrder;
    SipEntityMap routes;
    SipEntityMap acls;
    SipEntityMap configs;
    ServiceMap services;

    // In memory only, lost when the agent ends
    std::vector<RecentContactPtr> recentContacts;  // oldest first
    int nextRecentId = 0;                          // starts again when the list is emptied
    std::string sipProxyIP;
    std::vector<std::unique_ptr<ReproUser>> users;  // every user created here, erased ones included

    // Owned elsewhere: a device belongs to its driver, a user to `users`
    DeviceTable devices;

    // Derived from the tables above
    bool isExternal = false;           // from services, updated only by UpdateExternal
    int intercomMode = kModeClassic;   // the highest version among the devices
    unsigned int recentCount = 0;      // entries of recentContacts
    unsigned int registryChanges = 0;  // how often `devices` has changed
};

template <class Answer>
std::optional<Answer> IntercomAgent::Ask(unsigned long id,
                                         Answer (ISupportIntercom::*question)() const) const {
    const ISupportIntercom* device = getIntercomDevice(id);
    if (!device) return std::nullopt;
    return (device->*question)();
}

template <class Answer>
std::optional<Answer> IntercomAgent::Ask(unsigned long id, Answer (ISupportIntercom::*question)()) const {
    ISupportIntercom* device = getIntercomDevice(id);
    if (!device) return std::nullopt;
    return (device->*question)();
}

#endif
