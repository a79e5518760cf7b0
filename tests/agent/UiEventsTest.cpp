// The form of the events that user interfaces receive.
#include "agent/UiEvents.h"

#include "tests/support/AgentFixture.h"

namespace {

using test::Text;
using testing::ElementsAre;
using UiEvents::EventDocument;

class UiEventsSent : public test::AgentFixture {};

TEST(UiEvents, AnEventCarriesIdAndState) {
    EXPECT_EQ("<AGENT_EXTERNAL><id>77</id><state>0</state></AGENT_EXTERNAL>",
              Text(EventDocument("AGENT_EXTERNAL", 77, 0)));
}

TEST(UiEvents, MinusOneLeavesANumberOut) {
    EXPECT_EQ("<AGENT_EXTERNAL/>", Text(EventDocument("AGENT_EXTERNAL", -1, -1)));
    EXPECT_EQ("<e><state>4</state></e>", Text(EventDocument("e", -1, 4)));
    EXPECT_EQ("<e><id>4</id></e>", Text(EventDocument("e", 4, -1)));
}

TEST(UiEvents, OtherNumbersAreWrittenAsTheyAre) {
    EXPECT_EQ("<e><id>0</id><state>-2</state></e>", Text(EventDocument("e", 0, -2)));
    EXPECT_EQ("<e><id>2147483647</id><state>-2147483648</state></e>",
              Text(EventDocument("e", 2147483647, -2147483647 - 1)));
}

TEST(UiEvents, EveryPropertyHasItsName) {
    const char* const names[] = {"DeviceChanged",
                                 "DeviceUpdated",
                                 "DeviceDnDChanged",
                                 "DeviceAutoAnswerChanged",
                                 "DeviceMonitorModeChanged",
                                 "DeviceCurrentStateChanged",
                                 "DeviceSendVideoChanged",
                                 "DeviceExcludeNavChanged",
                                 "DeviceRingToneChanged",
                                 "DeviceVolumeChanged"};
    int prop = 0;
    for (const char* const name : names)
        EXPECT_STREQ(name, UiEvents::NameOfProperty(static_cast<dvIntercom::DeviceProps>(prop++)));
    EXPECT_EQ(dvIntercom::DEVICE_PROPS_COUNT, prop);
}

TEST(UiEvents, ValuesOutsideTheTableHaveNoName) {
    EXPECT_EQ(nullptr, UiEvents::NameOfProperty(static_cast<dvIntercom::DeviceProps>(-1)));
    EXPECT_EQ(nullptr, UiEvents::NameOfProperty(dvIntercom::DEVICE_PROPS_COUNT));
}

TEST_F(UiEventsSent, AnEventWithoutNumbersIsSentAllTheSame) {
    Start();
    Ui("clearRecentContactList");
    EXPECT_THAT(Take("ui "), ElementsAre("ui <RecentContactsCleared/>"));
}

TEST_F(UiEventsSent, EventsAboutTheAgentBearItsOwnId) {
    Start();
    Ui("getIsExternal");
    Ui("setPopupTimeout", {{"timeout", "5"}});
    EXPECT_THAT(Take("ui "),
                ElementsAre("ui <AGENT_EXTERNAL><id>77</id><state>0</state></AGENT_EXTERNAL>",
                            "ui <PopupTimeoutChanged><id>77</id><state>5</state></PopupTimeoutChanged>"));
}

}  // namespace
