#include "client/Url.h"

#include <gtest/gtest.h>

#include "client/Failure.h"

TEST(Url, HostPortAndPrefixAreTakenApart) {
    const Url url = Url::Parse("http://hub.local:8350/intercom/");
    EXPECT_EQ("hub.local", url.host);
    EXPECT_EQ("8350", url.port);
    EXPECT_EQ("hub.local:8350", url.header);
    EXPECT_EQ("/intercom", url.prefix);
}

TEST(Url, WithoutPortItIsThatOfHttp) {
    const Url url = Url::Parse("http://10.0.0.1");
    EXPECT_EQ("80", url.port);
    EXPECT_EQ("10.0.0.1", url.header);
    EXPECT_EQ("", url.prefix);
}

TEST(Url, WithTlsThePortIsThatOfHttps) {
    const Url url = Url::Parse("https://hub.local");
    EXPECT_TRUE(url.tls);
    EXPECT_EQ("hub.local", url.host);
    EXPECT_EQ("443", url.port);
    EXPECT_EQ("8443", Url::Parse("https://[fd00::1]:8443/intercom").port);
    EXPECT_FALSE(Url::Parse("http://hub.local").tls);
}

TEST(Url, AnIPv6AddressStandsInBrackets) {
    const Url url = Url::Parse("http://[::1]:8350");
    EXPECT_EQ("::1", url.host);
    EXPECT_EQ("[::1]:8350", url.header);
}

TEST(Url, AnythingElseIsRefused) {
    for (const char* const text :
         {"", "localhost:8350", "httpss://hub", "https://", "http://", "http://a b", "http://u:p@hub",
          "http://hub:", "http://hub:x", "http://hub:65536", "http://hub/?a=b"})
        EXPECT_THROW(Url::Parse(text), WrongUse) << text;
}

TEST(Form, EverythingThatIsNotPlainIsEncoded) {
    EXPECT_EQ("a-B_9.~=x%20y%26%3D%2B%25%0A%C3%A4&b=",
              FormEncode({{"a-B_9.~", "x y&=+%\n\xC3\xA4"}, {"b", ""}}));
}

TEST(Form, NamesKeepTheirOrderAndMayRepeat) {
    EXPECT_EQ("b=1&a=2&b=3", FormEncode({{"b", "1"}, {"a", "2"}, {"b", "3"}}));
    EXPECT_EQ("", FormEncode({}));
}
