// What the host library answers for devices that do not answer for themselves.
#include <gtest/gtest.h>

#include "host/glue/CmdMessage.h"
#include "tests/support/FakeDevice.h"

namespace {

using namespace dvIntercom;

class Device : public test::FakeDevice {
public:
    using FakeDevice::FakeDevice;

    std::string DefaultKey() { return ISupportIntercom::getKey(); }
    std::string Xml(int prop) {
        return ISupportIntercom::toXml(static_cast<DeviceProps>(prop))->NodeToText();
    }
    dv::auto_com<DvXML::INode> Pass(const ICmdMessage& message) {
        return ISupportIntercom::PassToDriver(message);
    }

    using ISupportIntercom::domain;
    using ISupportIntercom::email;
    using ISupportIntercom::forwardAddress;
    using ISupportIntercom::key;
    using ISupportIntercom::name;
    using ISupportIntercom::password;
    using ISupportIntercom::realm;
    using ISupportIntercom::user;
};

class SupportIntercom : public testing::Test {
protected:
    test::Recorder recorder;
    Device device{recorder, 7};
};

TEST_F(SupportIntercom, KeyIsTheKeyField) {
    EXPECT_EQ("", device.DefaultKey());
    device.key = "frontdoor";
    EXPECT_EQ("frontdoor", device.DefaultKey());
}

TEST_F(SupportIntercom, FullDescriptionOfADeviceWithoutAccount) {
    device.deviceKey = "frontdoor";
    device.intercomName = "Front door";
    device.version = 2;
    device.currentState = -3;
    device.speakerVolume = 65535;
    device.camera = true;
    device.doorStation = true;
    EXPECT_EQ(
        "<device><id>7</id><key>frontdoor</key><name>Front door</name><version>2</version><state>-3</state>"
        "<dnd>false</dnd><autoAnswer>false</autoAnswer><monitorMode>false</monitorMode>"
        "<answerWithVideo>false</answerWithVideo><speakerVolume>65535</speakerVolume>"
        "<excludeFromNav>false</excludeFromNav><ringDoorbell>false</ringDoorbell>"
        "<doorStation>true</doorStation><thirdParty>false</thirdParty><camera>true</camera>"
        "<display>false</display></device>",
        device.Xml(DEVICE_CHANGED));
}

TEST_F(SupportIntercom, EachSettingStandsUnderItsOwnName) {
    const std::pair<bool Device::*, const char*> table[] = {
        {&Device::dnd, "dnd"},
        {&Device::autoAnswer, "autoAnswer"},
        {&Device::monitorMode, "monitorMode"},
        {&Device::answerWithVideo, "answerWithVideo"},
        {&Device::excludeFromNav, "excludeFromNav"},
        {&Device::ringDoorbell, "ringDoorbell"},
        {&Device::doorStation, "doorStation"},
        {&Device::thirdParty, "thirdParty"},
        {&Device::camera, "camera"},
        {&Device::display, "display"},
    };
    for (const auto& [setting, element] : table) {
        device.*setting = true;
        const std::string text = device.Xml(DEVICE_CHANGED);
        device.*setting = false;
        const std::string expected = "<" + std::string(element) + ">true<";
        EXPECT_NE(std::string::npos, text.find(expected)) << text;
        EXPECT_EQ(text.find(">true<"), text.rfind(">true<")) << text;
    }
}

TEST_F(SupportIntercom, AccountFollowsWhereNotEmptyAndNeverThePassword) {
    device.user = "u";
    device.domain = "d";
    device.realm = "r";
    device.password = "secret";
    device.name = "n";
    device.email = "e";
    device.forwardAddress = "f";
    const std::string text = device.Xml(DEVICE_CHANGED);
    const std::string account =
        "<display>false</display><user>u</user><domain>d</domain><realm>r</realm><displayName>n</displayName>"
        "<email>e</email><forwardAddress>f</forwardAddress></device>";
    EXPECT_TRUE(text.ends_with(account)) << text;
    EXPECT_EQ(std::string::npos, text.find("secret"));
}

TEST_F(SupportIntercom, EachPropertyIsTheIdAndItsValue) {
    device.dnd = device.monitorMode = device.excludeFromNav = true;
    device.currentState = 4;
    device.speakerVolume = 9;
    const std::pair<int, const char*> table[] = {
        {1, ""},
        {2, "<dnd>true</dnd>"},
        {3, "<autoAnswer>false</autoAnswer>"},
        {4, "<monitorMode>true</monitorMode>"},
        {5, "<state>4</state>"},
        {6, "<answerWithVideo>false</answerWithVideo>"},
        {7, "<excludeFromNav>true</excludeFromNav>"},
        {8, "<ringDoorbell>false</ringDoorbell>"},
        {9, "<speakerVolume>9</speakerVolume>"},
        {10, ""},
        {-1, ""},
        {2147483647, ""},
    };
    for (const auto& [prop, value] : table) {
        EXPECT_EQ("<device><id>7</id>" + std::string(value) + "</device>", device.Xml(prop));
    }
}

TEST_F(SupportIntercom, IdIsUnsigned) {
    device.id = 4294967295UL;
    EXPECT_EQ("<device><id>4294967295</id></device>", device.Xml(DEVICE_UPDATED));
}

TEST_F(SupportIntercom, MessagesAreNotAnswered) {
    EXPECT_FALSE(device.Pass(*dv::CmdMessage::Create("x")));
}

}  // namespace
