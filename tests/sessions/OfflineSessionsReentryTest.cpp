// Ending sessions while drivers call back, remove and delete devices, or throw.
#include <stdexcept>

#include "tests/sessions/OfflineFixture.h"

namespace {

using test::FakeDevice;
using testing::ElementsAre;
using testing::IsEmpty;

class EndingAllSessions : public test::OfflineFixture {};
class EndingBroadcasts : public test::OfflineFixture {};
class EndingOneSession : public test::OfflineFixture {};

TEST_F(EndingAllSessions, TellsADeviceNothingAfterItRemovedAndDeletedItself) {
    Start();
    for (const std::string operation : {"findSessionId", "HangupSipSession"}) {
        FakeDevice& device = AddKey(3, "", {{"hall", 1}});
        AddKey(5, "hall");
        AddKey(7, "", {{"hall", 2}});
        device.Next(operation, [&] { RemoveAndDelete(device); });
        End("hall", "down");
        EXPECT_THAT(Take("device 7 "), ElementsAre(Asked(7, "hall"), HungUp(7, 2))) << operation;
        EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(3));
    }
}

TEST_F(EndingAllSessions, DoesNotAskADeviceThatGoesWhenItIsAskedForItsKey) {
    Start();
    FakeDevice& device = AddKey(9, "", {{"hall", 1}});
    AddKey(5, "hall");
    recorder.Next("log 7 IntercomAgent::EndOfflineSession - connection",
                  [&] { device.Next("getKey", [&] { RemoveAndDelete(device); }); });
    End("hall", "down");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(5, "hall")));
}

TEST_F(EndingAllSessions, DoesNotAskADeviceThatGoesWhileItIsLogged) {
    Start();
    FakeDevice& device = AddKey(9, "attic", {{"hall", 1}});
    AddKey(5, "hall");
    recorder.Next(Log("checking endpoint attic"), [&] { RemoveAndDelete(device); });
    End("hall", "down");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(5, "hall")));
}

TEST_F(EndingAllSessions, PassesOverADeviceThatAnotherOneRemoved) {
    Start();
    for (const std::string operation : {"findSessionId", "HangupSipSession"}) {
        AddKey(5, "hall");
        FakeDevice& gone = AddKey(7, "", {{"hall", 2}});
        AddKey(9, "", {{"hall", 4}});
        AddKey(3, "", {{"hall", 1}}).Next(operation, [&] { RemoveAndDelete(gone); });
        End("hall", "down");
        EXPECT_THAT(Take("device "), ElementsAre(Asked(3, "hall"), HungUp(3, 1), Asked(5, "hall"),
                                                 Asked(9, "hall"), HungUp(9, 4)))
            << operation;
    }
}

TEST_F(EndingAllSessions, GoesOnThoughTheReportingDeviceItselfGoes) {
    Start();
    FakeDevice& local = AddKey(5, "hall", {{"hall", 3}});
    AddKey(9, "", {{"hall", 4}});
    AddKey(3, "", {{"hall", 1}}).Next("HangupSipSession", [&] { RemoveAndDelete(local); });
    End("hall", "down");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(3, "hall"), HungUp(3, 1), Asked(9, "hall"), HungUp(9, 4)));
}

TEST_F(EndingAllSessions, TellsTheDeviceThatTookAnothersPlace) {
    Start();
    AddKey(5, "hall");
    FakeDevice& old = AddKey(7, "", {{"hall", 2}});
    FakeDevice& replacing = NewDevice(7, 1, "new");
    old.Next("findSessionId", [&] { ReplaceAndDelete(old, replacing); });
    End("hall", "down");
    EXPECT_THAT(Take("device "), ElementsAre("device new HangupSipSession 2"));
}

TEST_F(EndingAllSessions, DoesNotAskDevicesThatCameMeanwhile) {
    Start();
    FakeDevice& late = NewDevice(9);
    late.sessions = {{"hall", 4}};
    AddKey(5, "hall", {{"hall", 3}}).Next("HangupSipSession", [&] { Agent().AddIntercomDevice(9, &late); });
    End("hall", "down");
    EXPECT_THAT(Take("device 9"), ElementsAre("device 9 updateSipInfoFromDriver"));
}

TEST_F(EndingAllSessions, LetsDriversReportTheFinishedCall) {
    Start();
    AddKey(3, "", {{"hall", 1}}).Next("HangupSipSession", [&] {
        Drivers().AddRecentContact("n", "a", "t", "l", true, true);
    });
    AddKey(5, "hall", {{"hall", 2}});
    End("hall", "down");
    EXPECT_THAT(Take("ui "), ElementsAre("ui <RecentContactAdded><id>0</id></RecentContactAdded>"));
    EXPECT_THAT(Ui("getRecentContactList"), testing::HasSubstr("<id>0</id>"));
}

TEST_F(EndingAllSessions, CanBeReportedAgainFromWithin) {
    Start();
    AddKey(3, "", {{"hall", 1}});
    FakeDevice& local = AddKey(5, "hall");
    local.Next("findSessionId", [&] { End("hall", "down"); });
    End("hall", "down");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(3, "hall"), HungUp(3, 1), Asked(5, "hall"),
                                             Asked(3, "hall"), HungUp(3, 1), Asked(5, "hall")));
}

TEST_F(EndingAllSessions, IsNotStoppedByADeviceThatThrows) {
    Start();
    FakeDevice& failing = AddKey(3, "", {{"hall", 1}});
    AddKey(5, "hall", {{"hall", 3}});
    AddKey(7, "", {{"hall", 2}});
    for (const std::string operation : {"findSessionId", "HangupSipSession"}) {
        failing.Next(operation, [] { throw std::runtime_error("no line"); });
        EXPECT_THROW(End("hall", "down"), std::runtime_error) << operation;
        EXPECT_THAT(Take("device 5 Hangup"), ElementsAre(HungUp(5, 3))) << operation;
    }
    End("hall", "down");
    EXPECT_THAT(Take("device 3 Hangup"), ElementsAre(HungUp(3, 1)));
}

TEST_F(EndingAllSessions, PassesOnTheFirstOfTwoExceptions) {
    Start();
    AddKey(3, "").Next("findSessionId", [] { throw std::runtime_error("first"); });
    AddKey(5, "hall").Next("findSessionId", [] { throw std::logic_error("second"); });
    EXPECT_THROW(End("hall", "down"), std::runtime_error);
}

TEST_F(EndingAllSessions, KeepsTheKeyThoughTheDriverChangesItsText) {
    Start();
    std::string key = "hall";
    std::string remote = "down";
    AddKey(5, "hall").Next("getKey", [&] {
        key = "changed";
        remote.clear();
    });
    Drivers().EndOfflineSession(key, remote);
    EXPECT_THAT(Take("device "), ElementsAre(Asked(5, "hall")));
}

TEST_F(EndingBroadcasts, TellsADeviceNothingAfterItRemovedAndDeletedItself) {
    Start();
    FakeDevice& device = AddKey(3, "", {{"hall", 1}});
    AddKey(5, "hall");
    AddKey(7, "", {{"hall", 2}});
    device.Next("findSessionId", [&] { RemoveAndDelete(device); });
    End("hall", "");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(3, "hall"), Asked(7, "hall"), HungUp(7, 2)));
}

TEST_F(EndingBroadcasts, PassesOverADeviceThatAnotherOneRemoved) {
    Start();
    AddKey(5, "hall");
    FakeDevice& gone = AddKey(7, "", {{"hall", 2}});
    AddKey(9, "", {{"hall", 4}});
    AddKey(3, "", {{"hall", 1}}).Next("HangupSipSession", [&] { RemoveAndDelete(gone); });
    End("hall", "");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(3, "hall"), HungUp(3, 1), Asked(9, "hall"), HungUp(9, 4)));
}

TEST_F(EndingBroadcasts, AreNotStoppedByADeviceThatThrows) {
    Start();
    FakeDevice& failing = AddKey(3, "", {{"hall", 1}});
    AddKey(5, "hall");
    AddKey(7, "", {{"hall", 2}});
    for (const std::string operation : {"findSessionId", "HangupSipSession"}) {
        failing.Next(operation, [] { throw std::runtime_error("no line"); });
        EXPECT_THROW(End("hall", ""), std::runtime_error) << operation;
        EXPECT_THAT(Take("device 7 Hangup"), ElementsAre(HungUp(7, 2))) << operation;
    }
}

TEST_F(EndingOneSession, DoesNotFindALocalDeviceThatGoesWhenItIsAskedForItsKey) {
    Start();
    FakeDevice& local = AddKey(5, "hall", {{"attic", 6}});
    AddKey(7, "attic");
    local.Next("getKey", [&] { RemoveAndDelete(local); });
    End("hall", "attic");
    EXPECT_THAT(Take("device "), IsEmpty());
}

TEST_F(EndingOneSession, TellsTheLocalDeviceNothingAfterItRemovedAndDeletedItself) {
    Start();
    FakeDevice& local = AddKey(5, "hall", {{"attic", 6}});
    AddKey(7, "attic");
    local.Next("findSessionId", [&] { RemoveAndDelete(local); });
    End("hall", "attic");
    EXPECT_THAT(Take("device 5"), ElementsAre(Asked(5, "attic")));
}

TEST_F(EndingOneSession, TellsTheLocalDeviceNothingAfterThePeerRemovedIt) {
    Start();
    FakeDevice& local = AddKey(5, "hall", {{"attic", 6}});
    AddKey(7, "attic").Next("findSessionId", [&] { RemoveAndDelete(local); });
    End("hall", "attic");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(5, "attic"), Asked(7, "hall")));
}

TEST_F(EndingOneSession, TellsTheLocalDeviceNothingAfterThePeerRemovedItWhenAskedForItsKey) {
    Start();
    FakeDevice& local = AddKey(5, "hall", {{"attic", 6}});
    AddKey(7, "attic").Next("getKey", [&] { RemoveAndDelete(local); });
    End("hall", "attic");
    EXPECT_THAT(Take("device "), IsEmpty());
}

TEST_F(EndingOneSession, HangsUpThoughThePeerHasGoneMeanwhile) {
    Start();
    FakeDevice& peer = AddKey(7, "attic", {{"hall", 8}});
    AddKey(5, "hall", {{"attic", 6}}).Next("findSessionId", [&] { RemoveAndDelete(peer); });
    End("hall", "attic");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(5, "attic"), HungUp(5, 6)));
}

TEST_F(EndingOneSession, HangsUpThoughThePeerRemovesAndDeletesItself) {
    Start();
    FakeDevice& peer = AddKey(7, "attic");
    AddKey(5, "hall", {{"attic", 6}});
    peer.Next("findSessionId", [&] { RemoveAndDelete(peer); });
    End("hall", "attic");
    EXPECT_THAT(Take("device "), ElementsAre(Asked(5, "attic"), Asked(7, "hall"), HungUp(5, 6)));
}

TEST_F(EndingOneSession, LetsTheLocalDeviceLeaveWhileItHangsUp) {
    Start();
    FakeDevice& local = AddKey(5, "hall", {{"attic", 6}});
    AddKey(7, "attic");
    local.Next("HangupSipSession", [&] { RemoveAndDelete(local); });
    End("hall", "attic");
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
}

TEST_F(EndingOneSession, PassesOnWhatADeviceThrows) {
    Start();
    FakeDevice& local = AddKey(5, "hall", {{"attic", 6}});
    FakeDevice& peer = AddKey(7, "attic");
    const auto fail = [] { throw std::runtime_error("no line"); };
    for (FakeDevice* const device : {&local, &peer}) {
        device->Next("findSessionId", fail);
        EXPECT_THROW(End("hall", "attic"), std::runtime_error);
        device->Next("getKey", fail);
        EXPECT_THROW(End("hall", "attic"), std::runtime_error);
    }
    local.Next("HangupSipSession", fail);
    EXPECT_THROW(End("hall", "attic"), std::runtime_error);
    EXPECT_NE(nullptr, Drivers().GetIntercomDevice(5));
}

}  // namespace
