// The record of an external SIP service and its element.
#include <type_traits>

#include "host/glue/XmlText.h"
#include "tests/support/AgentFixture.h"

namespace {

using test::Message;
using test::Parameters;

std::string FromMessage(const Parameters& parameters) {
    return ServiceInfo(*Message("editService", parameters)).toXml()->NodeToText();
}

std::string FromNode(const std::string& xml) {
    return ServiceInfo(DvXML::ParseRoot(xml).get()).toXml()->NodeToText();
}

constexpr char kFull[] =
    "<service>Provider<name>Provider</name><host>sip.example</host><username>ann</username>"
    "<password>s3cret</password></service>";
constexpr char kEmpty[] = "<service><name/><host/><username/><password/></service>";

TEST(ServiceInfo, IsMadeFromAMessageAndBearsItsNameTwice) {
    EXPECT_EQ(
        kFull,
        FromMessage(
            {{"password", "s3cret"}, {"username", "ann"}, {"host", "sip.example"}, {"name", "Provider"}}));
}

TEST(ServiceInfo, IsMadeFromItsElement) {
    EXPECT_EQ(kFull, FromNode(kFull));
}

TEST(ServiceInfo, WithoutValuesIsEmpty) {
    EXPECT_EQ(kEmpty, FromMessage({}));
    EXPECT_EQ(kEmpty, FromNode("<service/>"));
}

TEST(ServiceInfo, DoesNotReadTheElementsOwnText) {
    EXPECT_EQ(kEmpty, FromNode("<service>Provider</service>"));
    EXPECT_EQ("<service>b<name>b</name><host/><username/><password/></service>",
              FromNode("<service>a<name>b</name></service>"));
}

TEST(ServiceInfo, ReadsOfRepeatedValuesTheFirst) {
    const std::string first = "<service>a<name>a</name><host/><username/><password/></service>";
    EXPECT_EQ(first, FromMessage({{"name", "a"}, {"name", "b"}}));
    EXPECT_EQ(first, FromNode("<service><name>a</name><name>b</name></service>"));
}

TEST(ServiceInfo, KeepsTextsAsGiven) {
    EXPECT_EQ(
        "<service> a&lt;b <name> a&lt;b </name><host>%s</host><username>&#10;</username>"
        "<password>p&amp;\"w</password></service>",
        FromMessage({{"name", " a<b "}, {"host", "%s"}, {"username", "\n"}, {"password", "p&\"w"}}));
}

TEST(ServiceInfo, IsKeptUnderItsName) {
    EXPECT_EQ("Provider", ServiceInfo(DvXML::ParseRoot(kFull).get()).getKey());
    static_assert(std::has_virtual_destructor_v<ServiceInfo>);
}

}  // namespace
