#include "tests/drivers/calls/CallingFixture.h"

#include "host/interfaces/InterfaceIds.h"
#include "tests/support/process/Patience.h"

namespace test {

using telephony::CallReport;
using telephony::Event;
using telephony::EventKind;
using telephony::LegRole;

void ThreadedHost::RunPosted() {
    while (true) {
        std::unique_lock lock(mutex_);
        if (posted_.empty()) return;
        const boost::function<void()> work = posted_.front();
        posted_.pop_front();
        lock.unlock();
        work();
    }
}

long ThreadedHost::InstanceRegisterInterface(const std::string& id, void* object) {
    return host_.InstanceRegisterInterface(id, object);
}

long ThreadedHost::InstanceUnregisterInterface(const std::string& id) {
    return host_.InstanceUnregisterInterface(id);
}

long ThreadedHost::RegisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                                    unsigned long number) {
    return host_.RegisterListener(callback, eventClass, number);
}

long ThreadedHost::UnregisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                                      unsigned long number) {
    return host_.UnregisterListener(callback, eventClass, number);
}

void ThreadedHost::WriteLog(unsigned int level, const std::string& text) {
    PostToDriverThread([this, level, text] {
        logged_ += text + "\n";
        host_.WriteLog(level, text);
    });
}

void ThreadedHost::PostToDriverThread(boost::function<void()> work) {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(work));
}

void HomeAgent::AddIntercomDevice(unsigned long id, ISupportIntercom* device) {
    fake.AddIntercomDevice(id, device);
}

void HomeAgent::OnDeviceChanged(unsigned long id, dvIntercom::DeviceProps prop) {
    fake.OnDeviceChanged(id, prop);
}

dv::auto_com<DvXML::INode> HomeAgent::GetDeviceList() {
    auto list = DvXML::CreateXmlNode("devices", "");
    for (const auto& [id, device] : fake.devices)
        list->NodeAddChild(device->toXml(dvIntercom::DEVICE_CHANGED).get());
    return list;
}

void HomeAgent::AddRecentContact(const std::string& displayName, const std::string& address,
                                 const std::string& callTime, const std::string& callLength, bool received,
                                 bool accepted) {
    callTimes.emplace_back(callTime, callLength);
    fake.AddRecentContact(displayName, address, "", "", received, accepted);
}

void HomeAgent::GetDeviceListByGroup(std::vector<unsigned long>& out, int id) {
    fake.GetDeviceListByGroup(out, id);
}

void HomeAgent::EndOfflineSession(const std::string& local, const std::string& remote) {
    fake.EndOfflineSession(local, remote);
}

CallingFixture::CallingFixture() {
    host.InstanceRegisterInterface(IntercomAgentInterfaceId, static_cast<IIntercomAgent*>(&agent));
    control = std::make_unique<FakeCallControl>(folder / "calls");
    AddNeighbour(102, "kitchen", "Kitchen");
    AddNeighbour(103, "attic", "Attic");
    linkTimes.firstRetry = std::chrono::milliseconds(1);
    linkTimes.longestRetry = std::chrono::milliseconds(20);
    linkTimes.answer = 10 * kPatience;
}

CallingFixture::~CallingFixture() {
    for (Neighbour& neighbour : neighbours_)
        neighbour.phone->OnDestroy();
}

void CallingFixture::AddNeighbour(unsigned long id, const std::string& key, const std::string& name) {
    auto own = std::make_unique<FakeHost>(recorder);
    own->InstanceRegisterInterface(IntercomAgentInterfaceId, static_cast<IIntercomAgent*>(&agent));
    auto neighbour = std::make_unique<Phone>(*own);
    const auto config = Element("<config><key>" + key + "</key><name>" + name +
                                "</name><password>p</password><ringDoorbell>true</ringDoorbell></config>");
    EXPECT_EQ(0, neighbour->Initialize(id, *config, nullptr));
    neighbours_.push_back({std::move(own), std::move(neighbour)});
}

nlohmann::json CallingFixture::Greet() {
    EXPECT_TRUE(control->Accept());
    const nlohmann::json hello = control->Read();
    control->Send(control->snapshot);
    EXPECT_TRUE(IsLogged("call control is there"));
    return hello;
}

bool CallingFixture::Eventually(const std::function<bool()>& condition) {
    return test::Eventually([&] {
        host.RunPosted();
        return condition();
    });
}

// What comes after it is logged: then it has been taken.
void CallingFixture::Tell(const Event& event) {
    static int count = 0;
    Event after = About(EventKind::Dtmf, "", "mark" + std::to_string(++count));
    after.digits = "1";
    control->Send(event);
    control->Send(after);
    EXPECT_TRUE(IsLogged(after.leg + " sent")) << telephony::ToLine(event);
}

bool CallingFixture::IsLogged(const std::string& text) {
    return Eventually([&] { return host.Logged().find(text) != std::string::npos; });
}

CallReport CallingFixture::Call(const std::string& id, const std::string& from,
                                const std::vector<std::string>& to, telephony::CallKind kind) const {
    CallReport report;
    report.id = id;
    report.kind = kind;
    report.state = "calling";
    telephony::LegReport leg;
    leg.user = from;
    leg.role = LegRole::Caller;
    report.legs = {leg};
    leg.role = LegRole::Callee;
    for (const std::string& user : to) {
        leg.user = user;
        report.legs.push_back(leg);
    }
    return report;
}

Event CallingFixture::About(EventKind kind, const std::string& id, const std::string& leg, int code) const {
    Event event;
    event.kind = kind;
    event.id = id;
    event.leg = leg;
    event.code = code;
    return event;
}

Event CallingFixture::Calling(const CallReport& call) const {
    Event event = About(EventKind::Calling, call.id);
    event.call = call;
    return event;
}

}  // namespace test
