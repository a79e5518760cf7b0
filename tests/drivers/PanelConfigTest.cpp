#include "drivers/panel/PanelConfig.h"

#include "drivers/calls/Values.h"
#include "tests/drivers/PanelFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Reading {
    PanelConfig config;
    std::vector<std::string> faults;
};

Reading Read(const std::string& xml) {
    Reading reading;
    reading.config.Read(*test::Element("<config>" + xml + "</config>"),
                        [&](const std::string& fault) { reading.faults.push_back(fault); });
    return reading;
}

class PanelConfigOfAPanel : public test::PanelFixture {};

}  // namespace

TEST(PanelConfig, EveryValueHasItsDefault) {
    const auto [config, faults] = Read("");
    EXPECT_EQ("", config.key);
    EXPECT_EQ("", config.name);
    EXPECT_EQ(2, config.version);
    for (const bool flag :
         {config.doorStation, config.thirdParty, config.camera, config.display, config.answerWithVideo,
          config.dnd, config.autoAnswer, config.monitorMode, config.excludeFromNav, config.ringDoorbell})
        EXPECT_FALSE(flag);
    EXPECT_EQ(0, config.speakerVolume);
    EXPECT_EQ(0, config.currentState);
    EXPECT_TRUE(config.registerAtStart);
    EXPECT_TRUE(config.answerRequests);
    EXPECT_TRUE(config.simulateCalls);
    EXPECT_FALSE(config.buttons);
    EXPECT_THAT(faults, IsEmpty());
}

// Each flag alone, so that no two names reach the same value.
TEST_F(PanelConfigOfAPanel, EachFlagIsReadByItsOwnName) {
    using Getter = bool (Panel::*)() const;
    const std::vector<std::pair<std::string, Getter>> flags = {
        {"doorStation", &Panel::isDoorStation},
        {"thirdParty", &Panel::is3rdParty},
        {"camera", &Panel::hasCamera},
        {"display", &Panel::hasDisplay},
        {"answerWithVideo", &Panel::getAnswerWithVideo},
        {"dnd", &Panel::getDnD},
        {"autoAnswer", &Panel::getAutoAnswer},
        {"monitorMode", &Panel::getMonitorMode},
        {"excludeFromNav", &Panel::getExcludeFromNav},
        {"ringDoorbell", &Panel::getRingDoorbell}};
    for (const auto& [given, unused] : flags) {
        Panel& panel = NewPanel(101, "<" + given + ">true</" + given + ">");
        for (const auto& [name, get] : flags)
            EXPECT_EQ(name == given, (panel.*get)()) << name << " where " << given << " was given";
        DeletePanel(panel);
    }
}

TEST_F(PanelConfigOfAPanel, TextsAndNumbersAreAnsweredAsGiven) {
    Panel& panel = NewPanel(101,
                            "<key> hall </key><name>Hall &amp; stairs</name><version>1</version>"
                            "<speakerVolume>65535</speakerVolume><currentState>-7</currentState>");
    EXPECT_EQ(" hall ", panel.getKey());
    EXPECT_EQ("Hall & stairs", panel.getIntercomName());
    EXPECT_EQ(1, panel.getVersion());
    EXPECT_EQ(65535, panel.getSpeakerVol());
    EXPECT_EQ(-7, panel.getCurrentState());
    EXPECT_EQ(101UL, panel.getDeviceId());
}

TEST_F(PanelConfigOfAPanel, TheDescriptionIsTheHostLibrarysWithTheKeyAlone) {
    Panel& panel = NewPanel(101, "<key>hall</key><name>Hall</name><camera>1</camera>");
    EXPECT_EQ(
        "<device><id>101</id><key>hall</key><name>Hall</name><version>2</version><state>0</state><dnd>false</"
        "dnd>"
        "<autoAnswer>false</autoAnswer><monitorMode>false</monitorMode><answerWithVideo>false</"
        "answerWithVideo>"
        "<speakerVolume>0</speakerVolume><excludeFromNav>false</excludeFromNav><ringDoorbell>false</"
        "ringDoorbell>"
        "<doorStation>false</doorStation><thirdParty>false</thirdParty><camera>true</camera>"
        "<display>false</display></device>",
        panel.toXml(dvIntercom::DEVICE_CHANGED)->NodeToText());
}

TEST_F(PanelConfigOfAPanel, EachPropertyShowsItsValueBesideTheId) {
    Panel& panel =
        NewPanel(101, "<currentState>3</currentState><speakerVolume>9</speakerVolume><dnd>true</dnd>");
    const std::vector<std::string> values = {"",
                                             "<dnd>true</dnd>",
                                             "<autoAnswer>false</autoAnswer>",
                                             "<monitorMode>false</monitorMode>",
                                             "<state>3</state>",
                                             "<answerWithVideo>false</answerWithVideo>",
                                             "<excludeFromNav>false</excludeFromNav>",
                                             "<ringDoorbell>false</ringDoorbell>",
                                             "<speakerVolume>9</speakerVolume>"};
    for (int prop = 1; prop <= 9; ++prop)
        EXPECT_EQ("<device><id>101</id>" + values[static_cast<std::size_t>(prop - 1)] + "</device>",
                  panel.toXml(static_cast<dvIntercom::DeviceProps>(prop))->NodeToText());
}

TEST_F(PanelConfigOfAPanel, ButtonsAnswerGetCustomButtonAsTheyStand) {
    Panel& panel = NewPanel(101, "<buttons light='on'><button>Gate</button>x</buttons>");
    EXPECT_EQ("<buttons light=\"on\">x<button>Gate</button></buttons>",
              panel.PassToDriver(*test::Message("GET_CUSTOM_BUTTON", {}))->NodeToText());
    EXPECT_FALSE(panel.PassToDriver(*test::Message("CUSTOM_BUTTON", {{"idDevice", "101"}})));
}

TEST_F(PanelConfigOfAPanel, WithoutButtonsNothingIsAnswered) {
    EXPECT_FALSE(NewPanel(101).PassToDriver(*test::Message("GET_CUSTOM_BUTTON", {})));
}

TEST(PanelConfig, AnUnknownElementIsNamed) {
    EXPECT_THAT(
        Read("<camara>true</camara>").faults,
        ElementsAre("config: <camara> means nothing to a panel; it knows key, name, version, doorStation, "
                    "thirdParty, camera, display, answerWithVideo, dnd, autoAnswer, monitorMode, "
                    "excludeFromNav, ringDoorbell, speakerVolume, currentState, registerAtStart, "
                    "answerRequests, simulateCalls, buttons"));
}

TEST(PanelConfig, AValueOfTheWrongKindIsNamedAndReadAsFarAsItGoes) {
    const auto [config, faults] =
        Read("<camera>yes</camera><version>3rd</version><speakerVolume>70000</speakerVolume>");
    EXPECT_FALSE(config.camera);
    EXPECT_EQ(3, config.version);
    EXPECT_EQ(65535, config.speakerVolume);
    EXPECT_THAT(faults,
                ElementsAre("config: camera must be true or false, not \"yes\"",
                            "config: version must be a number from -2147483648 to 2147483647, not \"3rd\"",
                            "config: speakerVolume must be a number from 0 to 65535, not \"70000\""));
}

TEST(PanelConfig, OfARepeatedElementTheFirstCounts) {
    const auto [config, faults] = Read("<key>a</key><key>b</key>");
    EXPECT_EQ("a", config.key);
    EXPECT_THAT(faults, ElementsAre("config: <key> stands there twice; the first one counts"));
}

TEST_F(PanelConfigOfAPanel, FaultsAreLoggedAtLevel3) {
    NewPanel(101, "<dnd>maybe</dnd>");
    EXPECT_THAT(Take("log"), ElementsAre("log 3 config: dnd must be true or false, not \"maybe\""));
}

TEST(Values, AFlagIsTrueFalseOneOrZero) {
    EXPECT_EQ(true, Values::ReadFlag("true"));
    EXPECT_EQ(true, Values::ReadFlag(" TRUE\n"));
    EXPECT_EQ(true, Values::ReadFlag("1"));
    EXPECT_EQ(false, Values::ReadFlag("False"));
    EXPECT_EQ(false, Values::ReadFlag("0"));
}

TEST(Values, AnythingElseIsNoFlag) {
    for (const char* const text : {"", "yes", "2", "true false", "on"})
        EXPECT_EQ(std::nullopt, Values::ReadFlag(text)) << text;
}

TEST(Values, ANumberMayHaveASignAndWhiteSpaceAround) {
    EXPECT_EQ(42, Values::ReadWhole(" 42\t", 0, 100));
    EXPECT_EQ(42, Values::ReadWhole("+42", 0, 100));
    EXPECT_EQ(-1, Values::ReadWhole("-1", -1, 0));
    EXPECT_EQ(4294967295, Values::ReadWhole("4294967295", 0, 4294967295));
}

TEST(Values, JunkAndNumbersOutsideTheBoundsAreNone) {
    for (const char* const text :
         {"", " ", "x", "4x", "4 2", "-", "+-4", "--4", "0x4", "1.5", "101", "-1", "99999999999999999999"})
        EXPECT_EQ(std::nullopt, Values::ReadWhole(text, 0, 100)) << text;
}
