#include "groups/GroupTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <string>

namespace {

using testing::ElementsAre;
using testing::Pair;

GroupPtr Group(int id, const std::string& name) {
    return boost::make_shared<IntercomGroup>(id, name);
}

TEST(GroupTableTest, GroupsStandInTheOrderOfTheirIdsAndAreFoundByIdAndName) {
    GroupTable groups;
    const GroupPtr kitchen = Group(2, "Kitchen");
    const GroupPtr hall = Group(1, "Hall");
    groups.Add(kitchen);
    groups.Add(hall);
    EXPECT_THAT(groups.All(), ElementsAre(Pair(1, hall), Pair(2, kitchen)));
    EXPECT_EQ(kitchen, groups.Find(2));
    EXPECT_EQ(kitchen, groups.Find("Kitchen"));
    EXPECT_EQ(nullptr, groups.Find(3));
    EXPECT_EQ(nullptr, groups.Find("kitchen"));
}

TEST(GroupTableTest, ATakenIdKeepsItsGroup) {
    GroupTable groups;
    const GroupPtr hall = Group(1, "Hall");
    groups.Add(hall);
    groups.Add(Group(1, "Kitchen"));
    EXPECT_EQ(hall, groups.Find(1));
    EXPECT_EQ(nullptr, groups.Find("Kitchen"));
}

TEST(GroupTableTest, AnErasedGroupIsFoundNoMore) {
    GroupTable groups;
    groups.Add(Group(1, "Hall"));
    EXPECT_TRUE(groups.Erase(1));
    EXPECT_FALSE(groups.Erase(1));
    EXPECT_EQ(nullptr, groups.Find(1));
    EXPECT_EQ(nullptr, groups.Find("Hall"));
}

TEST(GroupTableTest, ARenamedGroupIsFoundByItsNewNameOnly) {
    GroupTable groups;
    const GroupPtr group = Group(1, "Hall");
    groups.Add(group);
    groups.Rename(*group, "Corridor");
    EXPECT_EQ("Corridor", group->GetName());
    EXPECT_EQ(group, groups.Find("Corridor"));
    EXPECT_EQ(nullptr, groups.Find("Hall"));
}

TEST(GroupTableTest, AGroupMayBeGivenTheNameThatItHas) {
    GroupTable groups;
    const GroupPtr group = Group(1, "Hall");
    groups.Add(group);
    groups.Rename(*group, group->GetName());
    EXPECT_EQ(group, groups.Find("Hall"));
}

TEST(GroupTableTest, OfGroupsWithOneNameTheLowestIdIsFound) {
    GroupTable groups;
    const GroupPtr two = Group(2, "Hall");
    const GroupPtr one = Group(1, "Kitchen");
    groups.Add(two);
    groups.Add(one);
    groups.Rename(*one, "Hall");
    EXPECT_EQ(one, groups.Find("Hall"));
    groups.Erase(1);
    EXPECT_EQ(two, groups.Find("Hall"));
}

}  // namespace
