// The record of a session, for device drivers.
#include "calls/IntercomSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/AssertReports.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

IntercomSession SessionOf(const std::vector<std::uint32_t>& devices) {
    IntercomSession session(1);
    session.devices = devices;
    return session;
}

TEST(IntercomSession, KeepsItsIdAndBeginsWithoutDevices) {
    test::AssertReports asserts;
    const IntercomSession session(4294967295U);
    EXPECT_EQ(4294967295U, session.sessionId);
    EXPECT_EQ(0U, session.reserved);
    EXPECT_THAT(session.devices, IsEmpty());
    EXPECT_THAT(asserts.reports, IsEmpty());
    EXPECT_THAT(asserts.lines, IsEmpty());
}

TEST(IntercomSession, WithIdZeroIsReportedOnceAndKeepsTheId) {
    test::AssertReports asserts;
    const IntercomSession session(0);
    EXPECT_THAT(asserts.reports, ElementsAre("domovia_agent_intercom/dvw/IntercomSession:13"));
    EXPECT_EQ(0U, session.sessionId);
    EXPECT_THAT(session.devices, IsEmpty());
}

TEST(IntercomSession, WithIdZeroIsLoggedWithTheStack) {
    test::AssertReports asserts;
    const IntercomSession session(0);
    ASSERT_LT(1U, asserts.lines.size());
    EXPECT_EQ("3 assertion failed at domovia_agent_intercom/dvw/IntercomSession:13", asserts.lines.front());
}

TEST(IntercomSession, ContainsTheDevicesInItsList) {
    const IntercomSession session = SessionOf({4, 7, 4294967295U});
    EXPECT_TRUE(session.containsDevice(4));
    EXPECT_TRUE(session.containsDevice(7));
    EXPECT_TRUE(session.containsDevice(4294967295U));
    EXPECT_FALSE(session.containsDevice(5));
    EXPECT_FALSE(SessionOf({}).containsDevice(0));
}

TEST(IntercomSession, LosesTheFirstOfEqualDevices) {
    IntercomSession session = SessionOf({4, 7, 4});
    EXPECT_TRUE(session.removeDeviceFromList(4));
    EXPECT_THAT(session.devices, ElementsAre(7, 4));
    EXPECT_TRUE(session.containsDevice(4));
    EXPECT_TRUE(session.removeDeviceFromList(4));
    EXPECT_FALSE(session.removeDeviceFromList(4));
    EXPECT_THAT(session.devices, ElementsAre(7));
}

TEST(IntercomSession, KeepsTheOrderOfTheOtherDevices) {
    IntercomSession session = SessionOf({9, 3, 5, 1});
    EXPECT_TRUE(session.removeDeviceFromList(3));
    EXPECT_THAT(session.devices, ElementsAre(9, 5, 1));
}

TEST(IntercomSession, LosesNothingWhenTheDeviceIsAbsent) {
    IntercomSession session = SessionOf({4, 7});
    EXPECT_FALSE(session.removeDeviceFromList(5));
    EXPECT_THAT(session.devices, ElementsAre(4, 7));
    IntercomSession empty = SessionOf({});
    EXPECT_FALSE(empty.removeDeviceFromList(0));
}

TEST(IntercomSession, NeverTouchesItsReservedWord) {
    IntercomSession session = SessionOf({4});
    session.reserved = 77;
    session.containsDevice(4);
    session.removeDeviceFromList(4);
    EXPECT_EQ(77U, session.reserved);
}

}  // namespace
