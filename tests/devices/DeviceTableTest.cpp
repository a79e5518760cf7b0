#include "devices/DeviceTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/FakeDevice.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class Devices : public testing::Test {
protected:
    test::Recorder recorder;
    test::FakeDevice hall{recorder, 1};
    test::FakeDevice door{recorder, 2};
    DeviceTable table;
};

TEST_F(Devices, AreFoundByIdAndStandInItsOrder) {
    table.Set(2, &door);
    table.Set(1, &hall);
    EXPECT_EQ(&hall, table.Find(1));
    EXPECT_EQ(&door, table.Find(2));
    EXPECT_EQ(nullptr, table.Find(3));
    EXPECT_THAT(table.All(), ElementsAre(Pair(1, &hall), Pair(2, &door)));
}

TEST_F(Devices, OneTakesThePlaceOfAnotherUnderItsId) {
    table.Set(1, &hall);
    table.Set(1, &door);
    EXPECT_EQ(&door, table.Find(1));
    EXPECT_THAT(table.All(), ElementsAre(Pair(1, &door)));
}

TEST_F(Devices, AreGoneWhenErased) {
    table.Set(1, &hall);
    table.Set(2, &door);
    EXPECT_TRUE(table.Erase(1));
    EXPECT_FALSE(table.Erase(1));
    EXPECT_EQ(nullptr, table.Find(1));
    EXPECT_THAT(table.All(), ElementsAre(Pair(2, &door)));
}

TEST_F(Devices, AreAllGoneWhenCleared) {
    table.Set(1, &hall);
    table.Clear();
    EXPECT_EQ(nullptr, table.Find(1));
    EXPECT_THAT(table.All(), IsEmpty());
}

TEST(OrderedIdsTest, AnIdIsAppendedOnce) {
    OrderedIds ids;
    ids.AppendNew(7);
    ids.AppendNew(3);
    ids.AppendNew(7);
    EXPECT_THAT(ids.Ids(), ElementsAre(7, 3));
}

TEST(OrderedIdsTest, GivenIdsStayAsTheyAreAndAreKnown) {
    OrderedIds ids({5, 3, 5});
    EXPECT_THAT(ids.Ids(), ElementsAre(5, 3, 5));
    ids.AppendNew(3);
    ids.AppendNew(4);
    EXPECT_THAT(ids.Ids(), ElementsAre(5, 3, 5, 4));
}

TEST(OrderedIdsTest, ANewOrderForgetsTheIdsOfTheOldOne) {
    OrderedIds ids({5});
    ids = OrderedIds({6});
    ids.AppendNew(5);
    EXPECT_THAT(ids.Ids(), ElementsAre(6, 5));
}

}  // namespace
