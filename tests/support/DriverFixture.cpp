#include "tests/support/DriverFixture.h"

#include <stdexcept>

#include "host/glue/CmdDispatchers.h"
#include "host/glue/CmdMessage.h"
#include "host/glue/NetworkInterfaces.h"
#include "host/glue/XmlText.h"
#include "host/interfaces/InterfaceIds.h"

namespace test {

namespace {

dv::auto_com<DvXML::INode> Parse(const std::string& xml) {
    auto root = DvXML::ParseRoot(xml);
    if (!root) throw std::invalid_argument("not XML: " + xml);
    return root;
}

// <event><name>NAME</name><param><name>iditem</name>42</param></event>
dv::auto_com<DvXML::INode> SystemEventNode(const std::string& name, const Parameters& parameters) {
    auto event = DvXML::CreateXmlNode("event", "");
    event->NodeAddNamedValue("name", name);
    for (const auto& [parameter, value] : parameters) {
        const auto child = DvXML::CreateXmlNode("param", value);
        child->NodeAddNamedValue("name", parameter);
        event->NodeAddChild(child.get());
    }
    return event;
}

}  // namespace

DriverFixture::DriverFixture() {
    SetAddress("");
}

DriverFixture::~DriverFixture() {
    NetworkInterfaces::Override(std::nullopt);
}

void DriverFixture::TearDown() {
    recorder.ForgetActions();  // they may speak of variables of the test that are gone
    if (initialized_) Stop();
    Delete();
}

void DriverFixture::Initialize(const std::string& savedXml) {
    const auto config = DvXML::CreateXmlNode("config", "");
    dv::auto_com<DvXML::INode> saved;
    if (!savedXml.empty()) saved = Parse(savedXml);
    initialized_ = true;
    EXPECT_EQ(0, Driver().Initialize(kDriverId, *config, saved.get()));
}

void DriverFixture::Start(const std::string& savedXml) {
    Create();
    Initialize(savedXml);
    Take();
}

void DriverFixture::Stop() {
    initialized_ = false;
    Driver().OnDestroy();
    EXPECT_TRUE(host.Published().empty()) << "the driver left an interface published";
    EXPECT_TRUE(host.Listeners().empty()) << "the driver left a listener registered";
}

void DriverFixture::Delete() {
    delete driver_;
    driver_ = nullptr;
}

void DriverFixture::Restart() {
    const std::string state = State();
    Stop();
    Delete();
    Start(state);
}

IDriver& DriverFixture::Driver() {
    if (!driver_) throw std::logic_error("there is no driver: call Start or Create first");
    return *driver_;
}

IIntercomAgent& DriverFixture::Drivers() {
    auto* const published =
        static_cast<IIntercomAgent*>(host.InstanceFindInterface(IntercomAgentInterfaceId));
    if (!published) throw std::logic_error("no agent has published its interface");
    return *published;
}

std::string DriverFixture::Ui(const std::string& command, const Parameters& parameters) {
    dv::auto_com<DvXML::INode> reply;
    const bool known = Driver().GetUICmdDispatcher().Dispatch(*Message(command, parameters), reply);
    EXPECT_TRUE(known) << "no such UI command: " << command;
    return Text(reply);
}

void DriverFixture::Plain(const std::string& command, const Parameters& parameters) {
    const bool known = Driver().GetCmdDispatcher().Dispatch(*Message(command, parameters));
    EXPECT_TRUE(known) << "no such plain command: " << command;
}

void DriverFixture::SystemEvent(const std::string& name, const Parameters& parameters,
                                unsigned int eventClass) {
    const std::size_t told = host.Deliver(eventClass, *SystemEventNode(name, parameters));
    EXPECT_EQ(1U, told) << "listeners of class " << eventClass;
}

std::string DriverFixture::State() {
    return Text(Driver().GetPersistState(0));
}

FakeDevice& DriverFixture::NewDevice(unsigned long id, int version, const std::string& label) {
    devices_.push_back(std::make_unique<FakeDevice>(recorder, id, label));
    devices_.back()->version = version;
    return *devices_.back();
}

FakeDevice& DriverFixture::AddDevice(unsigned long id, int version, const std::string& label) {
    FakeDevice& device = NewDevice(id, version, label);
    Drivers().AddIntercomDevice(id, &device);
    Take();
    return device;
}

void DriverFixture::DeleteDevice(FakeDevice& device) {
    std::erase_if(devices_, [&](const auto& own) { return own.get() == &device; });
}

void DriverFixture::SetAddress(const std::string& address) {
    NetworkInterfaces::Override(address);
}

dv::auto_com<ICmdMessage> Message(const std::string& command, const Parameters& parameters) {
    dv::auto_com<dv::CmdMessage> message = dv::CmdMessage::Create(command);
    for (const auto& [name, value] : parameters)
        message->AddParameter(name, value);
    return message;
}

std::string Text(const dv::auto_com<DvXML::INode>& element) {
    return element ? element->NodeToText() : "(none)";
}

}  // namespace test
