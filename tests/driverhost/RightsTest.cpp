// The table of rights by itself: it has every route, the page that shows it is up to date, and what it leaves
// out of devices is left out.
#include "driverhost/http/rights/Rights.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "driverhost/http/routes/Routes.h"
#include "tests/support/process/TempFolder.h"

namespace driverhost {
namespace {

using testing::HasSubstr;

constexpr std::string_view kCommands = "/drivers/*/commands/*";
constexpr Roles kTwo = ROLE_HOUSEHOLD | ROLE_TABLET;

Deed OfAgent(std::string_view command) {
    return {"POST", kCommands, command, true, false};
}

TEST(Rights, EveryRouteHasARow) {
    const std::string text = RightsText();
    for (const Routes::Place& place : Routes::Places()) {
        const std::string cell = "| `" + std::string(place.method) + " " + std::string(place.path) + "` |";
        EXPECT_THAT(text, HasSubstr(cell));
    }
}

TEST(Rights, ThePageShowsTheTable) {
    EXPECT_THAT(test::ReadFile(DOCS_FOLDER "/security.md"), HasSubstr("\n" + RightsText() + "\n"));
}

TEST(Rights, WhatHasNoRowIsRefusedToAllButAdmin) {
    for (const Deed& deed : {OfAgent("addUser"), OfAgent("newCommand"), OfAgent("GETDEVICELIST"), OfAgent(""),
                             Deed{"GET", "/new/route"}, Deed{"DELETE", "/drivers"}}) {
        EXPECT_TRUE(Judge(ROLE_ADMIN, deed).isGranted) << deed.route << deed.command;
        for (const Roles roles : {Roles(ROLE_NOBODY), Roles(ROLE_HOUSEHOLD), Roles(ROLE_TABLET), kTwo})
            EXPECT_FALSE(Judge(roles, deed).isGranted) << deed.route << deed.command;
    }
}

TEST(Rights, ATabletCallsOnlyFromItselfAndTheHouseholdFromEverywhere) {
    EXPECT_EQ(Judge(ROLE_TABLET, OfAgent("SIP_REGULAR_CALL")).ownParameter, "source");
    EXPECT_EQ(Judge(ROLE_TABLET, OfAgent("setDeviceState")).ownParameter, "idDevice");
    EXPECT_EQ(Judge(ROLE_HOUSEHOLD, OfAgent("SIP_REGULAR_CALL")).ownParameter, "");
    EXPECT_EQ(Judge(kTwo, OfAgent("SIP_REGULAR_CALL")).ownParameter, "") << "rights add up";
}

TEST(Rights, TheAgentsCommandsAreNotThoseOfAnotherDriver) {
    EXPECT_FALSE(Judge(kTwo, {"POST", kCommands, "getDeviceList", false, false}).isGranted);
    EXPECT_TRUE(Judge(ROLE_TABLET, {"POST", kCommands, "getDeviceList", false, true}).isGranted) << "its own";
    EXPECT_FALSE(Judge(ROLE_HOUSEHOLD, {"POST", kCommands, "tabletHello", false, true}).isGranted);
}

TEST(Rights, ARefusalNamesTheRolesThatMay) {
    EXPECT_EQ(WhoMay(OfAgent("addUser")), "admin");
    EXPECT_EQ(WhoMay(OfAgent("addGroup")), "admin or household");
    EXPECT_EQ(WhoMay(OfAgent("getGroupList")), "admin or household or tablet");
    EXPECT_EQ(WhoMay({"GET", "/tablets/*/events"}), "admin or the tablet of that name");
    EXPECT_EQ(WhoMay({"GET", "/metrics"}), "admin");
}

TEST(Rights, NotificationsOfSipRecordsAreTheAdmins) {
    EXPECT_TRUE(MayHear(ROLE_TABLET, "DeviceAdded"));
    EXPECT_TRUE(MayHear(ROLE_HOUSEHOLD, "PopupTimeoutChanged"));
    EXPECT_FALSE(MayHear(ROLE_TABLET, "PopupTimeoutChanged"));
    for (const char* name : {"ServiceChanged", "addConfig", "addAcl", "eraseRoute", "Anything", "*", ""}) {
        EXPECT_FALSE(MayHear(kTwo, name)) << name;
        EXPECT_TRUE(MayHear(ROLE_ADMIN, name)) << name;
    }
}

TEST(Narrowed, ADeviceKeepsWhatPagesShow) {
    EXPECT_EQ(
        Narrowed("<devices><device><id>1</id><user>u</user><domain>d</domain><realm>r</realm><email/>"
                 "<secret a=\"b\"><id>2</id><x/></secret><state>0</state></device><device><id>3</id></device>"
                 "</devices>"),
        "<devices><device><id>1</id><user>u</user><state>0</state></device><device><id>3</id></device>"
        "</devices>");
}

TEST(Narrowed, WhatIsNoDescriptionStaysAsItIs) {
    for (const char* text :
         {"<success/>", "<groups><group><devices><device>101</device></devices></group></groups>",
          "<contact><phoneType><domain>1</domain></phoneType></contact>", "<fail>&lt;domain&gt;</fail>",
          "id: 7\ndata: <DeviceAdded><id>1</id></DeviceAdded>\n\n"})
        EXPECT_EQ(Narrowed(text), text);
}

TEST(Narrowed, AnEventKeepsItsLines) {
    EXPECT_EQ(
        Narrowed(
            "id: 7\ndata: <DeviceChanged><device><domain>d</domain><id>1</id></device></DeviceChanged>\n\n"),
        "id: 7\ndata: <DeviceChanged><device><id>1</id></device></DeviceChanged>\n\n");
}

}  // namespace
}  // namespace driverhost
