// Which sessions end when a driver reports a lost peer, and every log line on the way.
#include "tests/sessions/OfflineFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LostDevice : public test::OfflineFixture {};
class LostBroadcast : public test::OfflineFixture {};
class LostConnection : public test::OfflineFixture {};
class LostPeer : public test::OfflineFixture {};

TEST_F(LostDevice, WithoutAKeyIsNotLookedFor) {
    Start();
    AddKey(5, "", {{"", 3}});
    for (const std::string remote : {"", "down", "hall"})
        End("", remote);
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(LostDevice, WithAnUnknownKeyIsLookedForOnly) {
    Start();
    AddKey(5, "hall", {{"Hall", 3}});
    for (const std::string remote : {"", "down", "hall"}) {
        End("Hall", remote);
        EXPECT_THAT(Take(), ElementsAre(Log("finding local device Hall")));
    }
}

TEST_F(LostDevice, IsTheOneWithTheLowestIdThatBearsTheKey) {
    Start();
    AddKey(9, "hall", {{"attic", 1}});
    AddKey(5, "hall", {{"attic", 2}});
    AddKey(7, "attic");
    End("hall", "attic");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(5, "attic"), Asked(7, "hall"), HungUp(5, 2)));
}

TEST_F(LostDevice, IsLoggedWithTheKeyThatItAnswersWhenItIsFound) {
    Start();
    test::FakeDevice& device = AddKey(5, "hall");
    device.Next("getKey", [&] { device.deviceKey = "renamed"; });
    End("hall", "attic");
    EXPECT_THAT(Take(), ElementsAre(Log("finding local device hall"), Log("found local device renamed"),
                                    Log("finding remote device attic")));
}

TEST_F(LostDevice, MarksNothingAndSendsNothing) {
    Start();
    AddKey(3, "", {{"hall", 1}});
    AddKey(5, "hall", {{"attic", 2}, {"hall", 3}});
    AddKey(7, "attic");
    for (const std::string remote : {"", "down", "attic"})
        End("hall", remote);
    const auto lines = Take();
    EXPECT_THAT(lines, testing::Not(testing::Contains("mark")));
    EXPECT_THAT(lines,
                testing::Each(testing::AnyOf(testing::StartsWith("log 7 "), testing::StartsWith("device "))));
}

TEST_F(LostDevice, IsLoggedAsItStands) {
    Start();
    AddKey(5, "%s%n " + std::string(3000, 'x'));
    End("%s%n " + std::string(3000, 'x'), "down");
    EXPECT_THAT(Take("log"), testing::Contains(Log("found local device %s%n " + std::string(3000, 'x'))));
}

TEST_F(LostBroadcast, HangsUpTheSessionsOfKeylessDevicesInAscendingOrder) {
    Start();
    AddKey(9, "", {{"hall", 0}});
    AddKey(3, "", {{"hall", 254}, {"attic", 4}});
    AddKey(5, "hall", {{"hall", 6}});
    AddKey(6, "", {{"attic", 4}});
    AddKey(7, "attic", {{"hall", 8}});
    End("hall", "");
    EXPECT_THAT(Take(), ElementsAre(Log("finding local device hall"), Log("found local device hall"),
                                    Log("checking for broadcast endpoints"),             //
                                    Log("checking endpoint "), Asked(3, "hall"),         //
                                    Log("hangup endpoint session 254"), HungUp(3, 254),  //
                                    Log("checking endpoint hall"),                       //
                                    Log("checking endpoint "), Asked(6, "hall"),         //
                                    Log("checking endpoint attic"),                      //
                                    Log("checking endpoint "), Asked(9, "hall"),         //
                                    Log("hangup endpoint session 0"), HungUp(9, 0)));
}

TEST_F(LostBroadcast, NeverAsksADeviceWithAKey) {
    Start();
    AddKey(5, "hall", {{"hall", 6}});
    AddKey(7, "attic", {{"hall", 8}});
    End("hall", "");
    EXPECT_THAT(Take("device "), IsEmpty());
}

TEST_F(LostConnection, HangsUpTheSessionsOfEveryDeviceInAscendingOrder) {
    Start();
    AddKey(9, "cellar", {{"hall", 0}});
    AddKey(3, "", {{"hall", 254}});
    AddKey(5, "hall", {{"hall", 6}, {"attic", 4}});
    AddKey(7, "attic", {{"cellar", 8}});
    End("hall", "down");
    EXPECT_THAT(Take(), ElementsAre(Log("finding local device hall"), Log("found local device hall"),
                                    Log("connection status changed, end sessions"),      //
                                    Log("checking endpoint "), Asked(3, "hall"),         //
                                    Log("hangup endpoint session 254"), HungUp(3, 254),  //
                                    Log("checking endpoint hall"), Asked(5, "hall"),     //
                                    Log("hangup endpoint session 6"), HungUp(5, 6),      //
                                    Log("checking endpoint attic"), Asked(7, "hall"),    //
                                    Log("checking endpoint cellar"), Asked(9, "hall"),   //
                                    Log("hangup endpoint session 0"), HungUp(9, 0)));
}

TEST_F(LostConnection, IsReportedInLowerCaseOnly) {
    Start();
    AddKey(5, "hall", {{"hall", 6}});
    for (const std::string remote : {"Down", "DOWN", "down ", " down"}) {
        End("hall", remote);
        EXPECT_THAT(Take(), ElementsAre(Log("finding local device hall"), Log("found local device hall"),
                                        Log("finding remote device " + remote)));
    }
}

TEST_F(LostConnection, IsMeantThoughADeviceBearsThatKey) {
    Start();
    AddKey(5, "hall", {{"down", 6}});
    AddKey(7, "down");
    End("hall", "down");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(5, "hall"), Asked(7, "hall")));
}

TEST_F(LostConnection, IsReportedByADeviceOfThatKeyToo) {
    Start();
    AddKey(7, "down", {{"down", 2}});
    End("down", "down");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(7, "down"), HungUp(7, 2)));
}

TEST_F(LostPeer, ThatKnowsNothingOfTheSessionMakesTheLocalDeviceHangUp) {
    Start();
    AddKey(5, "hall", {{"attic", 6}});
    AddKey(7, "attic", {{"cellar", 8}});
    AddKey(9, "cellar", {{"hall", 9}});
    End("hall", "attic");
    EXPECT_THAT(Take(), ElementsAre(Log("finding local device hall"), Log("found local device hall"),
                                    Log("finding remote device attic"), Log("found remote device attic"),
                                    Asked(5, "attic"), Asked(7, "hall"), HungUp(5, 6)));
}

TEST_F(LostPeer, ThatStillHoldsTheSessionPreventsTheHangUp) {
    Start();
    AddKey(5, "hall", {{"attic", 6}});
    AddKey(7, "attic", {{"hall", 0}});
    End("hall", "attic");
    EXPECT_THAT(Take(), ElementsAre(Log("finding local device hall"), Log("found local device hall"),
                                    Log("finding remote device attic"), Log("found remote device attic"),
                                    Asked(5, "attic"), Asked(7, "hall")));
}

TEST_F(LostPeer, WithoutASessionIsAnErrorInTheLogAndNotAsked) {
    Start();
    AddKey(5, "hall", {{"cellar", 6}});
    AddKey(7, "attic", {{"hall", 8}});
    End("hall", "attic");
    EXPECT_THAT(Take(), ElementsAre(Log("finding local device hall"), Log("found local device hall"),
                                    Log("finding remote device attic"), Log("found remote device attic"),
                                    Asked(5, "attic"), Log("Error: No session between local and remote")));
}

TEST_F(LostPeer, WithAnUnknownKeyIsLookedForOnly) {
    Start();
    AddKey(5, "hall", {{"attic", 6}});
    End("hall", "attic");
    EXPECT_THAT(Take(), ElementsAre(Log("finding local device hall"), Log("found local device hall"),
                                    Log("finding remote device attic")));
}

TEST_F(LostPeer, MayHoldSessionZeroAnd254) {
    Start();
    AddKey(7, "attic");
    for (const int session : {0, 254}) {
        AddKey(5, "hall", {{"attic", static_cast<unsigned char>(session)}});
        End("hall", "attic");
        EXPECT_THAT(Take("device 5 Hangup"), ElementsAre(HungUp(5, session)));
    }
}

TEST_F(LostPeer, IsTheOneWithTheLowestIdThatBearsTheKey) {
    Start();
    AddKey(5, "hall", {{"attic", 6}});
    AddKey(9, "attic", {{"hall", 1}});
    AddKey(7, "attic");
    End("hall", "attic");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(5, "attic"), Asked(7, "hall"), HungUp(5, 6)));
}

TEST_F(LostPeer, MayBeTheReportingDeviceItself) {
    Start();
    AddKey(5, "hall", {{"hall", 6}});
    End("hall", "hall");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(5, "hall"), Asked(5, "hall")));
}

TEST_F(LostPeer, IsLoggedWithTheKeyThatItAnswersWhenItIsFound) {
    Start();
    AddKey(5, "hall", {{"attic", 6}});
    test::FakeDevice& peer = AddKey(7, "attic");
    peer.Next("getKey", [&] { peer.deviceKey = "renamed"; });
    End("hall", "attic");
    EXPECT_THAT(Take(), ElementsAre(Log("finding local device hall"), Log("found local device hall"),
                                    Log("finding remote device attic"), Log("found remote device renamed"),
                                    Asked(5, "attic"), Asked(7, "hall"), HungUp(5, 6)));
}

}  // namespace
