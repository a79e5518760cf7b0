// Commands that reach one device, and the reading of device ids.
#include <stdexcept>

#include "tests/support/AgentFixture.h"

namespace {

using test::FakeDevice;
using testing::ElementsAre;
using testing::IsEmpty;

class DeviceState : public test::AgentFixture {};
class CustomButtons : public test::AgentFixture {};
class DeviceIds : public test::AgentFixture {
protected:
    /// The id of the device that the text reaches; "none" when it reaches none.
    std::string Reached(const std::string& text) {
        const std::string reply = Ui("getDeviceState", {{"idDevice", text}});
        if (reply == "<fail/>") return "none";
        return reply.substr(12, reply.find("</id>") - 12);  // behind <device><id>
    }
};

TEST_F(DeviceState, IsTheDevicesDescriptionOfItsState) {
    Start();
    AddDevice(5);
    EXPECT_EQ("<device><id>5</id><prop>5</prop></device>", Ui("getDeviceState", {{"idDevice", "5"}}));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(DeviceState, OfAnUnknownDeviceFailsWithALogLine) {
    Start();
    EXPECT_EQ("<fail/>", Ui("getDeviceState", {{"idDevice", "5"}}));
    EXPECT_THAT(Take(),
                ElementsAre("log 3 IntercomAgent::OnReqGetDeviceState passed invalid device id of 5"));
}

TEST_F(DeviceState, IsSetByTheDeviceFromTheWholeMessage) {
    Start();
    AddDevice(5);
    EXPECT_EQ("<success/>", Ui("setDeviceState", {{"dnd", "true"}, {"idDevice", "5"}, {"volume", "7"}}));
    EXPECT_THAT(Take(), ElementsAre("device 5 setDeviceState <setDeviceState><dnd>true</dnd>"
                                    "<idDevice>5</idDevice><volume>7</volume></setDeviceState>"));
}

TEST_F(DeviceState, OfAnUnknownDeviceIsNotSetAndTheRefusalLogged) {
    Start();
    AddDevice(3);
    EXPECT_EQ("<fail/>", Ui("setDeviceState", {{"idDevice", "5"}}));
    EXPECT_THAT(Take(),
                ElementsAre("log 3 IntercomAgent::OnReqSetDeviceState passed invalid device id of 5"));
}

TEST_F(DeviceState, RefusalsLogTheIdAsASignedNumber) {
    Start();
    Ui("getDeviceState", {{"idDevice", "3000000000"}});
    Ui("setDeviceState", {{"idDevice", "-1"}});
    EXPECT_THAT(
        Take(),
        ElementsAre("log 3 IntercomAgent::OnReqGetDeviceState passed invalid device id of -1294967296",
                    "log 3 IntercomAgent::OnReqSetDeviceState passed invalid device id of -1"));
}

TEST_F(DeviceState, ADeviceMayRemoveAndDeleteItselfWhenAsked) {
    Start();
    FakeDevice& device = AddDevice(5);
    device.Next("toXml", [&] { RemoveAndDelete(device); });
    EXPECT_EQ("<device><id>5</id><prop>5</prop></device>", Ui("getDeviceState", {{"idDevice", "5"}}));
    EXPECT_EQ("<fail/>", Ui("getDeviceState", {{"idDevice", "5"}}));
}

TEST_F(DeviceState, ADeviceMayRemoveAndDeleteItselfWhenSet) {
    Start();
    FakeDevice& device = AddDevice(5);
    device.Next("setDeviceState", [&] { RemoveAndDelete(device); });
    EXPECT_EQ("<success/>", Ui("setDeviceState", {{"idDevice", "5"}}));
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
}

TEST_F(DeviceState, WhatADeviceThrowsReachesTheHost) {
    Start();
    FakeDevice& device = AddDevice(5);
    device.Next("toXml", [] { throw std::runtime_error("busy"); });
    EXPECT_THROW(Ui("getDeviceState", {{"idDevice", "5"}}), std::runtime_error);
    device.Next("setDeviceState", [] { throw std::runtime_error("busy"); });
    EXPECT_THROW(Ui("setDeviceState", {{"idDevice", "5"}}), std::runtime_error);
    EXPECT_EQ("<success/>", Ui("setDeviceState", {{"idDevice", "5"}}));
}

TEST_F(CustomButtons, AreTheDriversAnswerToAMessageWithoutParameters) {
    Start();
    FakeDevice& device = AddDevice(5);
    device.passAnswer = "buttons";
    device.passAnswerText = "two";
    EXPECT_EQ("<buttons>two</buttons>", Ui("getCustomButtons", {{"idDevice", "5"}, {"page", "1"}}));
    EXPECT_THAT(Take(), ElementsAre("device 5 PassToDriver <GET_CUSTOM_BUTTON/>"));
}

TEST_F(CustomButtons, ThatADriverDoesNotHaveAreAnsweredWithNoElement) {
    Start();
    AddDevice(5);
    EXPECT_EQ(kNone, Ui("getCustomButtons", {{"idDevice", "5"}}));
}

TEST_F(CustomButtons, OfAnUnknownDeviceAreAnsweredWithNoElementSilently) {
    Start();
    EXPECT_EQ(kNone, Ui("getCustomButtons", {{"idDevice", "5"}}));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(CustomButtons, ThatWerePressedArePassedOnWithTheWholeMessage) {
    Start();
    FakeDevice& device = AddDevice(5);
    AddDevice(3);
    device.passAnswer = "ignored";
    Plain("CUSTOM_BUTTON", {{"button", "2"}, {"idDevice", "5"}});
    EXPECT_THAT(Take(), ElementsAre("device 5 PassToDriver <CUSTOM_BUTTON><button>2</button>"
                                    "<idDevice>5</idDevice></CUSTOM_BUTTON>"));
}

TEST_F(CustomButtons, ThatWerePressedOnAnUnknownDeviceDoNothing) {
    Start();
    AddDevice(3);
    Plain("CUSTOM_BUTTON", {{"idDevice", "5"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(CustomButtons, MayMakeTheDeviceRemoveAndDeleteItself) {
    Start();
    for (const bool pressed : {false, true}) {
        FakeDevice& device = AddDevice(5);
        device.passAnswer = "buttons";
        device.Next("PassToDriver", [&] { RemoveAndDelete(device); });
        if (pressed)
            Plain("CUSTOM_BUTTON", {{"idDevice", "5"}});
        else
            EXPECT_EQ("<buttons/>", Ui("getCustomButtons", {{"idDevice", "5"}}));
        EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
    }
}

TEST_F(CustomButtons, WhatADeviceThrowsReachesTheHost) {
    Start();
    FakeDevice& device = AddDevice(5);
    device.Every("PassToDriver", [] { throw std::runtime_error("busy"); });
    EXPECT_THROW(Ui("getCustomButtons", {{"idDevice", "5"}}), std::runtime_error);
    EXPECT_THROW(Plain("CUSTOM_BUTTON", {{"idDevice", "5"}}), std::runtime_error);
}

TEST_F(DeviceIds, AreReadToTheirFirstForeignCharacter) {
    Start();
    AddDevice(12);
    EXPECT_EQ("12", Reached("12"));
    EXPECT_EQ("12", Reached(" \t\n12"));
    EXPECT_EQ("12", Reached("+12"));
    EXPECT_EQ("12", Reached("012"));
    EXPECT_EQ("12", Reached("12abc"));
    EXPECT_EQ("12", Reached("12.9"));
    EXPECT_EQ("none", Reached("0x12"));
    EXPECT_EQ("none", Reached("- 12"));
}

TEST_F(DeviceIds, WithoutDigitsAreZero) {
    Start();
    EXPECT_EQ("none", Reached("junk"));
    AddDevice(0);
    for (const std::string text : {"", "junk", "-", "+", "-0", "x12"})
        EXPECT_EQ("0", Reached(text)) << text;
    EXPECT_EQ("<device><id>0</id><prop>5</prop></device>", Ui("getDeviceState"));
}

TEST_F(DeviceIds, ReachUpToTheHighestUnsignedNumber) {
    Start();
    AddDevice(2147483648UL);
    AddDevice(4294967294UL);
    AddDevice(4294967295UL);
    EXPECT_EQ("2147483648", Reached("2147483648"));
    EXPECT_EQ("4294967294", Reached("4294967294"));
    EXPECT_EQ("4294967295", Reached("4294967295"));
}

TEST_F(DeviceIds, BeyondTheHighestNumberNeverBecomeDeviceZero) {
    Start();
    AddDevice(0);
    EXPECT_EQ("none", Reached("4294967296"));
    AddDevice(4294967295UL);
    EXPECT_EQ("4294967295", Reached("4294967296"));
    EXPECT_EQ("4294967295", Reached("99999999999999999999999999"));
}

TEST_F(DeviceIds, FarBelowZeroNeverBecomeASmallId) {
    Start();
    AddDevice(0);
    AddDevice(1);
    AddDevice(2147483648UL);
    for (const std::string text : {"-2147483648", "-2147483649", "-4294967295", "-4294967296"})
        EXPECT_EQ("2147483648", Reached(text)) << text;
}

TEST_F(DeviceIds, BelowZeroWrapAround) {
    Start();
    AddDevice(4294967295UL);
    AddDevice(4294967291UL);
    EXPECT_EQ("4294967295", Reached("-1"));
    EXPECT_EQ("4294967291", Reached("-5"));
}

TEST_F(DeviceIds, OfARepeatedParameterAreTheFirst) {
    Start();
    AddDevice(3);
    AddDevice(5);
    EXPECT_EQ("<device><id>5</id><prop>5</prop></device>",
              Ui("getDeviceState", {{"idDevice", "5"}, {"idDevice", "3"}}));
}

TEST_F(DeviceIds, AreReadAlikeByEveryCommand) {
    Start();
    AddDevice(4294967295UL, 1, "highest").passAnswer = "buttons";
    EXPECT_EQ("<success/>", Ui("setDeviceState", {{"idDevice", "4294967296"}}));
    EXPECT_EQ("<buttons/>", Ui("getCustomButtons", {{"idDevice", "-1"}}));
    Plain("CUSTOM_BUTTON", {{"idDevice", "4294967296"}});
    EXPECT_THAT(Take("device "),
                ElementsAre("device highest setDeviceState <setDeviceState><idDevice>4294967296</idDevice>"
                            "</setDeviceState>",
                            "device highest PassToDriver <GET_CUSTOM_BUTTON/>",
                            "device highest PassToDriver <CUSTOM_BUTTON><idDevice>4294967296</idDevice>"
                            "</CUSTOM_BUTTON>"));
}

}  // namespace
