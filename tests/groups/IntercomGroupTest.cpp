// The record of a group and its element.
#include "groups/IntercomGroup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/glue/XmlText.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Ids = std::vector<unsigned long>;

Ids MembersOf(const IntercomGroup& group) {
    Ids members;
    group.GetGroupList(members);
    return members;
}

IntercomGroup Read(const std::string& xml) {
    return IntercomGroup(DvXML::ParseRoot(xml).get());
}

std::string Written(const IntercomGroup& group) {
    return group.toXml()->NodeToText();
}

TEST(IntercomGroup, IsEmptyWhenNew) {
    const IntercomGroup group(7, "Hall");
    EXPECT_EQ(7, group.GetGroupId());
    EXPECT_EQ("Hall", group.GetName());
    EXPECT_THAT(MembersOf(group), IsEmpty());
}

TEST(IntercomGroup, TakesTheFirstDevice) {
    IntercomGroup group(1, "Hall");
    group.AddToGroup(5);
    EXPECT_THAT(MembersOf(group), ElementsAre(5));
}

TEST(IntercomGroup, KeepsDevicesInTheOrderOfAdding) {
    IntercomGroup group(1, "Hall");
    for (const unsigned long id : {9UL, 3UL, 5UL})
        group.AddToGroup(id);
    EXPECT_THAT(MembersOf(group), ElementsAre(9, 3, 5));
}

TEST(IntercomGroup, TakesEachDeviceOnce) {
    IntercomGroup group(1, "Hall");
    for (const unsigned long id : {9UL, 3UL, 9UL, 3UL})
        group.AddToGroup(id);
    EXPECT_THAT(MembersOf(group), ElementsAre(9, 3));
}

TEST(IntercomGroup, ClosesTheGapOfARemovedDevice) {
    IntercomGroup group(1, "Hall");
    group.SetGroupList({9, 3, 5});
    group.RemoveFromGroup(3);
    EXPECT_THAT(MembersOf(group), ElementsAre(9, 5));
}

TEST(IntercomGroup, RemovingAnAbsentDeviceChangesNothing) {
    IntercomGroup group(1, "Hall");
    group.RemoveFromGroup(5);
    EXPECT_THAT(MembersOf(group), IsEmpty());
    group.SetGroupList({9, 3});
    group.RemoveFromGroup(5);
    EXPECT_THAT(MembersOf(group), ElementsAre(9, 3));
}

TEST(IntercomGroup, LosesOnlyTheFirstOfTwoEqualDevices) {
    IntercomGroup group(1, "Hall");
    group.SetGroupList({4, 7, 4});
    group.RemoveFromGroup(4);
    EXPECT_THAT(MembersOf(group), ElementsAre(7, 4));
}

TEST(IntercomGroup, TakesAWholeListAsGiven) {
    IntercomGroup group(1, "Hall");
    group.AddToGroup(8);
    group.SetGroupList({5, 0, 3, 5, 3});
    EXPECT_THAT(MembersOf(group), ElementsAre(5, 0, 3, 5, 3));
}

TEST(IntercomGroup, CopiesListsInAndOut) {
    IntercomGroup group(1, "Hall");
    Ids given{5, 3};
    group.SetGroupList(given);
    given.clear();
    Ids taken{1, 2, 3};
    group.GetGroupList(taken);
    EXPECT_THAT(taken, ElementsAre(5, 3));
    taken.clear();
    EXPECT_THAT(MembersOf(group), ElementsAre(5, 3));
}

TEST(IntercomGroup, CanBeRenamed) {
    IntercomGroup group(1, "Hall");
    group.SetName("");
    EXPECT_EQ("<group><groupId>1</groupId><name/></group>", Written(group));
}

TEST(IntercomGroup, WithoutDevicesIsWrittenWithoutAList) {
    EXPECT_EQ("<group><groupId>7</groupId><name>Hall</name></group>", Written(IntercomGroup(7, "Hall")));
}

TEST(IntercomGroup, IsWrittenWithIdNameAndDevicesInThisOrder) {
    IntercomGroup group(-7, "Hall & Attic");
    group.SetGroupList({4294967295UL, 3, 3});
    EXPECT_EQ(
        "<group><groupId>-7</groupId><name>Hall &amp; Attic</name>"
        "<devices><device>4294967295</device><device>3</device><device>3</device></devices></group>",
        Written(group));
}

TEST(IntercomGroup, ThatLostItsLastDeviceIsWrittenWithoutAList) {
    IntercomGroup group(7, "Hall");
    group.AddToGroup(5);
    group.RemoveFromGroup(5);
    EXPECT_EQ("<group><groupId>7</groupId><name>Hall</name></group>", Written(group));
}

TEST(IntercomGroup, ReadsWhatItWrote) {
    for (const std::string xml :
         {"<group><groupId>7</groupId><name>Hall</name></group>",
          "<group><groupId>-2147483648</groupId><name> a&lt;b&#10;</name>"
          "<devices><device>4294967295</device><device>0</device><device>0</device></devices></group>"})
        EXPECT_EQ(xml, Written(Read(xml)));
}

TEST(IntercomGroup, ReadsAbsentPartsAsZeroEmptyAndNoDevices) {
    EXPECT_EQ("<group><groupId>0</groupId><name/></group>", Written(Read("<group/>")));
}

TEST(IntercomGroup, ReadsAnEmptyListAsNoDevices) {
    EXPECT_THAT(MembersOf(Read("<group><groupId>7</groupId><devices/></group>")), IsEmpty());
}

TEST(IntercomGroup, LeavesOutWhatIsNoIdWhenReading) {
    const IntercomGroup group = Read(
        "<group><groupId>7</groupId><name>Hall</name><devices><device>5</device><device>x</device>"
        "<device>-1</device><device/><device>4294967296</device><device> 3 </device></devices></group>");
    EXPECT_THAT(MembersOf(group), ElementsAre(5, 3));
}

TEST(IntercomGroup, ReadsOfRepeatedPartsTheFirst) {
    const IntercomGroup group = Read(
        "<group><groupId>7</groupId><groupId>8</groupId><name>Hall</name><name>Attic</name>"
        "<devices><device>5</device></devices><devices><device>6</device></devices></group>");
    EXPECT_EQ("<group><groupId>7</groupId><name>Hall</name><devices><device>5</device></devices></group>",
              Written(group));
}

TEST(IntercomGroup, SaturatesAnIdBeyondTheSignedRange) {
    EXPECT_EQ(2147483647, Read("<group><groupId>4294967297</groupId></group>").GetGroupId());
    EXPECT_EQ(-2147483647 - 1, Read("<group><groupId>-4294967297</groupId></group>").GetGroupId());
    EXPECT_EQ(12, Read("<group><groupId> 12abc</groupId></group>").GetGroupId());
}

}  // namespace
