#include "tests/drivers/PanelFixture.h"

#include <algorithm>

#include "host/interfaces/InterfaceIds.h"

namespace test {

dv::auto_com<DvXML::INode> Element(const std::string& xml) {
    const auto document = DvXML::CreateXmlDocument("none");
    EXPECT_EQ(0, document->DocumentParse(xml)) << document->DocumentGetError();
    return dv::auto_com<DvXML::INode>::share(document->DocumentGetRoot());
}

std::string Ui(IDriver& driver, const std::string& command, const Parameters& parameters) {
    dv::auto_com<DvXML::INode> reply;
    EXPECT_TRUE(driver.GetUICmdDispatcher().Dispatch(*Message(command, parameters), reply)) << command;
    return Text(reply);
}

PanelFixture::~PanelFixture() {
    while (!places_.empty())
        DeletePanel(*places_.back().panel);
}

Panel& PanelFixture::CreatePanel() {
    auto host = std::make_unique<FakeHost>(recorder);
    if (agentRuns_)
        host->InstanceRegisterInterface(IntercomAgentInterfaceId, static_cast<IIntercomAgent*>(&agent));
    auto panel = std::make_unique<Panel>(*host);
    places_.push_back({std::move(host), std::move(panel)});
    ShowDrivers();
    return *places_.back().panel;
}

Panel& PanelFixture::NewPanel(unsigned long id, const std::string& config) {
    Panel& panel = CreatePanel();
    EXPECT_EQ(0, panel.Initialize(id, *Element("<config>" + config + "</config>"), nullptr));
    return panel;
}

void PanelFixture::DeletePanel(Panel& panel) {
    const auto place = std::find_if(places_.begin(), places_.end(),
                                    [&](const Place& candidate) { return candidate.panel.get() == &panel; });
    ASSERT_NE(places_.end(), place);
    panel.OnDestroy();
    places_.erase(place);
    ShowDrivers();
}

void PanelFixture::StartAgent() {
    agentRuns_ = true;
    for (const Place& place : places_)
        place.host->InstanceRegisterInterface(IntercomAgentInterfaceId, static_cast<IIntercomAgent*>(&agent));
}

void PanelFixture::StopAgent() {
    agentRuns_ = false;
    for (const Place& place : places_)
        place.host->InstanceUnregisterInterface(IntercomAgentInterfaceId);
    for (const auto& [id, device] : agent.devices)
        device->disconnectAgent();
    agent.devices.clear();
}

std::string PanelFixture::OperationsOf(Panel& panel) {
    std::string text;
    const auto operations = panel.Recorded().ToXml();
    for (DvXML::INode* const operation : operations->NodeChildren())
        text += operation->NodeToText();
    return text;
}

// Every host shows all panels, as one host would.
void PanelFixture::ShowDrivers() {
    std::vector<ISupportIntercom*> all;
    for (const Place& place : places_)
        all.push_back(place.panel.get());
    for (const Place& place : places_)
        place.host->drivers = all;
}

}  // namespace test
