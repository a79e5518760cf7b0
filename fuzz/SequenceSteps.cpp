// One step: which one, and with what, the bytes say.
#include <iterator>

#include "fuzz/SequenceHome.h"
#include "fuzz/Values.h"
#include "host/glue/XmlText.h"
#include "tests/model/Pools.h"

namespace fuzz {

namespace pools = model::pools;

// Commands are what happens most.
void SequenceHome::Step() {
    static constexpr void (SequenceHome::*steps[])() = {
        &SequenceHome::UiCommand,      &SequenceHome::UiCommand,      &SequenceHome::UiCommand,
        &SequenceHome::UiCommand,      &SequenceHome::UiCommand,      &SequenceHome::PlainCommand,
        &SequenceHome::AskAgent,       &SequenceHome::ReportCall,     &SequenceHome::AddDevice,
        &SequenceHome::AddDevice,      &SequenceHome::AddFound,       &SequenceHome::Event,
        &SequenceHome::ChangeFacts,    &SequenceHome::LetDeviceReact, &SequenceHome::LetDeviceReact,
        &SequenceHome::AnswerOfSysman, &SequenceHome::RestartAgent};
    (this->*steps[bytes_.Below(std::size(steps))])();
}

test::Parameters SequenceHome::ParametersOf(const Command& command) {
    test::Parameters parameters;
    for (const std::string& name : command.parameters) {
        constexpr unsigned int absent = 250;
        if (bytes_.Byte() >= absent) continue;
        parameters.emplace_back(name, Value(bytes_, name));
    }
    return parameters;
}

void SequenceHome::UiCommand() {
    const Command& command = bytes_.Pick(UiCommands());
    const auto message = test::Message(command.name, ParametersOf(command));
    dv::auto_com<DvXML::INode> reply;
    Require(Driver().GetUICmdDispatcher().Dispatch(*message, reply), "a listed command is answered");
    CheckReply("a reply", reply);
}

void SequenceHome::PlainCommand() {
    const Command& command = bytes_.Pick(PlainCommands());
    Plain(command.name, ParametersOf(command));
}

void SequenceHome::AskAgent() {
    const unsigned long id = DeviceId(bytes_);
    const std::string key = Key(bytes_);
    std::vector<unsigned long> ids;
    switch (bytes_.Below(10)) {
        case 0:
            return CheckReply("the groups", Agent().GetGroupList(bytes_.Flag()));
        case 1:
            return CheckReply("the devices", Agent().GetDeviceList());
        case 2:
            return CheckReply("the contacts", Agent().GetContactList());
        case 3:
            return void(Agent().GetDeviceAOR(id));
        case 4:
            return void(Agent().GetPopupTimeout());
        case 5:
            return Agent().GetDeviceListByGroup(ids, static_cast<int>(bytes_.Below(6)));
        case 6:
            return Agent().OnDeviceRemoved(id);
        case 7:
            return Agent().OnDeviceChanged(id, static_cast<dvIntercom::DeviceProps>(bytes_.Below(12)));
        case 8:
            return Agent().EndOfflineSession(key, Key(bytes_));
        default:
            return Delete(bytes_.Below(kSlots));
    }
}

void SequenceHome::ReportCall() {
    const std::string name = Text(bytes_);
    const std::string address = Key(bytes_);
    for (std::size_t count = 1 + bytes_.Below(60); count > 0; --count) {
        const std::string length = Text(bytes_);
        const bool received = bytes_.Flag();
        Agent().AddRecentContact(name, address, "now", length, received, bytes_.Flag());
    }
}

void SequenceHome::AddDevice() {
    const std::size_t slot = bytes_.Below(kSlots + 1);
    if (slot == kSlots) return Agent().AddIntercomDevice(DeviceId(bytes_), nullptr);
    const test::FakeDevice& device = Device(slot);
    Register(slot, bytes_.Byte() < 200 ? device.id : DeviceId(bytes_));
}

// Whatever is registered under an id, a SIP user perhaps, once more under another one.
void SequenceHome::AddFound() {
    const unsigned long id = DeviceId(bytes_);
    ISupportIntercom* const found = Agent().GetIntercomDevice(DeviceId(bytes_));
    ids_.insert(id);
    Agent().AddIntercomDevice(id, found);
}

void SequenceHome::Event() {
    constexpr unsigned int classes[] = {11, 8, 12};
    const unsigned int eventClass = classes[bytes_.Below(std::size(classes))];
    const std::string item = std::to_string(DeviceId(bytes_));
    const std::string room = bytes_.Flag() ? item : bytes_.Pick(pools::kIdTexts);
    SystemEvent(bytes_.Pick(pools::kEventNames), {{"iditem", item}, {"idroom", room}}, eventClass);
}

void SequenceHome::AnswerOfSysman() {
    bytes_.Flag() ? sysman.FailToOpen() : sysman.Reply(Text(bytes_));
}

void SequenceHome::ChangeFacts() {
    test::FakeDevice& device = Device(bytes_.Below(kSlots));
    device.version = static_cast<int>(bytes_.Below(4));
    device.deviceKey = Key(bytes_);
    device.intercomName = Text(bytes_);
    device.passAnswer = bytes_.Flag() ? "buttons" : "";
    device.passAnswerText = Text(bytes_);
    const std::string remote = Key(bytes_);
    device.sessions[remote] = static_cast<unsigned char>(bytes_.Byte());
    const unsigned int flags = bytes_.Byte();
    device.doorStation = flags & 1U;
    device.thirdParty = flags & 2U;
    device.camera = flags & 4U;
    device.display = flags & 8U;
    device.monitorMode = flags & 16U;
    device.autoAnswer = flags & 32U;
    device.excludeFromNav = flags & 64U;
    device.dnd = flags & 128U;
}

// Inside the next call of an operation, once: what calls itself for ever would be the driver's fault.
void SequenceHome::LetDeviceReact() {
    static const std::vector<std::string> operations = {
        "getVersion",     "disconnectAgent",   "setDeviceState",     "getKey",           "findSessionId",
        "toXml",          "updateSipInfo",     "isDoorStation",      "is3rdParty",       "getDnD",
        "getMonitorMode", "getExcludeFromNav", "getAnswerWithVideo", "PassToDriver",     "getIntercomName",
        "hasCamera",      "hasDisplay",        "StartSip",           "HangupSipSession", "requestToAddDevice",
        "getDeviceId",    "getCurrentState"};
    const std::size_t slot = bytes_.Below(kSlots);
    test::FakeDevice& device = Device(slot);
    const std::string& operation = bytes_.Pick(operations);
    device.Next(operation, Reaction(slot));
}

// With nothing, with what it has saved, or with any document.
void SequenceHome::RestartAgent() {
    dv::auto_com<DvXML::INode> saved;
    switch (bytes_.Below(4)) {
        case 0:
            break;
        case 1:
            saved = DvXML::ParseRoot(bytes_.Text(200));
            break;
        default:
            saved = RequireXml("the state", State());
    }
    SetAddress(bytes_.Pick(pools::kAddresses));
    try {
        Stop();
    } catch (const DriverTrouble&) {
        // Passed on after everything was done; the host ends the agent all the same.
    }
    DriverFixture::Delete();
    Create();
    Driver().Initialize(kDriverId, *DvXML::CreateXmlNode("config", ""), saved.get());
}

}  // namespace fuzz
