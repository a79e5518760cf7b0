#include "driverhost/plugins/HomeChanges.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace driverhost {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const DriverEntry kLamp{1, "lamp", "probe", "/plugins/probe.so", "<config/>"};
const DriverEntry kDoor{2, "door", "panel", "/plugins/panel.so", "<config/>"};

Home HomeOf(const std::vector<DriverEntry>& drivers) {
    return {std::nullopt, drivers};
}

TEST(HomeChanges, TheSameDriversInAnotherOrderAreNoChange) {
    const HomeChanges changes = CompareHomes({kLamp, kDoor}, HomeOf({kDoor, kLamp}));
    EXPECT_THAT(changes.incoming, IsEmpty());
    EXPECT_THAT(changes.outgoing, IsEmpty());
    EXPECT_EQ(changes.summary, "no driver changed");
}

TEST(HomeChanges, DriversComeAndGo) {
    const HomeChanges changes = CompareHomes({kLamp}, HomeOf({kDoor}));
    EXPECT_THAT(changes.incoming, ElementsAre(kDoor));
    EXPECT_THAT(changes.outgoing, ElementsAre("lamp"));
    EXPECT_EQ(changes.summary, "driver door is new, driver lamp is gone");
}

TEST(HomeChanges, AChangedDriverGoesAndComes) {
    DriverEntry changed = kLamp;
    changed.config = "<config><key>k</key></config>";
    const HomeChanges changes = CompareHomes({kLamp}, HomeOf({changed}));
    EXPECT_THAT(changes.incoming, ElementsAre(changed));
    EXPECT_THAT(changes.outgoing, ElementsAre("lamp"));
    EXPECT_EQ(changes.summary, "driver lamp is changed and starts anew");
}

}  // namespace
}  // namespace driverhost
