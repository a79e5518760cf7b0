// The SIP proxy's records: domains, access-control entries and routes.
#include "sipproxy/SipEntity.h"

#include <memory>
#include <type_traits>

#include "host/glue/LiveObjects.h"
#include "host/glue/XmlText.h"
#include "tests/support/AgentFixture.h"

namespace {

using test::Message;
using test::Parameters;

std::string Written(const SipEntity& record) {
    return record.toXml()->NodeToText();
}

template <class Record>
std::string FromMessage(const Parameters& parameters) {
    return Written(Record(*Message("add", parameters)));
}

template <class Record>
std::string FromNode(const std::string& xml) {
    return Written(Record(DvXML::ParseRoot(xml).get()));
}

std::string PortOf(const std::string& text) {
    const SipConfig config(*Message("addConfig", {{"port", text}}));
    return std::string(config.toXml()->NodeGetNamedValue("port"));
}

constexpr char kRoute[] =
    "<State><key>k</key><method>INVITE</method><event>e</event><matchingPattern>^(.*)$</matchingPattern>"
    "<rewriteExp>&lt;sip:$1&gt;</rewriteExp><order>-3</order></State>";
constexpr char kAcl[] =
    "<State><key>k</key><peer>p</peer><address>10.0.0.0</address><mask>24</mask><port>5060</port>"
    "<family>2</family><transport>-1</transport></State>";
constexpr char kConfig[] = "<State><key>k</key><domain>home</domain><port>5060</port></State>";

TEST(SipRoute, IsMadeFromAMessageWithItsSixParameters) {
    EXPECT_EQ(kRoute, FromMessage<SipRoute>({{"order", "-3"},
                                             {"rewriteExp", "<sip:$1>"},
                                             {"matchingPattern", "^(.*)$"},
                                             {"event", "e"},
                                             {"method", "INVITE"},
                                             {"key", "k"}}));
}

TEST(SipRoute, IsMadeFromItsElement) {
    EXPECT_EQ(kRoute, FromNode<SipRoute>(kRoute));
}

TEST(SipRoute, WithoutValuesIsEmptyTextsAndZero) {
    const std::string empty =
        "<State><key/><method/><event/><matchingPattern/><rewriteExp/><order>0</order></State>";
    EXPECT_EQ(empty, FromMessage<SipRoute>({}));
    EXPECT_EQ(empty, FromNode<SipRoute>("<State/>"));
}

TEST(SipAcl, IsMadeFromAMessageWithItsSevenParameters) {
    EXPECT_EQ(kAcl, FromMessage<SipAcl>({{"transport", "-1"},
                                         {"family", "2"},
                                         {"port", "5060"},
                                         {"mask", "24"},
                                         {"address", "10.0.0.0"},
                                         {"peer", "p"},
                                         {"key", "k"}}));
}

TEST(SipAcl, IsMadeFromItsElement) {
    EXPECT_EQ(kAcl, FromNode<SipAcl>(kAcl));
}

TEST(SipAcl, WithoutValuesIsEmptyTextsAndZeros) {
    const std::string empty =
        "<State><key/><peer/><address/><mask>0</mask><port>0</port><family>0</family>"
        "<transport>0</transport></State>";
    EXPECT_EQ(empty, FromMessage<SipAcl>({}));
    EXPECT_EQ(empty, FromNode<SipAcl>("<State/>"));
}

TEST(SipConfig, IsMadeFromAMessageWithItsThreeParameters) {
    EXPECT_EQ(kConfig, FromMessage<SipConfig>({{"port", "5060"}, {"domain", "home"}, {"key", "k"}}));
}

TEST(SipConfig, IsMadeFromItsElement) {
    EXPECT_EQ(kConfig, FromNode<SipConfig>(kConfig));
}

TEST(SipConfig, WithoutValuesIsEmptyTextsAndZero) {
    EXPECT_EQ("<State><key/><domain/><port>0</port></State>", FromMessage<SipConfig>({}));
    EXPECT_EQ("<State><key/><domain/><port>0</port></State>", FromNode<SipConfig>("<State/>"));
}

TEST(SipConfig, MadeFromAnAddressHasItAsKeyAndDomain) {
    const SipConfig config("10.0.0.5", 5060);
    EXPECT_EQ("10.0.0.5", config.getKey());
    EXPECT_EQ("<State><key>10.0.0.5</key><domain>10.0.0.5</domain><port>5060</port></State>",
              Written(config));
}

TEST(SipRecords, AnswerTheKeyThatTheyWereGiven) {
    const Parameters parameters{{"key", " k<&\xC3\xA4 "}, {"domain", "d"}};
    EXPECT_EQ(" k<&\xC3\xA4 ", SipConfig(*Message("addConfig", parameters)).getKey());
    EXPECT_EQ(" k<&\xC3\xA4 ", SipAcl(*Message("addAcl", parameters)).getKey());
    EXPECT_EQ(" k<&\xC3\xA4 ", SipRoute(*Message("addRoute", parameters)).getKey());
    EXPECT_EQ("", SipRoute(*Message("addRoute", {{"method", "m"}})).getKey());
}

TEST(SipRecords, ReadNumbersUpToTheFirstOtherCharacter) {
    EXPECT_EQ("5060", PortOf("5060abc"));
    EXPECT_EQ("0", PortOf("abc"));
    EXPECT_EQ("-7", PortOf(" -7"));
    EXPECT_EQ("7", PortOf("\t+7"));
    EXPECT_EQ("0", PortOf("- 7"));
    EXPECT_EQ("0", PortOf(""));
    EXPECT_EQ("10", PortOf("010"));
    EXPECT_EQ("0", PortOf("0x10"));
}

TEST(SipRecords, SaturateNumbersAtTheSignedRange) {
    EXPECT_EQ("2147483647", PortOf("2147483648"));
    EXPECT_EQ("2147483647", PortOf("4294967296"));
    EXPECT_EQ("-2147483648", PortOf("-2147483649"));
    EXPECT_EQ("2147483647", PortOf("99999999999999999999"));
}

TEST(SipRecords, ReadOfARepeatedValueTheFirst) {
    EXPECT_EQ("<State><key>a</key><domain/><port>1</port></State>",
              FromMessage<SipConfig>({{"key", "a"}, {"key", "b"}, {"port", "1"}, {"port", "2"}}));
    EXPECT_EQ("<State><key>a</key><domain/><port>1</port></State>",
              FromNode<SipConfig>("<State><key>a</key><key>b</key><port>1</port><port>2</port></State>"));
}

TEST(SipRecords, DoNotLookAtTheNameOfTheirElement) {
    EXPECT_EQ(kConfig, FromNode<SipConfig>("<x><key>k</key><domain>home</domain><port>5060</port></x>"));
}

TEST(SipRecords, WrittenAndReadBackAreTheSameByteForByte) {
    const std::string bytes = " \x01\xFF\r\n<&>\"' ";
    const SipRoute route(
        *Message("addRoute", {{"key", bytes}, {"rewriteExp", bytes}, {"order", "-2147483648"}}));
    const SipRoute again(route.toXml().get());
    EXPECT_EQ(bytes, again.getKey());
    EXPECT_EQ(bytes, again.toXml()->NodeGetNamedValue("rewriteExp"));
    EXPECT_EQ("-2147483648", again.toXml()->NodeGetNamedValue("order"));
}

TEST(SipRecords, AreDestroyedThroughTheirBase) {
    static_assert(std::has_virtual_destructor_v<SipEntity>);
    const long alive = dv::LiveObjects::Count();
    const std::unique_ptr<SipEntity> record = std::make_unique<SipConfig>("10.0.0.5", 5060);
    EXPECT_EQ(alive + 1, dv::LiveObjects::Count());
    EXPECT_EQ("10.0.0.5", record->getKey());
}

}  // namespace
