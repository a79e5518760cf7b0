#include "devices/OrderedIds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

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
