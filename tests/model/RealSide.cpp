#include "tests/model/RealSide.h"

#include "agent/IntercomAgent.h"
#include "host/glue/CmdMessage.h"
#include "host/glue/NetworkInterfaces.h"
#include "host/interfaces/InterfaceIds.h"

namespace model {
namespace {

using NodePtr = dv::auto_com<DvXML::INode>;

NodePtr NodeOf(const Tree& tree) {
    NodePtr node = DvXML::CreateXmlNode(tree.name, tree.text);
    for (const auto& [name, value] : tree.attributes)
        node->NodeSetAttribute(name, value);
    for (const Tree& child : tree.children)
        node->NodeAddChild(NodeOf(child).get());
    return node;
}

/// Null if the text is not a document.
NodePtr Parsed(const std::string& text) {
    const dv::auto_com<DvXML::IDocument> document = DvXML::CreateXmlDocument("none");
    if (document->DocumentParse(text) != 0) return nullptr;
    return NodePtr::share(document->DocumentGetRoot());
}

dv::auto_com<dv::CmdMessage> MessageOf(const Message& message) {
    dv::auto_com<dv::CmdMessage> command = dv::CmdMessage::Create(message.name);
    for (const Parameter& parameter : message.parameters)
        command->AddParameter(parameter.name, parameter.text);
    return command;
}

}  // namespace

FactDevice::FactDevice(test::Recorder& recorder, const DeviceFacts& facts, IIntercomAgent*& agent)
    : FakeDevice(recorder, facts.id, facts.label), agent_(agent) {
    Become(facts);
}

void FactDevice::Become(const DeviceFacts& facts) {
    facts_ = facts;
    id = facts.id;
    version = facts.version;
    deviceKey = facts.key;
    intercomName = facts.name;
    doorStation = facts.doorStation;
    thirdParty = facts.thirdParty;
    dnd = facts.dnd;
    currentState = facts.state;
    autoAnswer = facts.autoAnswer;
    monitorMode = facts.monitorMode;
    answerWithVideo = facts.answerWithVideo;
    speakerVolume = facts.volume;
    excludeFromNav = facts.excludeFromNav;
    ringDoorbell = facts.ringDoorbell;
    camera = facts.camera;
    display = facts.display;
    sessions = facts.sessions;
    passAnswer = facts.buttons ? facts.buttons->name : "";
    passAnswerText = facts.buttons ? facts.buttons->text : "";
}

NodePtr FactDevice::toXml(dvIntercom::DeviceProps prop) {
    return ISupportIntercom::toXml(prop);
}

void FactDevice::React(Reaction reaction) {
    switch (reaction) {
        case Reaction::None:
            return;
        case Reaction::Announce:
            return agent_->OnDeviceChanged(id, dvIntercom::DEVICE_UPDATED);
        case Reaction::Report:
            return agent_->AddRecentContact(intercomName, deviceKey, "now", "1", true, false);
        case Reaction::Leave:
            return agent_->OnDeviceRemoved(id);
        case Reaction::Evict:
            return agent_->OnDeviceRemoved(facts_.victim);
    }
}

void FactDevice::requestToAddDevice() {
    FakeDevice::requestToAddDevice();
    if (facts_.answersRequests) agent_->AddIntercomDevice(id, this);
}

void FactDevice::disconnectAgent() {
    FakeDevice::disconnectAgent();
    React(facts_.onDisconnect);
}

void FactDevice::updateSipInfoFromDriver(const std::string& address) {
    FakeDevice::updateSipInfoFromDriver(address);
    React(facts_.onAddress);
}

void FactDevice::StartSipCall(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                              const std::string& address) {
    FakeDevice::StartSipCall(audio, video, address);
    React(facts_.onCall);
}

void FactDevice::StartSipMonitor(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                                 const std::string& address) {
    FakeDevice::StartSipMonitor(audio, video, address);
    React(facts_.onCall);
}

void FactDevice::StartSipBroadcast(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                                   const std::vector<std::string>& addresses) {
    FakeDevice::StartSipBroadcast(audio, video, addresses);
    React(facts_.onCall);
}

void FactDevice::HangupSipSession(unsigned char session) {
    FakeDevice::HangupSipSession(session);
    React(facts_.onHangup);
}

RealSide::RealSide(const Surroundings& surroundings) : address_(surroundings.address) {
    sysman_.emplace(recorder_);
    for (const DeviceFacts& facts : surroundings.drivers) {
        drivers_.push_back(std::make_unique<FactDevice>(recorder_, facts, published_));
        host_.drivers.push_back(drivers_.back().get());
    }
    NetworkInterfaces::Override(address_);
    recorder_.Every(std::string("register ") + IntercomAgentInterfaceId, [this] {
        published_ = static_cast<IIntercomAgent*>(host_.InstanceFindInterface(IntercomAgentInterfaceId));
    });
}

RealSide::~RealSide() {
    if (agent_) Stop();
    NetworkInterfaces::Override(std::nullopt);
}

void RealSide::Start(unsigned long ownId, DvXML::INode* saved) {
    agent_.reset(IntercomAgent::Create(host_));
    agent_->Initialize(ownId, *DvXML::CreateXmlNode("config", ""), saved);
}

void RealSide::Stop() {
    agent_->OnDestroy();
    agent_.reset();
    published_ = nullptr;
}

std::string RealSide::State() {
    return agent_->GetPersistState(0)->NodeToText();
}

std::string RealSide::StateAfter(const std::string& state) {
    const NodePtr saved = Parsed(state);
    if (!saved) return "a document that cannot be read";
    test::Recorder unheard;
    test::FakeHost host(unheard);
    sysman_.emplace(unheard);
    NetworkInterfaces::Override("");
    std::unique_ptr<IDriver> agent(IntercomAgent::Create(host));
    agent->Initialize(1, *DvXML::CreateXmlNode("config", ""), saved.get());
    const std::string after = agent->GetPersistState(0)->NodeToText();
    agent->OnDestroy();
    agent.reset();
    NetworkInterfaces::Override(address_);
    sysman_.emplace(recorder_);
    return after;
}

std::vector<std::string> RealSide::Take() {
    std::vector<std::string> lines = recorder_.Take();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("find "); });
    return lines;
}

void RealSide::Restart(const Step& step) {
    NodePtr saved;
    if (step.saved == SavedAs::OwnNode) saved = agent_->GetPersistState(0);
    if (step.saved == SavedAs::OwnText) saved = Parsed(State());
    if (step.saved == SavedAs::OtherText) saved = Parsed(step.treeText);
    Stop();
    address_ = step.text;
    NetworkInterfaces::Override(address_);
    Start(step.id, saved.get());
}

std::string RealSide::Dispatch(const Message& message) {
    NodePtr reply;
    if (!agent_->GetUICmdDispatcher().Dispatch(*MessageOf(message), reply)) return kNoSuchCommand;
    return reply ? reply->NodeToText() : kNoElement;
}

void RealSide::DispatchPlain(const Message& message) {
    if (!agent_->GetCmdDispatcher().Dispatch(*MessageOf(message))) Answer(kNoSuchCommand);
}

ISupportIntercom* RealSide::Driver(int slot) const {
    return slot == kNoDevice ? nullptr : drivers_[static_cast<std::size_t>(slot)].get();
}

/// A registered device that does not belong to one of our drivers is one of the agent's own users.
std::string RealSide::Who(ISupportIntercom* device) const {
    if (!device) return kNobody;
    for (const auto& driver : drivers_) {
        if (driver.get() == device) return driver->Label();
    }
    return "user " + std::to_string(device->getDeviceId());
}

std::string RealSide::GroupText(int groupId) {
    std::vector<unsigned long> ids = kIdsBefore;
    published_->GetDeviceListByGroup(ids, groupId);
    return IdsText(ids);
}

std::string RealSide::Query(const std::string& interfaceId) {
    void* found = this;
    const long result = agent_->QueryInterface(interfaceId, &found);
    if (result == 0 && static_cast<IIntercomAgent*>(found) == published_) return "the agent";
    return result < 0 && !found ? kNobody : "result " + std::to_string(result);
}

void RealSide::Deliver(const Step& step) {
    const std::size_t told = host_.Deliver(static_cast<unsigned int>(step.number), *NodeOf(*step.tree));
    if (told == 0) Answer(kNobodyListens);
}

void RealSide::Apply(const Step& step) {
    sysman_.reset();
    sysman_.emplace(recorder_);
    for (const SysmanReply& reply : step.replies)
        reply ? sysman_->Reply(*reply) : sysman_->FailToOpen();
    switch (step.kind) {
        case StepKind::UiCommand:
            Answer(Dispatch(step.message));
            break;
        case StepKind::PlainCommand:
            DispatchPlain(step.message);
            break;
        case StepKind::AddDevice:
            published_->AddIntercomDevice(step.id, Driver(step.slot));
            break;
        case StepKind::AddFound:
            published_->AddIntercomDevice(step.id, published_->GetIntercomDevice(step.otherId));
            break;
        case StepKind::RemoveDevice:
            published_->OnDeviceRemoved(step.id);
            break;
        case StepKind::ChangeDevice:
            published_->OnDeviceChanged(step.id, static_cast<dvIntercom::DeviceProps>(step.number));
            break;
        case StepKind::GetGroupList:
            Answer(published_->GetGroupList(step.flag)->NodeToText());
            break;
        case StepKind::GetDeviceList:
            Answer(published_->GetDeviceList()->NodeToText());
            break;
        case StepKind::GetDeviceAOR:
            Answer(published_->GetDeviceAOR(step.id));
            break;
        case StepKind::GetContactList:
            Answer(published_->GetContactList()->NodeToText());
            break;
        case StepKind::AddRecentContact:
            published_->AddRecentContact(step.call.displayName, step.call.address, step.call.time,
                                         step.call.length, step.call.received, step.call.accepted);
            break;
        case StepKind::GetPopupTimeout:
            Answer(std::to_string(published_->GetPopupTimeout()));
            break;
        case StepKind::GetDeviceListByGroup:
            Answer(GroupText(step.number));
            break;
        case StepKind::GetIntercomDevice:
            Answer(Who(published_->GetIntercomDevice(step.id)));
            break;
        case StepKind::EndOfflineSession:
            published_->EndOfflineSession(step.text, step.otherText);
            break;
        case StepKind::SystemEvent:
            Deliver(step);
            break;
        case StepKind::QueryInterface:
            Answer(Query(step.text));
            break;
        case StepKind::ChangeFacts:
            drivers_[static_cast<std::size_t>(step.slot)]->Become(step.facts);
            break;
        case StepKind::Restart:
            Restart(step);
            break;
    }
}

}  // namespace model
