#include "driverhost/http/FormData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace driverhost {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

Form Parse(std::string_view body) {
    Request request;
    request.contentType = "application/x-www-form-urlencoded";
    request.body = body;
    return ParseForm(request);
}

Form ParseAs(std::optional<std::string_view> contentType, std::string_view body) {
    Request request;
    request.contentType = contentType;
    request.body = body;
    return ParseForm(request);
}

TEST(FormData, FieldsKeepTheirOrderAndRepeats) {
    EXPECT_THAT(Parse("b=1&a=2&b=3").fields, ElementsAre(Pair("b", "1"), Pair("a", "2"), Pair("b", "3")));
}

TEST(FormData, TooManyFieldsAreRefused) {
    Request request;
    request.contentType = "application/x-www-form-urlencoded";
    request.body = "a&b&&c&";
    EXPECT_EQ(ParseForm(request, 3).fields.size(), 3U) << "what is empty is no field";
    const Form refused = ParseForm(request, 2);
    EXPECT_EQ(refused.status, 413U);
    EXPECT_EQ(refused.fault, "the form has too many fields; it may have 2");
}

TEST(FormData, EscapesAndPlusAreDecodedInNamesAndValues) {
    EXPECT_THAT(Parse("a%26b=K%C3%BCche+1%2B1%3D2&n=%0A").fields,
                ElementsAre(Pair("a&b", "Küche 1+1=2"), Pair("n", "\n")));
}

TEST(FormData, AValueMayBeEmptyOrAbsentAndMayHoldAnEqualsSign) {
    EXPECT_THAT(Parse("a=&b&c=d=e").fields, ElementsAre(Pair("a", ""), Pair("b", ""), Pair("c", "d=e")));
}

TEST(FormData, EmptyPairsAreNoFields) {
    EXPECT_THAT(Parse("&a=1&&").fields, ElementsAre(Pair("a", "1")));
}

TEST(FormData, ABodyLessRequestNeedsNoContentType) {
    const Form form = ParseAs(std::nullopt, "");
    EXPECT_EQ(form.status, 0U);
    EXPECT_THAT(form.fields, IsEmpty());
}

TEST(FormData, AnotherContentTypeIsRefused) {
    EXPECT_EQ(ParseAs("application/json", "{}").status, 415U);
    EXPECT_EQ(ParseAs(std::nullopt, "a=1").status, 415U);
    EXPECT_EQ(ParseAs("multipart/form-data; boundary=x", "").status, 415U);
}

TEST(FormData, TheContentTypeMayHaveParametersAndCapitals) {
    EXPECT_EQ(ParseAs("application/X-WWW-Form-Urlencoded ; charset=UTF-8", "a=1").status, 0U);
}

TEST(FormData, ABadEscapeIsRefused) {
    for (const char* body : {"a=%", "a=%4", "a=%4g", "%=a", "a=1&b=%zz"}) {
        const Form form = Parse(body);
        EXPECT_EQ(form.status, 400U) << body;
        EXPECT_EQ(form.fault,
                  "malformed form: a '%' is not followed by two hexadecimal digits; write '%' as %25");
    }
}

TEST(FormData, AFieldWithoutNameIsRefused) {
    EXPECT_EQ(Parse("=1").status, 400U);
}

TEST(FormData, WhatIsNotUtf8IsRefused) {
    EXPECT_EQ(Parse("a=%C3").fault, "malformed form: the value of field 'a' cannot be used: it is not UTF-8");
    EXPECT_EQ(Parse("a=%C0%AF").status, 400U);
    EXPECT_EQ(Parse("a=%ED%A0%80").status, 400U);
    EXPECT_EQ(Parse("a=\xff").status, 400U);
    EXPECT_EQ(Parse("%FF=a").status, 400U);
}

TEST(FormData, WhatXmlCannotCarryIsRefused) {
    for (const char* body : {"a=%00", "a=%08", "a=%1F", "a=%EF%BF%BE", "a=%EF%BF%BF"})
        EXPECT_EQ(Parse(body).status, 400U) << body;
    EXPECT_EQ(Parse("a=%09%0A%0D%7F%EF%BF%BD%F0%9F%94%94").status, 0U);
}

TEST(PercentDecode, PlusIsABlankInFormsOnly) {
    EXPECT_EQ(PercentDecode("a+b%20c", Plus::IsBlank), "a b c");
    EXPECT_EQ(PercentDecode("a+b%20c", Plus::IsPlus), "a+b c");
}

}  // namespace
}  // namespace driverhost
