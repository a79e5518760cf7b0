// The four call requests: endpoints, media modes, addresses.
#include <stdexcept>

#include "tests/support/AgentFixture.h"

namespace {

using dvIntercom::MediaMode;
using test::FakeDevice;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kLowest = -2147483647 - 1;
constexpr int kHighest = 2147483647;

/// A caller (3) and a called device (5, "Hall") behind the SIP proxy 10.0.0.2.
class CallRequests : public test::AgentFixture {
protected:
    void SetUp() override {
        Start();
        Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
        source = &AddDevice(3);
        source->intercomName = "Door";
        destination = &AddDevice(5);
        destination->intercomName = "Hall";
    }
    void Equip(bool camera, bool answerWithVideo, bool display) {
        source->camera = camera;
        source->answerWithVideo = answerWithVideo;
        source->display = display;
    }
    /// What the call itself does is all that stays recorded.
    void GoAway(FakeDevice& device) {
        RemoveAndDelete(device);
        Take();
    }

    FakeDevice* source = nullptr;
    FakeDevice* destination = nullptr;
};

class VideoType : public CallRequests {
protected:
    /// The mode for every mix of camera and answer-with-video that gives `cameraVideo`.
    void ExpectMode(int expected, int type, int requested, bool cameraVideo, bool display) {
        for (const bool camera : {false, true}) {
            for (const bool answer : {false, true}) {
                if ((camera && answer) != cameraVideo) continue;
                Equip(camera, answer, display);
                EXPECT_EQ(expected, Evaluate(type, requested))
                    << "type " << type << " requested " << requested << " camera " << camera << " answer "
                    << answer << " display " << display;
            }
        }
    }
    int Evaluate(int type, int requested) {
        return Agent().evalVideoType(source, static_cast<IntercomAgent::SessionType>(type),
                                     static_cast<MediaMode>(requested));
    }
};

class RegularCall : public CallRequests {
protected:
    void Call(const test::Parameters& parameters) { Plain("SIP_REGULAR_CALL", parameters); }
    void CallHall(const std::string& video, const std::string& ring) {
        Call({{"source", "3"}, {"destination", "5"}, {"video", video}, {"ring", ring}});
    }
};

class MonitorCall : public CallRequests {
protected:
    void Monitor(const test::Parameters& parameters) { Plain("SIP_MONITOR_CALL", parameters); }
};

class ExternalCall : public CallRequests {
protected:
    void Call(const test::Parameters& parameters) { Plain("SIP_EXTERNAL_CALL", parameters); }
};

class BroadcastCall : public CallRequests {
protected:
    void Broadcast(const std::string& destinations, const std::string& from = "3") {
        Plain("SIP_BROADCAST_CALL", {{"source", from}, {"destinations", destinations}, {"video", "0"}});
    }
    FakeDevice& AddNamed(unsigned long id, const std::string& name) {
        FakeDevice& device = AddDevice(id);
        device.intercomName = name;
        return device;
    }
};

TEST_F(VideoType, OfABroadcastDependsOnTheCameraAlone) {
    for (const int requested : {-1, 0, 1, 2, 3, 4, kLowest, kHighest}) {
        for (const bool display : {false, true}) {
            ExpectMode(1, 1, requested, true, display);
            ExpectMode(3, 1, requested, false, display);
        }
    }
}

TEST_F(VideoType, OfAMonitorDependsOnTheDisplayAlone) {
    for (const int requested : {-1, 0, 1, 2, 3, 4, kLowest, kHighest}) {
        for (const bool cameraVideo : {false, true}) {
            ExpectMode(2, 2, requested, cameraVideo, true);
            ExpectMode(3, 2, requested, cameraVideo, false);
        }
    }
}

TEST_F(VideoType, OfARegularCallThatMaySendDependsOnBoth) {
    for (const int requested : {0, 1}) {
        ExpectMode(0, 0, requested, true, true);
        ExpectMode(1, 0, requested, true, false);
        ExpectMode(2, 0, requested, false, true);
        ExpectMode(3, 0, requested, false, false);
    }
}

TEST_F(VideoType, OfARegularCallThatMayNotSendDependsOnTheDisplay) {
    for (const int requested : {2, 3}) {
        for (const bool cameraVideo : {false, true}) {
            ExpectMode(2, 0, requested, cameraVideo, true);
            ExpectMode(3, 0, requested, cameraVideo, false);
        }
    }
}

TEST_F(VideoType, OfARegularCallWithAModeOutsideTheTableIsNone) {
    for (const int requested : {-1, 4, 7, kLowest, kHighest}) {
        for (const bool cameraVideo : {false, true}) {
            for (const bool display : {false, true})
                ExpectMode(3, 0, requested, cameraVideo, display);
        }
    }
}

TEST_F(VideoType, OfAnUnknownTypeIsNoneAndLogged) {
    Equip(true, true, true);
    for (const int type : {-1, 3, 7}) {
        EXPECT_EQ(3, Evaluate(type, 0));
        EXPECT_THAT(Take(), ElementsAre("log 3 IntercomAgent::evaluateAudioType invalid call type: " +
                                        std::to_string(type)));
    }
}

TEST_F(VideoType, AsksDisplayCameraAndAnswerInThisOrderWhateverTheType) {
    source->Show("");
    for (const int type : {0, 1, 2, 7}) {
        Equip(true, true, true);
        Evaluate(type, 9);
        EXPECT_THAT(Take("device "),
                    ElementsAre("device 3 hasDisplay", "device 3 hasCamera", "device 3 getAnswerWithVideo"));
        Equip(false, true, true);
        Evaluate(type, 9);
        EXPECT_THAT(Take("device "), ElementsAre("device 3 hasDisplay", "device 3 hasCamera"));
    }
}

TEST_F(VideoType, IsAskedBeforeAnUnknownTypeIsLogged) {
    source->Show("hasCamera");
    Evaluate(7, 0);
    EXPECT_THAT(Take(), ElementsAre("device 3 hasCamera",
                                    "log 3 IntercomAgent::evaluateAudioType invalid call type: 7"));
}

TEST_F(RegularCall, StartsACallToTheNameAtTheProxy) {
    CallHall("0", "1");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 3 Hall@10.0.0.2"));
}

TEST_F(RegularCall, WithoutRingingPassesAudioMinusOne) {
    CallHall("0", "0");
    Call({{"source", "3"}, {"destination", "5"}, {"video", "0"}});
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall -1 3 Hall@10.0.0.2",
                                    "device 3 StartSipCall -1 3 Hall@10.0.0.2"));
}

TEST_F(RegularCall, RingsForAnyOtherNumber) {
    for (const std::string ring : {"1", "-1", "2", "2147483647", "4294967296"}) {
        CallHall("0", ring);
        EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 3 Hall@10.0.0.2")) << ring;
    }
}

TEST_F(RegularCall, AsksForVideoByTheRequestedMode) {
    Equip(true, true, true);
    const std::pair<const char*, const char*> modes[] = {{"1", "0"},  {"2", "2"}, {"7", "3"},
                                                         {"-1", "3"}, {"", "0"},  {"99999999999", "3"}};
    for (const auto& [requested, expected] : modes) {
        CallHall(requested, "1");
        EXPECT_THAT(Take(),
                    ElementsAre("device 3 StartSipCall 0 " + std::string(expected) + " Hall@10.0.0.2"))
            << requested;
    }
}

TEST_F(RegularCall, FromACameraThatDoesNotAnswerWithVideoSendsNone) {
    Equip(true, false, true);
    CallHall("1", "1");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 2 Hall@10.0.0.2"));
}

TEST_F(RegularCall, LooksAtTheCapabilitiesOfTheCallerOnly) {
    destination->camera = destination->answerWithVideo = destination->display = true;
    CallHall("0", "1");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 3 Hall@10.0.0.2"));
}

TEST_F(RegularCall, WithAnUnknownEndIsDroppedWithoutAskingAnybody) {
    source->Show("");
    destination->Show("");
    Call({{"source", "4"}, {"destination", "5"}});
    Call({{"source", "3"}, {"destination", "4"}});
    Call({{"source", "3"}});
    Call({{"destination", "5"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(RegularCall, WithoutAProxyAddressEndsInAnAt) {
    Ui("setSipProxyIP", {{"address", ""}});
    Take();
    CallHall("0", "1");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 3 Hall@"));
}

TEST_F(RegularCall, TakesNameAndProxyAsTheyAre) {
    destination->intercomName = " Große <Halle> @1 ";
    Ui("setSipProxyIP", {{"address", " proxy "}});
    Take();
    CallHall("0", "1");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 3  Große <Halle> @1 @ proxy "));
}

TEST_F(RegularCall, MayBeToOneself) {
    Call({{"source", "3"}, {"destination", "3"}, {"ring", "1"}});
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 3 Door@10.0.0.2"));
}

TEST_F(RegularCall, DoesNotMindDoNotDisturb) {
    destination->dnd = destination->monitorMode = true;
    CallHall("0", "1");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 3 Hall@10.0.0.2"));
}

TEST_F(RegularCall, ReadsUnsignedIds) {
    AddDevice(4294967295UL, 1, "highest").intercomName = "Top";
    Call({{"source", "-1"}, {"destination", "4294967296"}, {"ring", "1"}});
    EXPECT_THAT(Take(), ElementsAre("device highest StartSipCall 0 3 Top@10.0.0.2"));
}

TEST_F(RegularCall, NeverTakesAnIdFarBelowZeroForDeviceZero) {
    AddDevice(0);
    Call({{"source", "-4294967296"}, {"destination", "5"}, {"ring", "1"}});
    Call({{"source", "3"}, {"destination", "-99999999999999999999"}, {"ring", "1"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(RegularCall, IsDroppedWhenTheCallerGoesAwayWhileItIsAsked) {
    for (const char* const query : {"hasDisplay", "hasCamera", "getAnswerWithVideo"}) {
        SCOPED_TRACE(query);
        Equip(true, true, true);
        source->Next(query, [&] { GoAway(*source); });
        CallHall("0", "1");
        EXPECT_THAT(Take(), IsEmpty());
        source = &AddDevice(3);
    }
}

TEST_F(RegularCall, AsksACallerNothingMoreThatLeftWhileAnotherDeviceCame) {
    Equip(true, true, true);
    FakeDevice& late = NewDevice(9);
    bool asked = false;
    source->Next("hasDisplay", [&] {
        Agent().OnDeviceRemoved(3);
        Agent().AddIntercomDevice(9, &late);
    });
    source->Next("hasCamera", [&] { asked = true; });
    CallHall("0", "1");
    EXPECT_FALSE(asked);
}

TEST_F(RegularCall, KeepsItsVideoThoughAnotherDeviceCameWhileTheCallerWasAsked) {
    Equip(true, true, true);
    FakeDevice& late = NewDevice(9);
    source->Next("hasDisplay", [&] {
        Agent().AddIntercomDevice(9, &late);
        Take();
    });
    CallHall("0", "1");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 0 Hall@10.0.0.2"));
}

TEST_F(RegularCall, IsStartedByTheDeviceThatTookTheCallersPlaceWhileItWasAsked) {
    Equip(true, true, true);
    FakeDevice& replacing = NewDevice(3, 1, "new");
    source->Next("hasDisplay", [&] {
        ReplaceAndDelete(*source, replacing);
        Take();
    });
    CallHall("0", "1");
    EXPECT_THAT(Take(), ElementsAre("device new StartSipCall 0 2 Hall@10.0.0.2")) << "no camera known";
}

TEST_F(RegularCall, IsDroppedWhenTheCalledDeviceGoesAwayWhileTheCallerIsAsked) {
    source->Next("hasDisplay", [&] { GoAway(*destination); });
    CallHall("0", "1");
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(RegularCall, IsDroppedWhenTheCallerGoesAwayWhileTheCalledDeviceIsAsked) {
    destination->Next("getIntercomName", [&] { GoAway(*source); });
    CallHall("0", "1");
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(RegularCall, IsStartedThoughTheCalledDeviceGoesAwayWhenAskedForItsName) {
    destination->Next("getIntercomName", [&] { GoAway(*destination); });
    CallHall("0", "1");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 3 Hall@10.0.0.2"));
}

TEST_F(RegularCall, EitherEndMayGoAwayWhenItIsStarted) {
    source->Next("StartSipCall", [&] {
        GoAway(*destination);
        GoAway(*source);
    });
    CallHall("0", "1");
    EXPECT_EQ("<devices/>", Ui("getDeviceList"));
}

TEST_F(RegularCall, MayReportAFinishedCallWhenItIsStarted) {
    source->Next("StartSipCall", [&] { Agent().AddRecentContact("Hall", "5", "t", "0", false, false); });
    CallHall("0", "1");
    EXPECT_THAT(Take("ui "), ElementsAre("ui <RecentContactAdded><id>0</id></RecentContactAdded>"));
}

TEST_F(RegularCall, WhatADeviceThrowsReachesTheHost) {
    source->Next("StartSipCall", [] { throw std::runtime_error("busy"); });
    EXPECT_THROW(CallHall("0", "1"), std::runtime_error);
    destination->Next("getIntercomName", [] { throw std::runtime_error("busy"); });
    EXPECT_THROW(CallHall("0", "1"), std::runtime_error);
    Take();
    CallHall("0", "1");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 3 Hall@10.0.0.2"));
}

TEST_F(MonitorCall, IsStartedWithAudioBothWays) {
    Equip(true, true, true);
    Monitor({{"source", "3"}, {"destination", "5"}, {"video", "0"}});
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipMonitor 0 2 Hall@10.0.0.2"));
}

TEST_F(MonitorCall, WithoutADisplayIsStartedWithoutVideo) {
    Equip(true, true, false);
    Monitor({{"source", "3"}, {"destination", "5"}, {"video", "0"}});
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipMonitor 0 3 Hall@10.0.0.2"));
}

TEST_F(MonitorCall, ReadsNoRing) {
    Monitor({{"source", "3"}, {"destination", "5"}, {"ring", "0"}});
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipMonitor 0 3 Hall@10.0.0.2"));
}

TEST_F(MonitorCall, DoesNotMindTheCalledDevicesSettings) {
    destination->Show("");
    destination->dnd = destination->monitorMode = true;
    Monitor({{"source", "3"}, {"destination", "5"}});
    EXPECT_THAT(Take(),
                ElementsAre("device 5 getIntercomName", "device 3 StartSipMonitor 0 3 Hall@10.0.0.2"));
}

TEST_F(MonitorCall, WithAnUnknownEndIsDroppedWithoutAskingAnybody) {
    source->Show("");
    destination->Show("");
    Monitor({{"source", "4"}, {"destination", "5"}});
    Monitor({{"source", "3"}, {"destination", "4"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(MonitorCall, IsDroppedWhenTheCallerGoesAwayWhileItIsAsked) {
    source->Next("hasDisplay", [&] { GoAway(*source); });
    Monitor({{"source", "3"}, {"destination", "5"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(ExternalCall, UsesTheDestinationAsItStands) {
    Equip(true, true, true);
    Call({{"source", "3"}, {"destination", " sip:ann@example.org;x=<1> "}, {"video", "0"}});
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 0  sip:ann@example.org;x=<1> "));
}

TEST_F(ExternalCall, IsARegularCallAsToVideo) {
    Equip(true, true, true);
    const std::pair<const char*, const char*> modes[] = {{"1", "0"}, {"2", "2"}, {"3", "2"}, {"4", "3"}};
    for (const auto& [requested, expected] : modes) {
        Call({{"source", "3"}, {"destination", "a"}, {"video", requested}});
        EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 " + std::string(expected) + " a"));
    }
}

TEST_F(ExternalCall, ToAnEmptyDestinationIsStartedToo) {
    Call({{"source", "3"}, {"destination", ""}});
    Call({{"source", "3"}});
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 3", "device 3 StartSipCall 0 3"));
}

TEST_F(ExternalCall, ToADeviceIdIsNoCallToThatDevice) {
    Call({{"source", "3"}, {"destination", "5"}});
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 3 5"));
}

TEST_F(ExternalCall, FromAnUnknownDeviceIsDropped) {
    Call({{"source", "4"}, {"destination", "a"}});
    Call({{"destination", "a"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(ExternalCall, IsDroppedWhenTheCallerGoesAwayWhileItIsAsked) {
    source->Next("hasCamera", [&] { GoAway(*source); });
    Call({{"source", "3"}, {"destination", "a"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(BroadcastCall, SpeaksToEveryListedDeviceInTheListsOrder) {
    AddNamed(9, "Attic");
    Equip(true, true, true);
    Broadcast("<list><device>9</device><any>5</any></list>");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipBroadcast 1 1 Attic@10.0.0.2 Hall@10.0.0.2"));
}

TEST_F(BroadcastCall, ReadsTheListWhateverEncodingItDeclares) {
    Broadcast("<?xml version=\"1.0\" encoding=\"utf-16\"?><l><d>5</d></l>");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipBroadcast 1 3 Hall@10.0.0.2"));
}

TEST_F(BroadcastCall, WithoutACameraSendsNoVideo) {
    Equip(false, true, true);
    Broadcast("<l><d>5</d></l>");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipBroadcast 1 3 Hall@10.0.0.2"));
}

TEST_F(BroadcastCall, KeepsDuplicates) {
    Broadcast("<l><d>5</d><d>5</d></l>");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipBroadcast 1 3 Hall@10.0.0.2 Hall@10.0.0.2"));
}

TEST_F(BroadcastCall, LeavesOutItselfUnknownMonitoringAndUndisturbedDevices) {
    AddNamed(7, "Monitor").monitorMode = true;
    AddNamed(9, "Quiet").dnd = true;
    Broadcast("<l><d>3</d><d>4</d><d>7</d><d>5</d><d>9</d></l>");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipBroadcast 1 3 Hall@10.0.0.2"));
}

TEST_F(BroadcastCall, WithNobodyLeftStartsNothing) {
    AddNamed(7, "Monitor").monitorMode = true;
    AddNamed(9, "Quiet").dnd = true;
    Broadcast("<l><d>3</d><d>4</d><d>7</d><d>9</d></l>");
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(BroadcastCall, LeavesItselfOutUnderAnotherIdToo) {
    Agent().AddIntercomDevice(8, source);
    Take();
    Broadcast("<l><d>8</d></l>");
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(BroadcastCall, ReadsNumbersToTheirFirstForeignCharacter) {
    AddNamed(0, "Zero");
    Broadcast("<l><d> +5x</d><d>abc</d><d/><d><e>9</e>5</d></l>");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipBroadcast 1 3 Hall@10.0.0.2 Zero@10.0.0.2 "
                                    "Zero@10.0.0.2 Hall@10.0.0.2"));
}

TEST_F(BroadcastCall, ReadsUnsignedIds) {
    AddNamed(0, "Zero");
    AddNamed(4294967295UL, "Top");
    Broadcast("<l><d>4294967295</d><d>-1</d><d>4294967296</d></l>");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipBroadcast 1 3 Top@10.0.0.2 Top@10.0.0.2 Top@10.0.0.2"));
}

TEST_F(BroadcastCall, NeverTakesAnIdFarBelowZeroForDeviceZero) {
    AddNamed(0, "Zero");
    Broadcast("<l><d>-4294967296</d><d>-99999999999999999999</d></l>");
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(BroadcastCall, ToWhatIsNoListStartsNothingAndLogsNothing) {
    for (const std::string text : {"", "5", "<l/>", "<l>5</l>", "<l><d>5</d>", "<l><d>5</d></l>x"})
        Broadcast(text);
    Plain("SIP_BROADCAST_CALL", {{"source", "3"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(BroadcastCall, FromAnUnknownDeviceIsDroppedWithoutAskingAnybody) {
    destination->Show("");
    Broadcast("<l><d>5</d></l>", "4");
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(BroadcastCall, AsksForMonitorModeBeforeDoNotDisturbAndTheName) {
    destination->Show("");
    Broadcast("<l><d>5</d></l>");
    EXPECT_THAT(Take("device 5"),
                ElementsAre("device 5 getMonitorMode", "device 5 getDnD", "device 5 getIntercomName"));
    destination->monitorMode = destination->dnd = true;
    Broadcast("<l><d>5</d></l>");
    EXPECT_THAT(Take("device 5"), ElementsAre("device 5 getMonitorMode"));
}

TEST_F(BroadcastCall, LeavesOutDevicesThatGoAwayWhileTheyAreAsked) {
    AddNamed(9, "Attic");
    for (const char* const query : {"getMonitorMode", "getDnD"}) {
        SCOPED_TRACE(query);
        FakeDevice& listed = AddNamed(7, "Gone");
        listed.Next(query, [&] { GoAway(listed); });
        Broadcast("<l><d>7</d><d>9</d></l>");
        EXPECT_THAT(Take(), ElementsAre("device 3 StartSipBroadcast 1 3 Attic@10.0.0.2"));
    }
}

TEST_F(BroadcastCall, LeavesOutDevicesRemovedByAnotherOne) {
    FakeDevice& other = AddNamed(9, "Attic");
    destination->Next("getMonitorMode", [&] { GoAway(other); });
    Broadcast("<l><d>5</d><d>9</d></l>");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipBroadcast 1 3 Hall@10.0.0.2"));
}

TEST_F(BroadcastCall, AsksADeviceThatReplacedAListedOne) {
    FakeDevice& old = AddNamed(9, "Attic");
    FakeDevice& replacement = NewDevice(9, 1, "new");
    replacement.intercomName = "Loft";
    destination->Next("getDnD", [&] { ReplaceAndDelete(old, replacement); });
    Broadcast("<l><d>5</d><d>9</d></l>");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipBroadcast 1 3 Hall@10.0.0.2 Loft@10.0.0.2"));
}

TEST_F(BroadcastCall, IsDroppedWhenTheCallerGoesAwayMeanwhile) {
    destination->Next("getMonitorMode", [&] { GoAway(*source); });
    Broadcast("<l><d>5</d></l>");
    EXPECT_THAT(Take(), IsEmpty());
    source = &AddDevice(3);
    source->Next("hasDisplay", [&] { GoAway(*source); });
    Broadcast("<l><d>5</d></l>");
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(BroadcastCall, DevicesMayBeAddedMeanwhile) {
    FakeDevice& late = NewDevice(6);
    late.intercomName = "Late";
    destination->Next("getMonitorMode", [&] { Agent().AddIntercomDevice(6, &late); });
    Broadcast("<l><d>5</d><d>6</d></l>");
    EXPECT_THAT(Take("device 3"), ElementsAre("device 3 StartSipBroadcast 1 3 Hall@10.0.0.2 Late@10.0.0.2"));
}

TEST_F(BroadcastCall, EveryDeviceMayGoAwayWhenItIsStarted) {
    source->Next("StartSipBroadcast", [&] {
        GoAway(*destination);
        GoAway(*source);
    });
    Broadcast("<l><d>5</d></l>");
    EXPECT_EQ("<devices/>", Ui("getDeviceList"));
}

TEST_F(BroadcastCall, WhatADeviceThrowsReachesTheHost) {
    destination->Next("getMonitorMode", [] { throw std::runtime_error("busy"); });
    EXPECT_THROW(Broadcast("<l><d>5</d></l>"), std::runtime_error);
    Broadcast("<l><d>5</d></l>");
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipBroadcast 1 3 Hall@10.0.0.2"));
}

}  // namespace
