// A phone's settings, and its meeting with the agent.
#include "tests/drivers/phone/PhoneFixture.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class PhoneSettings : public test::PhoneFixture {};

TEST_F(PhoneSettings, RegistersWithTheAgentAndIsTakenOutAtItsEnd) {
    Start();
    Stop();
    EXPECT_THAT(recorder.Take("agent"),
                ElementsAre("agent AddIntercomDevice 102", "agent AddIntercomDevice 103",
                            "agent AddIntercomDevice 101", "agent OnDeviceRemoved 101"));
}

TEST_F(PhoneSettings, EverySetterIsAPropertyEventOnce) {
    StartConnected();
    for (int i = 0; i < 2; ++i) {
        phone->setDnD(true);
        phone->setAutoAnswer(true);
        phone->setMonitorMode(true);
        phone->setAnswerWithVideo(true);
        phone->setExcludeFromNav(true);
        phone->setRingDoorbell(true);
        phone->setCurrentState(9);
    }
    std::vector<std::string> properties;
    for (const std::string& line : TakeAgent())
        properties.push_back(line.substr(0, line.find(" <")));
    EXPECT_THAT(properties, ElementsAre("agent OnDeviceChanged 101 2", "agent OnDeviceChanged 101 3",
                                        "agent OnDeviceChanged 101 4", "agent OnDeviceChanged 101 6",
                                        "agent OnDeviceChanged 101 7", "agent OnDeviceChanged 101 8",
                                        "agent OnDeviceChanged 101 5"));
    EXPECT_TRUE(phone->getDnD() && phone->getAutoAnswer() && phone->getMonitorMode() &&
                phone->getAnswerWithVideo() && phone->getExcludeFromNav() && phone->getRingDoorbell());
    EXPECT_EQ(9, phone->getCurrentState());
}

TEST_F(PhoneSettings, SetDeviceStateTakesTheSettingsByNameAndSaysWhatIsWrong) {
    StartConnected();
    phone->setDeviceState(*test::Message(
        "setDeviceState",
        {{"dnd", "true"}, {"speakerVolume", "40"}, {"state", "7"}, {"autoAnswer", "perhaps"}}));
    EXPECT_TRUE(phone->getDnD());
    EXPECT_EQ(40, phone->getSpeakerVol());
    EXPECT_EQ(7, phone->getCurrentState());
    EXPECT_TRUE(IsLogged("setDeviceState: autoAnswer must be true or false, not \"perhaps\""));
}

TEST_F(PhoneSettings, TheStateIsWhatItWasAfterACall) {
    StartConnected();
    phone->setCurrentState(9);
    BeCalledByTheKitchen();
    EXPECT_EQ(3, phone->getCurrentState());
    Tell(About(telephony::EventKind::LegDown, "1", "kitchen", 200));
    EXPECT_EQ(9, phone->getCurrentState());
}

TEST_F(PhoneSettings, AStateThatIsSetHidesNeitherACallNorThatThePhoneIsAway) {
    StartConnected();
    BeCalledByTheKitchen();
    phone->setCurrentState(0);
    EXPECT_EQ(3, phone->getCurrentState());
    Tell(About(telephony::EventKind::LegDown, "1", "kitchen", 200));
    EXPECT_EQ(0, phone->getCurrentState());
    auto lost = About(telephony::EventKind::Lost, "");
    lost.phone.user = "hall";
    Tell(lost);
    phone->setCurrentState(9);
    EXPECT_EQ(4, phone->getCurrentState());
}

TEST_F(PhoneSettings, SettingsOutliveARestart) {
    StartConnected();
    phone->setDnD(true);
    phone->setSpeakerVol(12, true);
    EXPECT_THAT(recorder.Take("mark"), ElementsAre("mark", "mark"));
    const auto state = phone->GetPersistState(0);
    Stop();
    Start("<dnd>false</dnd>", state.get());
    EXPECT_TRUE(phone->getDnD());
    EXPECT_EQ(12, phone->getSpeakerVol());
}

TEST_F(PhoneSettings, ADeviceOfTheConfigurationIsDescribed) {
    Start(
        "<user>hall-phone</user><doorStation>true</doorStation><camera>true</camera><display>1</display>"
        "<ringDoorbell>true</ringDoorbell>");
    const std::string text = phone->toXml(dvIntercom::DEVICE_CHANGED)->NodeToText();
    for (const char* const part : {"<key>hall</key><name>Hall</name><version>2</version><state>4</state>",
                                   "<ringDoorbell>true", "<doorStation>true", "<thirdParty>true",
                                   "<camera>true", "<display>true", "<user>hall-phone</user>"})
        EXPECT_THAT(text, HasSubstr(part));
}

TEST_F(PhoneSettings, ADeviceThatAnswersByItselfIsCalledWithoutRinging) {
    StartConnected();
    agent.GetIntercomDevice(102)->setAutoAnswer(true);
    phone->StartSipCall(dvIntercom::MEDIA_SEND_RECEIVE, dvIntercom::MEDIA_NONE, "Kitchen@10.0.0.2");
    EXPECT_EQ(false, control->Read().at("ring"));
}

TEST_F(PhoneSettings, MembersOfAGroupThatMustNotBeDisturbedAreLeftOut) {
    StartConnected();
    agent.GetIntercomDevice(102)->setDnD(true);
    phone->StartSipCall(dvIntercom::MEDIA_SEND_RECEIVE, dvIntercom::MEDIA_NONE, "doorbell@10.0.0.2");
    EXPECT_EQ(nlohmann::json::array({"attic"}), control->Read().at("to"));
}

}  // namespace
