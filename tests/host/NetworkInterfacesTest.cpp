#include "host/glue/NetworkInterfaces.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t kHome = 0xC0A8010A;       // 192.168.1.10
constexpr std::uint32_t kOther = 0x0A000001;      // 10.0.0.1
constexpr std::uint32_t kLinkLocal = 0xA9FE0102;  // 169.254.1.2
constexpr std::uint32_t kLoopback = 0x7F000001;   // 127.0.0.1

using Candidates = std::vector<dv::InterfaceAddress>;

TEST(AddressChoice, NothingToChooseFromGivesNothing) {
    EXPECT_EQ(std::nullopt, dv::ChooseAddress({}));
}

TEST(AddressChoice, FirstInIndexOrderIsTaken) {
    EXPECT_EQ(kHome, dv::ChooseAddress(Candidates{{3, true, false, kOther}, {2, true, false, kHome}}));
}

TEST(AddressChoice, OneInterfacesAddressesKeepTheirOrder) {
    EXPECT_EQ(kHome, dv::ChooseAddress(Candidates{{2, true, false, kHome}, {2, true, false, kOther}}));
}

TEST(AddressChoice, LoopbackIsPassedOver) {
    EXPECT_EQ(kHome, dv::ChooseAddress(Candidates{{1, true, true, kLoopback}, {2, true, false, kHome}}));
    EXPECT_EQ(std::nullopt, dv::ChooseAddress(Candidates{{1, true, true, kLoopback}}));
}

TEST(AddressChoice, InterfaceThatIsDownIsPassedOver) {
    EXPECT_EQ(kOther, dv::ChooseAddress(Candidates{{2, false, false, kHome}, {3, true, false, kOther}}));
}

TEST(AddressChoice, LinkLocalAddressIsPassedOver) {
    EXPECT_EQ(kOther, dv::ChooseAddress(Candidates{{2, true, false, kLinkLocal}, {2, true, false, kOther}}));
    EXPECT_EQ(std::nullopt, dv::ChooseAddress(Candidates{{2, true, false, kLinkLocal}}));
}

TEST(AddressChoice, LinkLocalIsOneBlockOfAddresses) {
    for (const std::uint32_t inside : {0xA9FE0000U, 0xA9FEFFFFU})
        EXPECT_EQ(std::nullopt, dv::ChooseAddress(Candidates{{1, true, false, inside}})) << inside;
    for (const std::uint32_t outside : {0xA9FDFFFFU, 0xA9FF0000U})
        EXPECT_EQ(outside, dv::ChooseAddress(Candidates{{1, true, false, outside}}));
}

class OwnAddress : public testing::Test {
protected:
    void TearDown() override { NetworkInterfaces::Override(std::nullopt); }
};

TEST_F(OwnAddress, IsEmptyOrAnIPv4AddressThatOthersCanReach) {
    const std::string text = NetworkInterfaces().IPv4();
    if (text.empty()) return;
    in_addr address{};
    ASSERT_EQ(1, inet_pton(AF_INET, text.c_str(), &address)) << text;
    EXPECT_NE(127U, ntohl(address.s_addr) >> 24) << text;
    EXPECT_NE(0xA9FEU, ntohl(address.s_addr) >> 16) << text;
}

TEST_F(OwnAddress, OverrideCountsForLaterObjects) {
    const NetworkInterfaces earlier;
    const std::string own = earlier.IPv4();
    NetworkInterfaces::Override("192.0.2.77");
    EXPECT_EQ("192.0.2.77", NetworkInterfaces().IPv4());
    EXPECT_EQ(own, earlier.IPv4());
}

TEST_F(OwnAddress, EmptyOverrideMeansNoAddress) {
    NetworkInterfaces::Override("");
    EXPECT_EQ("", NetworkInterfaces().IPv4());
}

TEST_F(OwnAddress, OverrideCanBeEnded) {
    const std::string own = NetworkInterfaces().IPv4();
    NetworkInterfaces::Override("192.0.2.77");
    NetworkInterfaces::Override(std::nullopt);
    EXPECT_EQ(own, NetworkInterfaces().IPv4());
}

}  // namespace
