// The intercom agent stated a second time, as simply as it can be said: plain maps, lists and
// texts. Everything that leaves it is appended to one list of lines, in order.
//
// The random test drives it and the real agent with the same steps and compares the lines.
#ifndef TESTS_MODEL_AGENTMODEL_H
#define TESTS_MODEL_AGENTMODEL_H

#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/model/Message.h"
#include "tests/model/Surroundings.h"
#include "tests/model/Tree.h"

namespace model {

class AgentModel {
public:
    struct Group {
        int id = 0;
        std::string name;
        std::vector<unsigned long> devices;
    };
    struct Phone {
        std::string kind;
        bool speedDial = false;
    };
    struct Contact {
        int id = 0;
        std::string displayName, firstName, lastName;
        std::map<std::string, Phone> phones;  // by position, "-" and number
    };
    struct Recent {
        int id = 0;
        std::string displayName, address, time, length;
        bool received = false;
        bool accepted = false;
    };
    struct Answer {
        bool known = true;            // false: no command of that name
        std::optional<Tree> element;  // none: handled without one
    };

    /// The id that the next SIP user gets, in this process.
    static unsigned long nextUserId;

    AgentModel(Surroundings& surroundings, std::vector<std::string>& lines);
    AgentModel(const AgentModel&) = delete;
    AgentModel& operator=(const AgentModel&) = delete;

    void Initialize(unsigned long ownId, const Tree* saved);
    void OnDestroy();
    void Delete();
    Tree State() const;

    Answer UiCommand(const Message& message);
    /// False when there is no such command.
    bool PlainCommand(const Message& message);
    void SystemEvent(const Tree& event);

    // What drivers call.
    void AddIntercomDevice(unsigned long id, const DeviceFacts* device);
    void OnDeviceRemoved(unsigned long id);
    void OnDeviceChanged(unsigned long id, int property);
    Tree GroupList(bool includeAll) const;
    Tree DeviceList() const;
    std::string DeviceAOR(unsigned long id) const;
    Tree ContactList() const;
    void AddRecentContact(const Recent& call);
    int PopupTimeout() const { return popupTimeout_; }
    void DeviceListByGroup(std::vector<unsigned long>& out, int groupId) const;
    const DeviceFacts* Device(unsigned long id) const;
    void EndOfflineSession(const std::string& local, const std::string& remote);

    // What the choice of the next step looks at, and what a run has met.
    const std::map<unsigned long, const DeviceFacts*>& devices() const { return devices_; }
    const std::map<int, Group>& groups() const { return groups_; }
    const std::vector<Contact>& contacts() const { return contacts_; }
    const std::vector<Recent>& recents() const { return recents_; }
    int mode() const { return mode_; }
    bool external() const { return external_; }

    static std::vector<std::string> UiCommandNames();
    static std::vector<std::string> PlainCommandNames();

private:
    using Store = std::map<std::string, Tree>;  // SIP records in their XML form, by key
    using Names = std::vector<std::string>;
    using Element = std::optional<Tree>;
    using UiHandler = Element (AgentModel::*)(const Message&);
    using PlainHandler = void (AgentModel::*)(const Message&);

    static const std::map<std::string, UiHandler>& UiHandlers();
    static const std::map<std::string, PlainHandler>& PlainHandlers();

    // What leaves the agent.
    void Line(const std::string& line) { lines_.push_back(line); }
    void Ui(const Tree& element) { Line("ui " + ToText(element)); }
    void Event(const std::string& name, int id = -1, int state = -1);
    void Mark() { Line("mark"); }
    void Log(int level, const std::string& text);
    void Proxy(const std::string& request);
    void Tell(const DeviceFacts& device, const Names& words, Reaction reaction = Reaction::None);
    void TellAddress(const DeviceFacts& device);
    unsigned char AskSession(const DeviceFacts& device, const std::string& key);
    Element Pass(const DeviceFacts& device, const Message& message);

    // Devices.
    void CheckMode();
    std::vector<unsigned long> DeviceIds() const;
    const DeviceFacts* DeviceByKey(const std::string& key) const;
    Tree Order() const;
    Element GetDeviceList(const Message&) { return DeviceList(); }
    Element SetDeviceOrder(const Message& message);
    Element GetDeviceState(const Message& message);
    Element SetDeviceState(const Message& message);
    Element GetCustomButtons(const Message& message);
    Element AddUser(const Message& message);
    Element EraseUser(const Message& message);
    Element GetUser(const Message& message);
    void CustomButton(const Message& message);

    // Modes.
    void UpdateExternal();
    Element GetPopupTimeout(const Message&) { return Tree("timeout", std::to_string(popupTimeout_)); }
    Element SetPopupTimeout(const Message& message);
    Element GetIsExternal(const Message&);

    // Groups.
    bool NameIsFree(const std::string& name) const;
    Tree GroupTree(const Group& group) const;
    Tree GroupOrFail(int id) const;
    Group Everybody() const;
    Element Found(const std::string& name, const std::vector<unsigned long>& members);
    Element AddGroup(const Message& message);
    Element CopyGroup(const Message& message);
    Element DeleteGroup(const Message& message);
    Element GetGroupList(const Message&) { return GroupList(true); }
    Element GetGroup(const Message& message) { return GroupOrFail(message.Int("groupId")); }
    Element SetGroupState(const Message& message);
    Element GetSipUserGroup(const Message& message);
    static std::vector<unsigned long> IdsOf(const std::vector<Tree>& children);

    // Contacts.
    static std::map<std::string, Phone> PhonesOf(const std::vector<Tree>& children);
    static Contact ContactOf(const Tree& element);
    static Tree ContactTree(const Contact& contact);
    static Tree RecentTree(const Recent& call);
    std::vector<Contact>::iterator FindContact(int id);
    Element AddContact(const Message& message);
    Element DeleteContact(const Message& message);
    Element EditContact(const Message& message);
    Element GetContactList(const Message&) { return ContactList(); }
    Element GetRecentContactList(const Message&);
    Element DeleteRecentContact(const Message& message);
    Element ClearRecentContactList(const Message&);

    // SIP proxy.
    void LoadStore(const Tree& saved, const std::string& container, const Names& fields, Store& store) const;
    Element Added(const Message& message, bool stored);
    Element AddRecord(const Message& message, const Names& fields, Store& store);
    Element EraseRecord(const Message& message, Store& store);
    static Element Erase(Store& store, const std::string& key);
    static Element GetRecord(const Message& message, const Store& store);
    Element AddRoute(const Message& message);
    Element EraseRoute(const Message& message) { return EraseRecord(message, routes_); }
    Element GetRoute(const Message& message) { return GetRecord(message, routes_); }
    Element AddAcl(const Message& message);
    Element EraseAcl(const Message& message);
    Element GetAcl(const Message& message) { return GetRecord(message, acls_); }
    Element AddConfig(const Message& message);
    Element EraseConfig(const Message& message) { return EraseRecord(message, configs_); }
    Element GetConfig(const Message& message) { return GetRecord(message, configs_); }
    Element GetSipProxyIP(const Message&) { return Tree("sipProxyIP", proxyAddress_); }
    Element SetSipProxyIP(const Message& message);
    Element ApplySipProxyChanges(const Message&);
    Element EditService(const Message& message);
    Element GetServiceList(const Message&);
    Element RemoveService(const Message& message);

    // Calls.
    int VideoMode(const DeviceFacts& device, const std::string& call, int requested) const;
    std::string Address(const DeviceFacts& device) const { return device.name + "@" + proxyAddress_; }
    void RegularCall(const Message& message);
    void MonitorCall(const Message& message);
    void BroadcastCall(const Message& message);
    void ExternalCall(const Message& message);
    void Trace(const std::string& text) { Log(7, "IntercomAgent::EndOfflineSession - " + text); }
    void EndSession(const DeviceFacts& device, const std::string& local);
    void EndSessionWithPeer(const DeviceFacts& localDevice, const std::string& local,
                            const std::string& remote);

    void Load(const Tree& saved);

    Surroundings& surroundings_;
    std::vector<std::string>& lines_;
    unsigned long ownId_ = 0;
    int maxRecentCalls_ = 50;
    int nextGroupId_ = 1;
    int popupTimeout_ = 20;
    int mode_ = 1;
    bool external_ = false;
    std::string proxyAddress_;
    std::map<unsigned long, const DeviceFacts*> devices_;
    std::list<DeviceFacts> users_;
    std::vector<unsigned long> order_;
    std::map<int, Group> groups_;
    std::vector<Contact> contacts_;
    std::vector<Recent> recents_;
    int nextRecentId_ = 0;
    Store routes_, acls_, configs_, services_;
};

/// What the host library writes about a device: everything (property 0) or one property.
Tree DeviceTree(const DeviceFacts& device, int property);

Tree Success();
Tree Fail(const std::string& reason = "");

}  // namespace model

#endif
