// Which records hold, in which form, and what is said of the others.
#include "telephony/proxy/Plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/telephony/proxy/support/SampleRecords.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Key;
using testing::Not;
using testing::Pair;
using testing::UnorderedElementsAre;

namespace proxy {
namespace {

constexpr char kHome[] = "192.168.1.10";

class MakingAPlan : public testing::Test {
protected:
    MakingAPlan() { records.accounts.clear(); }

    Plan Make() const {
        return MakePlan(
            records, [](const std::string& address) { return address == kHome || address == "127.9.9.9"; });
    }
    std::vector<std::string> Listening() const {
        std::vector<std::string> texts;
        for (const Endpoint& endpoint : Make().listen)
            texts.push_back(endpoint.Text());
        return texts;
    }
    std::vector<std::string> Faults() const {
        std::vector<std::string> texts;
        for (const Fault& fault : Make().faults)
            texts.push_back(fault.record + ": " + fault.reason);
        return texts;
    }
    std::vector<std::string> Networks() const {
        std::vector<std::string> texts;
        for (const Network& network : Make().networks)
            texts.push_back(std::to_string(network.transport) + " " + network.address + "/" +
                            std::to_string(network.mask) + ":" + std::to_string(network.port));
        return texts;
    }

    Records records = SampleHome(kHome);
};

TEST_F(MakingAPlan, ListensOnTheHomesAddressAndOnLoopback) {
    EXPECT_THAT(Listening(), ElementsAre("192.168.1.10:5060", "127.0.0.1:5060"));
    EXPECT_EQ("127.0.0.1", Make().Loopback());
}

TEST_F(MakingAPlan, ForThisMachineAloneTheAddressIsANameOnly) {
    records.domains = {{"home", kHome, 5080}};
    const Plan plan = MakePlan(
        records, [](const std::string&) { return true; }, Reach::kThisMachine);
    ASSERT_EQ(1U, plan.listen.size());
    EXPECT_EQ("127.0.0.1:5080", plan.listen.front().Text());
    EXPECT_THAT(plan.fixed.at("domains"), Contains(Key(kHome)));
}

TEST_F(MakingAPlan, ALoopbackAddressOfItsOwnIsEnough) {
    records.domains = {{"test", "127.9.9.9", 5060}};
    EXPECT_THAT(Listening(), ElementsAre("127.9.9.9:5060"));
}

TEST_F(MakingAPlan, APortOfANameCountsAtEveryAddress) {
    records.domains.push_back({"garden", "Garden.home", 5064});
    EXPECT_THAT(Listening(), testing::UnorderedElementsAre("192.168.1.10:5060", "127.0.0.1:5060",
                                                           "127.0.0.1:5064", "192.168.1.10:5064"));
    EXPECT_THAT(Make().fixed["domains"],
                UnorderedElementsAre(Pair("192.168.1.10", "1"), Pair("127.0.0.1", "1"),
                                     Pair("garden.home", "1"), Pair("intercom", "1")));
}

TEST_F(MakingAPlan, WithoutDomainsItListensOnLoopback) {
    records.domains.clear();
    EXPECT_THAT(Listening(), ElementsAre("127.0.0.1:5060"));
}

TEST_F(MakingAPlan, APortOfNoneIsTheUsualOne) {
    records.domains = {{"home", kHome, 0}};
    EXPECT_THAT(Listening(), ElementsAre("192.168.1.10:5060", "127.0.0.1:5060"));
}

TEST_F(MakingAPlan, NoDomainHasThePortsWhereTheProxyMeetsCallControl) {
    records.domains.push_back({"a", "a.home", 5061});
    records.domains.push_back({"b", "b.home", 5070});
    EXPECT_THAT(Faults(),
                ElementsAre("domain a: port 5061 is where the proxy meets call control; give another",
                            "domain b: port 5070 is where the proxy meets call control; give another"));
}

TEST_F(MakingAPlan, DomainsThatCannotBeServedAreNamed) {
    records.domains = {
        {"a", "8.8.8.8", 5060}, {"b", kHome, 70000}, {"c", "no name", 0}, {"d", "", 0}, {"e", "0.0.0.0", 0}};
    EXPECT_THAT(Faults(),
                ElementsAre("domain a: no network interface of this machine has the address 8.8.8.8",
                            "domain b: port 70000 is none; give 1 to 65535",
                            "domain c: the domain is neither an IPv4 address nor a host name",
                            "domain d: the domain is neither an IPv4 address nor a host name",
                            "domain e: no network interface of this machine has the address 0.0.0.0"));
}

TEST_F(MakingAPlan, WithoutAccessListTheHomesNetworksAreLetIn) {
    EXPECT_THAT(Networks(),
                ElementsAre("1 10.0.0.0/8:0", "1 172.16.0.0/12:0", "1 192.168.0.0/16:0", "1 169.254.0.0/16:0",
                            "1 127.0.0.0/8:0", "1 192.168.1.10/32:0", "1 127.0.0.1/32:0"));
}

TEST_F(MakingAPlan, AnAccessListLetsInWhatItNamesAndTheMachineItself) {
    records.access = {{"lan", "", "192.168.1.77", 24, 0, 2, 3}, {"door", "", "192.168.7.7", 32, 5080, 0, 2}};
    EXPECT_THAT(Networks(), ElementsAre("2 192.168.1.0/24:0", "3 192.168.7.7/32:5080", "1 192.168.1.10/32:0",
                                        "1 127.0.0.1/32:0"));
    EXPECT_THAT(Faults(), IsEmpty());
}

TEST_F(MakingAPlan, AnAccessListOfFaultsLetsInTheMachineAlone) {
    records.access = {{"a", "", "home", 24, 0, 2, 0}};
    EXPECT_THAT(Networks(), ElementsAre("1 192.168.1.10/32:0", "1 127.0.0.1/32:0"));
}

TEST_F(MakingAPlan, AccessEntriesThatCannotBeServedAreNamed) {
    records.access = {{"a", "", "home", 24, 0, 2, 0},      {"b", "", "10.0.0.1", 33, 0, 2, 0},
                      {"c", "", "10.0.0.1", 0, 0, 2, 0},   {"d", "", "10.0.0.1", 32, -1, 2, 0},
                      {"e", "", "10.0.0.1", 32, 0, 10, 0}, {"f", "", "10.0.0.1", 32, 0, 2, 1},
                      {"g", "", "10.0.0.1", 32, 0, 2, 9},  {"h", "peer.example", "", 0, 0, 0, 0}};
    EXPECT_THAT(
        Faults(),
        ElementsAre(
            "access-control entry a: the address is no IPv4 address",
            "access-control entry b: mask 33 is none; give 0 to 32",
            "access-control entry c: mask 0 lets everybody in; give 32 for this address alone, or the "
            "address 0.0.0.0",
            "access-control entry d: port -1 is none; give 0 to 65535",
            "access-control entry e: family 10 is not served; give 2 (IPv4) or 0",
            "access-control entry f: TLS is not served; give 2 (TCP), 3 (UDP) or 0",
            "access-control entry g: transport 9 is not known; give 2 (TCP), 3 (UDP) or 0",
            "access-control entry h: it names a peer alone, which needs TLS; give an address"));
}

TEST_F(MakingAPlan, RoutesStandInTheirOrderAndFaultyOnesAreLeftOut) {
    records.routes = {{"c", "INVITE", "", "c", "3", 9},
                      {"a", "", "", "a", "1", -1},
                      {"x", "", "", "(", "", 0},
                      {"b", "*", "presence", "b", "2", 0},
                      {"m", "IN VITE", "", "a", "", 0}};
    EXPECT_THAT(Make().fixed["routes"], ElementsAre(Pair("0",
                                                         "\x01"
                                                         "a\x01"
                                                         "1\x01"),
                                                    Pair("1",
                                                         "\x01"
                                                         "b\x01"
                                                         "2\x01"),
                                                    Pair("2",
                                                         "\x01"
                                                         "c\x01"
                                                         "3\x01")));
    EXPECT_THAT(Make().fixed["route_methods"], ElementsAre(Pair("2", "INVITE")));
    EXPECT_THAT(Make().fixed["route_events"], ElementsAre(Pair("1", "presence")));
    EXPECT_THAT(Faults(), ElementsAre("route x: the pattern is no regular expression: Unmatched ( or \\(",
                                      "route m: the method is no SIP method"));
}

TEST_F(MakingAPlan, ADeviceIsCalledByNameUserAndKey) {
    Account hall = SampleAccount(101, "hall1", "Front Hall");
    hall.key = "KEY";
    records.accounts = {hall};
    Plan plan = Make();
    EXPECT_THAT(plan.live["devices"], UnorderedElementsAre(Pair("Front Hall", "hall1"),
                                                           Pair("hall1", "hall1"), Pair("KEY", "hall1")));
    EXPECT_THAT(plan.live["folded"], UnorderedElementsAre(Pair("front hall", "hall1"), Pair("hall1", "hall1"),
                                                          Pair("key", "hall1")));
    EXPECT_THAT(plan.live["users"], ElementsAre(Pair("hall1", DigestOf("hall1", "hall1-password"))));
}

TEST_F(MakingAPlan, AnIntercomNameComesBeforeAnothersUser) {
    records.accounts = {SampleAccount(101, "Kitchen", "Hall"), SampleAccount(102, "k", "Kitchen")};
    EXPECT_EQ("k", Make().live["devices"]["Kitchen"]);
    EXPECT_THAT(Faults(), ElementsAre("device 101: another device is called Kitchen already"));
}

TEST_F(MakingAPlan, ADeviceWithoutPasswordHasANameButCannotRegister) {
    Account panel = SampleAccount(101, "panel", "Panel");
    panel.digest.clear();
    records.accounts = {panel};
    EXPECT_THAT(Make().live["users"], IsEmpty());
    EXPECT_THAT(Make().live["devices"], Contains(Key("Panel")));
}

TEST_F(MakingAPlan, UsersThatSipCannotCarryOrThatAreThereTwiceAreNamed) {
    records.accounts = {SampleAccount(1, "front door", ""), SampleAccount(2, "hall", ""),
                        SampleAccount(3, "HALL", ""), SampleAccount(4, "", "")};
    EXPECT_THAT(Faults(),
                ElementsAre("device 1: its user cannot be one of SIP: letters, digits and - _ . + ~ ! * make "
                            "up to 64 of it",
                            "device 3: another device has the user HALL",
                            "device 4: its user cannot be one of SIP: letters, digits and - _ . + ~ ! * make "
                            "up to 64 of it"));
}

TEST_F(MakingAPlan, SettingsAreThoseOfTheUser) {
    Account hall = SampleAccount(101, "hall", "Hall");
    hall.doNotDisturb = hall.autoAnswer = true;
    hall.forwardAddress = "kitchen@intercom";
    records.accounts = {hall};
    Plan plan = Make();
    EXPECT_THAT(plan.live["dnd"], ElementsAre(Pair("hall", "1")));
    EXPECT_THAT(plan.live["auto_answer"], ElementsAre(Pair("hall", "1")));
    EXPECT_THAT(plan.live["forward"], ElementsAre(Pair("hall", "sip:kitchen@intercom")));
}

TEST_F(MakingAPlan, AForwardAddressThatIsNoneIsNamedAndTheDeviceStays) {
    records.accounts = {SampleAccount(101, "hall", "Hall")};
    for (const std::string& address :
         {std::string("sip:a@b\r\nX: y"), std::string("sip:a@"), std::string("@b"), std::string("a"),
          std::string("a@b@c"), std::string("a@b_c"), std::string("a@b:x"), std::string("a@b:70000"),
          std::string("a?b@c"), std::string("<sip:a@b>"), "sip:" + std::string(300000, 'a') + "@b"}) {
        records.accounts[0].forwardAddress = address;
        EXPECT_THAT(Faults(),
                    ElementsAre("device 101: its forward address is no SIP address; it is not forwarded"))
            << address.substr(0, 20);
        EXPECT_THAT(Make().live["users"], Contains(Key("hall")));
    }
    records.accounts[0].forwardAddress = "a@b.c:5062;transport=tcp";
    EXPECT_THAT(Faults(), IsEmpty());
}

TEST_F(MakingAPlan, AGroupHasTheUsersOfItsDevicesThoseWithAPhoneFirst) {
    records.accounts = {SampleAccount(101, "tablet", "Tablet"), SampleAccount(102, "kitchen", "Kitchen"),
                        SampleAccount(103, "hall", "Hall")};
    records.accounts[0].digest.clear();
    records.groups = {{"Upstairs", {101, 999, 102, 103}}, {"Empty", {}}};
    EXPECT_THAT(Make().live["groups"],
                IsSupersetOf({Pair("Upstairs", "kitchen,hall,tablet"), Pair("Empty", ",")}));
}

TEST_F(MakingAPlan, TheDoorbellIsForTheDevicesThatChimeUnlessAGroupHasItsName) {
    records.accounts = {SampleAccount(101, "hall", "Hall"), SampleAccount(102, "kitchen", "Kitchen")};
    records.accounts[1].ringDoorbell = true;
    EXPECT_THAT(Make().live["groups"], ElementsAre(Pair("doorbell", "kitchen")));
    records.groups = {{"doorbell", {}}};
    EXPECT_THAT(Make().live["groups"], ElementsAre(Pair("doorbell", ",")));
}

TEST_F(MakingAPlan, AGroupOfManyIsWholeForCallControlAndRingsItsFirstThirtyWithout) {
    Group group{"All", {}};
    for (unsigned long number = 1; number <= 31; ++number) {
        records.accounts.push_back(SampleAccount(number, "u" + std::to_string(number), ""));
        group.devices.push_back(number);
    }
    records.groups = {group};
    const std::string users = Make().live["groups"]["All"];
    EXPECT_EQ(30, std::ranges::count(users, ','));
    EXPECT_THAT(Faults(),
                ElementsAre("group All: it has more than 30 phones; without call control the first 30 ring"));
}

}  // namespace
}  // namespace proxy
