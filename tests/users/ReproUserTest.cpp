// A SIP user as a device: its id, its fields and its fixed answers.
#include "devices/ReproUser.h"

#include "tests/support/AgentFixture.h"

namespace {

using dvIntercom::DeviceProps;
using test::Message;
using test::Text;

class User : public testing::Test {
protected:
    std::string Id() const { return "<id>" + std::to_string(user.getDeviceId()) + "</id>"; }
    std::string Described(int prop) { return Text(device.toXml(static_cast<DeviceProps>(prop))); }

    ReproUser user{*Message("addUser", {{"key", "ann@home"},
                                        {"user", "ann"},
                                        {"domain", "home"},
                                        {"realm", "realm"},
                                        {"password", "s3cret"},
                                        {"name", "Ann Bell"},
                                        {"email", "ann@mail"},
                                        {"forwardAddress", "bob@home"}})};
    ISupportIntercom& device = user;
};

TEST_F(User, HasAnIdHigherByOneThanTheUserBefore) {
    const ReproUser next(*Message("addUser", {}));
    EXPECT_EQ(user.getDeviceId() + 1, next.getDeviceId());
    EXPECT_LE(ReproUser::BASE_REPRO_USER_ID, user.getDeviceId());
    EXPECT_EQ(99999UL, ReproUser::BASE_REPRO_USER_ID);
}

TEST_F(User, NeverGetsAnIdAgain) {
    const unsigned long first = ReproUser(*Message("addUser", {})).getDeviceId();
    const unsigned long second = ReproUser(*Message("addUser", {})).getDeviceId();
    EXPECT_EQ(first + 1, second);
}

TEST_F(User, AnswersItsKeyAndTheUserFieldAsItsName) {
    EXPECT_EQ("ann@home", device.getKey());
    EXPECT_EQ("ann", device.getIntercomName());
}

TEST_F(User, DescribesItselfWithoutItsPassword) {
    EXPECT_EQ("<device>" + Id() +
                  "<key>ann@home</key><name>ann</name><version>2</version><state>1</state><dnd>false</dnd>"
                  "<autoAnswer>false</autoAnswer><monitorMode>false</monitorMode>"
                  "<answerWithVideo>false</answerWithVideo><speakerVolume>0</speakerVolume>"
                  "<excludeFromNav>true</excludeFromNav><ringDoorbell>false</ringDoorbell>"
                  "<doorStation>false</doorStation><thirdParty>true</thirdParty><camera>false</camera>"
                  "<display>false</display><user>ann</user><domain>home</domain><realm>realm</realm>"
                  "<displayName>Ann Bell</displayName><email>ann@mail</email>"
                  "<forwardAddress>bob@home</forwardAddress></device>",
              Described(0));
}

TEST_F(User, DescribesItsState) {
    EXPECT_EQ("<device>" + Id() + "<state>1</state></device>", Described(5));
}

TEST_F(User, WithoutParametersHasEmptyFields) {
    ReproUser empty(*Message("addUser", {}));
    EXPECT_EQ("", empty.getKey());
    EXPECT_EQ("", empty.getIntercomName());
    EXPECT_THAT(Text(empty.toXml(dvIntercom::DEVICE_CHANGED)), testing::HasSubstr("<key/><name/>"));
    EXPECT_THAT(Text(empty.toXml(dvIntercom::DEVICE_CHANGED)), testing::EndsWith("</display></device>"));
}

TEST_F(User, KeepsTextsAsGiven) {
    ReproUser exact(*Message("addUser", {{"key", " a<b "}, {"user", "%s\n"}, {"key", "second"}}));
    EXPECT_EQ(" a<b ", exact.getKey());
    EXPECT_EQ("%s\n", exact.getIntercomName());
}

TEST_F(User, NeedsTheSipProxyAndIsOfAnotherMake) {
    EXPECT_EQ(2, device.getVersion());
    EXPECT_TRUE(device.is3rdParty());
    EXPECT_FALSE(device.isDoorStation());
    EXPECT_TRUE(device.getExcludeFromNav());
    EXPECT_FALSE(device.hasCamera());
    EXPECT_FALSE(device.hasDisplay());
}

TEST_F(User, HasNoSessions) {
    EXPECT_EQ(255, device.findSessionId("ann@home"));
    EXPECT_EQ(255, device.findSessionId(""));
    EXPECT_FALSE(device.ActiveSipSession(0));
    EXPECT_FALSE(device.ActiveSipSession(255));
}

TEST_F(User, KeepsItsSettingsWhateverIsSet) {
    device.setDnD(true);
    device.setCurrentState(7);
    device.setAutoAnswer(true);
    device.setMonitorMode(true);
    device.setAnswerWithVideo(true);
    device.setSpeakerVol(9, true);
    device.setExcludeFromNav(false);
    device.setRingDoorbell(true);
    EXPECT_FALSE(device.getDnD());
    EXPECT_EQ(1, device.getCurrentState());
    EXPECT_FALSE(device.getAutoAnswer());
    EXPECT_FALSE(device.getMonitorMode());
    EXPECT_FALSE(device.getAnswerWithVideo());
    EXPECT_EQ(0, device.getSpeakerVol());
    EXPECT_TRUE(device.getExcludeFromNav());
    EXPECT_FALSE(device.getRingDoorbell());
}

TEST_F(User, StaysTheSameWhateverItIsToldToDo) {
    const std::string before = Described(0);
    const unsigned long id = user.getDeviceId();
    device.requestToAddDevice();
    device.disconnectAgent();
    device.setDeviceState(*Message("setDeviceState", {{"key", "other"}}));
    device.updateSipInfoFromDriver("10.0.0.2");
    device.RingDoorChime();
    device.StartSipCall(dvIntercom::MEDIA_NONE, dvIntercom::MEDIA_NONE, "a");
    device.StartSipMonitor(dvIntercom::MEDIA_NONE, dvIntercom::MEDIA_NONE, "a");
    device.StartSipBroadcast(dvIntercom::MEDIA_NONE, dvIntercom::MEDIA_NONE, {"a"});
    device.HangupSipSession(1);
    device.HoldSession(1);
    device.ResumeSession(1);
    EXPECT_EQ(before, Described(0));
    EXPECT_EQ(id, user.getDeviceId());
}

TEST_F(User, AnswersCommandMessagesWithoutAnElement) {
    EXPECT_EQ("(none)", Text(device.PassToDriver(*Message("GET_CUSTOM_BUTTON", {}))));
}

}  // namespace
