// Items of the home's project that are removed, renamed or moved.
#include <stdexcept>

#include "host/glue/XmlText.h"
#include "tests/support/AgentFixture.h"

namespace {

using test::FakeDevice;
using testing::ElementsAre;
using testing::IsEmpty;

class SystemEvents : public test::AgentFixture {
protected:
    /// An agent in mode 2 with a known SIP proxy and the devices 3, 5 and 9, of which 9 is the
    /// one that makes the mode.
    void StartInSipMode() {
        Start();
        Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
        AddDevice(9, 2);
        third = &AddDevice(3);
        fifth = &AddDevice(5);
    }
    void RenameRoom() { SystemEvent("OnItemNameChanged", {{"iditem", "40"}, {"idroom", "40"}}); }
    /// The ids that no device has.
    std::vector<unsigned long> Missing(const std::vector<unsigned long>& ids) {
        std::vector<unsigned long> missing;
        for (const unsigned long id : ids)
            if (!Drivers().GetIntercomDevice(id)) missing.push_back(id);
        return missing;
    }

    FakeDevice* third = nullptr;
    FakeDevice* fifth = nullptr;
};

std::string Refreshed(const std::string& id) {
    return "ui <DeviceChanged><device><id>" + id + "</id><prop>0</prop></device></DeviceChanged>";
}

TEST_F(SystemEvents, ArriveInEachOfTheThreeClasses) {
    Start();
    for (const unsigned int eventClass : {11U, 8U, 12U}) {
        AddDevice(5);
        SystemEvent("OnItemRemoved", {{"iditem", "5"}}, eventClass);
        EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>")) << eventClass;
    }
}

TEST_F(SystemEvents, ARemovedItemIsRemovedInClassicModeToo) {
    Start();
    AddDevice(5);
    SystemEvent("OnItemRemoved", {{"iditem", "5"}});
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>"));
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
}

TEST_F(SystemEvents, ARemovedItemIsRemovedInSipMode) {
    StartInSipMode();
    SystemEvent("OnItemRemoved", {{"iditem", "5"}, {"idroom", "40"}});
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>"));
}

TEST_F(SystemEvents, ItemZeroIsIgnoredEvenWhenADeviceHasThatId) {
    Start();
    AddDevice(0);
    SystemEvent("OnItemRemoved", {{"iditem", "0"}});
    SystemEvent("OnItemRemoved", {{"idroom", "5"}});
    SystemEvent("OnItemRemoved", {{"iditem", "junk"}});
    SystemEvent("OnItemRemoved");
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_NE(nullptr, Drivers().GetIntercomDevice(0));
}

TEST_F(SystemEvents, WithoutAnItemTouchNoDevice) {
    Start();
    AddDevice(1);
    SystemEvent("OnItemRemoved");
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(SystemEvents, WithoutARoomRefreshTheRenamedItemAlone) {
    StartInSipMode();
    AddDevice(1);
    SystemEvent("OnItemNameChanged", {{"iditem", "1"}});
    EXPECT_THAT(Take("ui "), ElementsAre(Refreshed("1")));
}

TEST_F(SystemEvents, AnUnknownRemovedItemIsIgnored) {
    StartInSipMode();
    SystemEvent("OnItemRemoved", {{"iditem", "6"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(SystemEvents, OfARepeatedParameterTheLastOneCounts) {
    StartInSipMode();
    SystemEvent("OnItemRemoved", {{"iditem", "3"}, {"iditem", "5"}});
    EXPECT_THAT(Take("ui "), ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>"));
    SystemEvent("OnItemRemoved", {{"iditem", "3"}, {"iditem", "0"}});
    EXPECT_THAT(Take(), IsEmpty());
    SystemEvent("OnItemNameChanged", {{"idroom", "7"}, {"iditem", "3"}, {"idroom", "3"}});
    EXPECT_THAT(Take("ui "), ElementsAre(Refreshed("3"), Refreshed("9")));
}

TEST_F(SystemEvents, OtherParametersAndNamesInOtherCaseAreIgnored) {
    StartInSipMode();
    SystemEvent("OnItemRemoved", {{"idItem", "5"}, {"item", "5"}});
    SystemEvent("onitemremoved", {{"iditem", "5"}});
    SystemEvent("OnItemAdded", {{"iditem", "5"}});
    SystemEvent("", {{"iditem", "5"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(SystemEvents, ANegativeItemIsADeviceIdBeyondTheSignedRange) {
    Start();
    AddDevice(3000000000UL);
    SystemEvent("OnItemRemoved", {{"iditem", "-1294967296"}});
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(3000000000UL));
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>-1294967296</id></DeviceRemoved>"));
}

TEST_F(SystemEvents, AnItemIsTheDeviceOfThatIdAtEveryBorder) {
    using Ids = std::vector<unsigned long>;
    const std::pair<std::string, Ids> removals[] = {
        {"-99999999999999999999", {2147483648}},
        {"-4294967296", {2147483648}},
        {"-2147483649", {2147483648}},
        {"-2147483648", {2147483648}},
        {"-1", {4294967295}},
        {"0", {}},
        {"1", {1}},
        {"2147483647", {2147483647}},
        {"2147483648", {2147483648}},
        {"3000000000", {3000000000}},
        {"4294967295", {4294967295}},
        {"4294967296", {4294967295}},
    };
    const Ids ids{0, 1, 2147483647, 2147483648, 3000000000, 4294967295};
    Start();
    for (const auto& [item, removed] : removals) {
        for (const unsigned long id : ids)
            AddDevice(id);
        SystemEvent("OnItemRemoved", {{"iditem", item}});
        EXPECT_EQ(removed, Missing(ids)) << item;
    }
}

TEST_F(SystemEvents, ARoomIsTheItemWhenBothAreTheSameIdAtEveryBorder) {
    const std::pair<std::string, std::string> rooms[] = {
        {"-2147483649", "2147483648"}, {"-2147483648", "2147483648"}, {"-1", "4294967295"},        {"1", "1"},
        {"2147483647", "2147483647"},  {"3000000000", "-1294967296"}, {"4294967296", "4294967295"}};
    StartInSipMode();
    for (const auto& [item, room] : rooms) {
        SystemEvent("OnItemNameChanged", {{"iditem", item}, {"idroom", room}});
        EXPECT_THAT(Take("ui "), ElementsAre(Refreshed("3"), Refreshed("5"), Refreshed("9"))) << item;
    }
}

TEST_F(SystemEvents, ItemsAndRoomsBeyondTheSignedRangeAreToldApart) {
    const std::pair<std::string, std::string> differing[] = {{"2147483647", "2147483648"},
                                                             {"2147483648", "3000000000"},
                                                             {"3000000000", "4294967295"},
                                                             {"-2147483649", "-1"},
                                                             {"-2147483648", "2147483647"},
                                                             {"4294967295", "0"},
                                                             {"0", "0"}};
    StartInSipMode();
    for (const auto& [item, room] : differing) {
        SystemEvent("OnItemNameChanged", {{"iditem", item}, {"idroom", room}});
        EXPECT_THAT(Take(), IsEmpty()) << item;
    }
}

TEST_F(SystemEvents, AMovedDeviceWithAnIdBeyondTheSignedRangeIsRefreshed) {
    StartInSipMode();
    AddDevice(3000000000UL);
    SystemEvent("OnItemMoved", {{"iditem", "3000000000"}, {"idroom", "40"}});
    EXPECT_THAT(Take("ui "), ElementsAre(Refreshed("3000000000")));
}

TEST_F(SystemEvents, AnItemIsTheOwnTextOfItsParameter) {
    Start();
    AddDevice(5);
    Agent().OnSystemEvent(*DvXML::ParseRoot(
        "<event><name>OnItemRemoved</name><param><name>iditem</name><note>7</note>5</param></event>"));
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>"));
}

TEST_F(SystemEvents, ARenamedRoomRefreshesEveryDeviceInAscendingOrder) {
    StartInSipMode();
    RenameRoom();
    EXPECT_THAT(Take(), ElementsAre("device 3 updateSipInfoFromDriver 10.0.0.2", Refreshed("3"),
                                    "device 5 updateSipInfoFromDriver 10.0.0.2", Refreshed("5"),
                                    "device 9 updateSipInfoFromDriver 10.0.0.2", Refreshed("9")));
}

TEST_F(SystemEvents, ARenamedRoomThatIsADeviceIdRefreshesEveryDeviceOnce) {
    StartInSipMode();
    SystemEvent("OnItemNameChanged", {{"iditem", "5"}, {"idroom", "5"}});
    EXPECT_THAT(Take("ui "), ElementsAre(Refreshed("3"), Refreshed("5"), Refreshed("9")));
}

TEST_F(SystemEvents, ARenamedDeviceIsRefreshed) {
    StartInSipMode();
    SystemEvent("OnItemNameChanged", {{"iditem", "5"}, {"idroom", "40"}});
    EXPECT_THAT(Take(), ElementsAre("device 5 updateSipInfoFromDriver 10.0.0.2", Refreshed("5")));
}

TEST_F(SystemEvents, AMovedDeviceIsRefreshed) {
    StartInSipMode();
    SystemEvent("OnItemMoved", {{"iditem", "5"}, {"idroom", "40"}});
    EXPECT_THAT(Take(), ElementsAre("device 5 updateSipInfoFromDriver 10.0.0.2", Refreshed("5")));
}

TEST_F(SystemEvents, AMovedRoomRefreshesNoOtherDevice) {
    StartInSipMode();
    SystemEvent("OnItemMoved", {{"iditem", "40"}, {"idroom", "40"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(SystemEvents, RenamedAndMovedItemsThatAreNoDevicesAreIgnored) {
    StartInSipMode();
    SystemEvent("OnItemNameChanged", {{"iditem", "6"}, {"idroom", "40"}});
    SystemEvent("OnItemMoved", {{"iditem", "6"}, {"idroom", "40"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(SystemEvents, RenamesAndMovesDoNothingInClassicMode) {
    Start();
    AddDevice(5);
    RenameRoom();
    SystemEvent("OnItemNameChanged", {{"iditem", "5"}});
    SystemEvent("OnItemMoved", {{"iditem", "5"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(SystemEvents, RenamesAndMovesDoNothingInAModeAboveTwo) {
    Start();
    AddDevice(5, 3);
    RenameRoom();
    SystemEvent("OnItemNameChanged", {{"iditem", "5"}});
    SystemEvent("OnItemMoved", {{"iditem", "5"}});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(SystemEvents, DevicesMayRemoveThemselvesWhileARoomIsRenamed) {
    StartInSipMode();
    third->Next("updateSipInfoFromDriver", [&] { RemoveAndDelete(*third); });
    RenameRoom();
    EXPECT_THAT(Take("ui <DeviceChanged>"),
                ElementsAre("ui <DeviceChanged><id>3</id></DeviceChanged>", Refreshed("5"), Refreshed("9")));
}

TEST_F(SystemEvents, DevicesMayRemoveThemselvesWhileTheyDescribeThemselves) {
    StartInSipMode();
    third->Next("toXml", [&] { RemoveAndDelete(*third); });
    RenameRoom();
    EXPECT_THAT(Take("ui <DeviceChanged>"), ElementsAre(Refreshed("3"), Refreshed("5"), Refreshed("9")));
}

TEST_F(SystemEvents, ADeviceRemovedByAnotherOneIsNotRefreshedWithItsRoom) {
    StartInSipMode();
    third->Next("updateSipInfoFromDriver", [&] { RemoveAndDelete(*fifth); });
    RenameRoom();
    EXPECT_THAT(Take("device "), ElementsAre("device 3 updateSipInfoFromDriver 10.0.0.2",
                                             "device 9 updateSipInfoFromDriver 10.0.0.2"));
}

TEST_F(SystemEvents, ADeviceReplacedByAnotherOneIsRefreshedInItsPlace) {
    StartInSipMode();
    FakeDevice& replacement = NewDevice(5, 1, "5b");
    third->Next("updateSipInfoFromDriver", [&] { ReplaceAndDelete(*fifth, replacement); });
    RenameRoom();
    EXPECT_THAT(Take("device "), ElementsAre("device 5b updateSipInfoFromDriver 10.0.0.2",
                                             "device 9 updateSipInfoFromDriver 10.0.0.2"));
}

TEST_F(SystemEvents, ADeviceMayAddAnotherOneWhileARoomIsRenamed) {
    StartInSipMode();
    FakeDevice& late = NewDevice(4);
    third->Next("updateSipInfoFromDriver", [&] { Agent().AddIntercomDevice(4, &late); });
    RenameRoom();
    EXPECT_THAT(Take("device 5"), ElementsAre("device 5 updateSipInfoFromDriver 10.0.0.2"));
    EXPECT_EQ(&late, Drivers().GetIntercomDevice(4));
}

TEST_F(SystemEvents, AThrowingDeviceDoesNotKeepTheOthersFromBeingRefreshed) {
    StartInSipMode();
    third->Next("updateSipInfoFromDriver", [] { throw std::runtime_error("busy"); });
    EXPECT_THROW(RenameRoom(), std::runtime_error);
    EXPECT_THAT(Take("device 9"), ElementsAre("device 9 updateSipInfoFromDriver 10.0.0.2"));
}

TEST_F(SystemEvents, AMovedDeviceMayRemoveAndDeleteItself) {
    StartInSipMode();
    fifth->Next("updateSipInfoFromDriver", [&] { RemoveAndDelete(*fifth); });
    SystemEvent("OnItemMoved", {{"iditem", "5"}, {"idroom", "40"}});
    EXPECT_THAT(Take(), ElementsAre("device 5 updateSipInfoFromDriver 10.0.0.2",
                                    "ui <DeviceRemoved><id>5</id></DeviceRemoved>",
                                    "ui <DeviceChanged><id>5</id></DeviceChanged>"));
}

TEST_F(SystemEvents, TheSipProxyAddressMayChangeWhileARoomIsRenamed) {
    StartInSipMode();
    third->Next("updateSipInfoFromDriver", [&] { Ui("setSipProxyIP", {{"address", "10.0.0.99"}}); });
    RenameRoom();
    EXPECT_THAT(Take("device 9"), ElementsAre("device 9 updateSipInfoFromDriver 10.0.0.99",
                                              "device 9 updateSipInfoFromDriver 10.0.0.99"));
}

}  // namespace
