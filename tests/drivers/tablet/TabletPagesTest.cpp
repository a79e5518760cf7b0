// The pages of a tablet: how they come and go, and what they are told besides calls.
#include "tests/drivers/tablet/TabletFixture.h"

using telephony::LegState;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

nlohmann::json Present(bool present) {
    return {{"cmd", "page-present"}, {"leg", "hall"}, {"present", present}};
}

class TabletPages : public test::TabletFixture {
protected:
    static std::string State(int state) {
        return "agent OnDeviceChanged 101 5 <device><id>101</id><state>" + std::to_string(state) +
               "</state></device>";
    }
};

TEST_F(TabletPages, APageThatSaysHelloIsWelcomed) {
    StartConnected("<camera>true</camera><ringDoorbell>true</ringDoorbell><home>Mill &amp; barn</home>");
    const unsigned long reader = OpenStream();
    EXPECT_THAT(TakePages(), ElementsAre("1 <opened reader=\"1\"/>"));
    EXPECT_EQ("<success/>", Say(reader, "tabletHello", "", {{"version", "1"}}));
    EXPECT_THAT(
        TakePages(),
        ElementsAre(
            R"(1 <welcome reader="1" device="101" key="hall" name="Hall" camera="true" display="false" )"
            R"(mayBeMonitored="false" home="Mill &amp; barn"><settings dnd="false" autoAnswer="false" )"
            R"(monitorMode="false" answerWithVideo="false" excludeFromNav="false" ringDoorbell="true" )"
            R"(speakerVolume="0"/></welcome>)"));
}

TEST_F(TabletPages, AHelloNeedsAStreamAndAVersionThatIsUnderstood) {
    StartConnected();
    EXPECT_EQ("<error>no stream of this tablet has the reader 7; follow /tablets/hall/events first</error>",
              Say(7, "tabletHello", "", {{"version", "1"}}));
    const unsigned long reader = OpenStream();
    EXPECT_EQ("<error>this tablet speaks version 1, and the page 2; load the page anew</error>",
              Say(reader, "tabletHello", "", {{"version", "2"}}));
    EXPECT_EQ("<error>parameter version is missing</error>", Say(reader, "tabletHello"));
    EXPECT_EQ("<error>reader must be a number from 1 on, not \"x\"</error>",
              test::Ui(*tablet, "tabletHello", {{"reader", "x"}, {"version", "1"}}));
    EXPECT_EQ("<error>parameter reader is missing</error>", test::Ui(*tablet, "tabletBye"));
    EXPECT_EQ(4, tablet->getCurrentState());
}

TEST_F(TabletPages, WhoHasNotSaidHelloHasNoSay) {
    StartConnected();
    const unsigned long reader = OpenStream();
    for (const char* const command : {"tabletRinging", "tabletAnswer", "tabletDecline", "tabletHangup",
                                      "tabletHold", "tabletResume", "tabletKeyframe", "tabletPing"})
        EXPECT_EQ("<error>the page 1 is not known; say tabletHello first</error>", Say(reader, command, "1"));
}

TEST_F(TabletPages, ATabletIsThereWhileAPageIs) {
    StartConnected();
    EXPECT_EQ(4, tablet->getCurrentState());
    const unsigned long first = OpenStream();
    Say(first, "tabletHello", "", {{"version", "1"}});
    EXPECT_EQ(Present(true), control->Read());
    const unsigned long second = OpenPage();
    Say(first, "tabletBye");
    EXPECT_EQ(0, tablet->getCurrentState());
    Say(second, "tabletBye");
    EXPECT_EQ(Present(false), control->Read());
    EXPECT_THAT(TakeAgent(), Contains(State(4)));
    EXPECT_TRUE(IsLogged("page 2 is gone: it was closed"));
}

TEST_F(TabletPages, WhatTheProxyKnowsOfATabletDoesNotMatter) {
    StartConnected();
    OpenPage();
    Tell(control->snapshot);
    telephony::Event lost = About(telephony::EventKind::Lost, "");
    lost.phone.user = "hall";
    Tell(lost);
    EXPECT_EQ(0, tablet->getCurrentState());
}

TEST_F(TabletPages, APageWhoseStreamHasBrokenMayComeBack) {
    StartConnected();
    const unsigned long before = OpenPage();
    CloseStream(before);
    const unsigned long after = OpenPage();
    EXPECT_EQ(2U, after);
    EXPECT_EQ(0, tablet->getCurrentState());
    EXPECT_THAT(TakeAgent(), IsEmpty());
}

TEST_F(TabletPages, APageThatDoesNotComeBackIsGoneAfterItsGrace) {
    times.grace = std::chrono::milliseconds(20);
    StartConnected();
    CloseStream(OpenPage());
    EXPECT_TRUE(Eventually([&] { return tablet->getCurrentState() == 4; }));
    EXPECT_EQ(Present(false), control->Read());
    EXPECT_TRUE(IsLogged("page 1 is gone: its stream has ended"));
}

TEST_F(TabletPages, APageThatWasClosedAndComesToLifeAgainSaysHelloAgain) {
    StartConnected();
    const unsigned long reader = OpenPage();
    Say(reader, "tabletBye");
    EXPECT_EQ(Present(false), control->Read());
    EXPECT_EQ("<success/>", Say(reader, "tabletHello", "", {{"version", "1"}}));
    EXPECT_EQ(Present(true), control->Read());
    EXPECT_EQ("<success/>", Say(reader, "tabletBye"));
    EXPECT_EQ("<success/>", Say(reader, "tabletBye"));
}

TEST_F(TabletPages, EveryChangeOfASettingGoesToAllPages) {
    StartConnected();
    OpenPage();
    OpenPage();
    tablet->setDeviceState(*test::Message("setDeviceState", {{"dnd", "true"}, {"speakerVolume", "40"}}));
    tablet->setSpeakerVol(41, false);
    tablet->setSpeakerVol(41, false);
    const std::string start = R"(<settings dnd="true" autoAnswer="false" monitorMode="false" )"
                              R"(answerWithVideo="false" excludeFromNav="false" ringDoorbell="false" )";
    EXPECT_THAT(
        TakePages(),
        ElementsAre("1 " + start + R"(speakerVolume="0"/>)", "2 " + start + R"(speakerVolume="0"/>)",
                    "1 " + start + R"(speakerVolume="40"/>)", "2 " + start + R"(speakerVolume="40"/>)",
                    "1 " + start + R"(speakerVolume="41"/>)", "2 " + start + R"(speakerVolume="41"/>)"));
}

TEST_F(TabletPages, APageThatOpensWhileItRingsRings) {
    StartConnected();
    OpenPage();
    BeInvited();
    TakePages();
    Say(OpenStream(), "tabletHello", "", {{"version", "1"}});
    const auto told = TakePages();
    EXPECT_THAT(
        told, ElementsAre("2 <opened reader=\"2\"/>", HasSubstr(R"(state="calling" seconds="."/></welcome>)"),
                          HasSubstr("2 <invite call=\"1\" kind=\"regular\" role=\"callee\"")));
}

TEST_F(TabletPages, APageThatOpensDuringACallIsToldOfIt) {
    StartConnected();
    BeInCall(OpenPage());
    Say(OpenStream(), "tabletHello", "", {{"version", "1"}});
    EXPECT_THAT(
        TakePages(),
        ElementsAre(HasSubstr("<opened "),
                    HasSubstr(R"(<call call="1" kind="regular" role="callee" from="kitchen" )"
                              R"(name="Kitchen" called="" state="established" seconds="."/></welcome>)")));
}

TEST_F(TabletPages, WithoutCallControlPagesAreToldWhatIsLacking) {
    control.reset();
    Start();
    EXPECT_TRUE(IsLogged("call control is away"));
    recorder.Take();
    Say(OpenStream(), "tabletHello", "", {{"version", "1"}});
    EXPECT_THAT(TakePages(),
                Contains(HasSubstr("<callControl up=\"false\" reason=\"nobody can be reached on ")));
}

}  // namespace
