// A route's pattern and replacement as an expression of Kamailio's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "telephony/proxy/Plan.h"

using testing::HasSubstr;

namespace proxy {
namespace {

// The parts with "/" for the separator.
std::string Expression(const std::string& pattern, const std::string& rewrite) {
    std::string text = RouteExpression(pattern, rewrite);
    std::ranges::replace(text, '\x01', '/');
    return text;
}

std::string FaultOf(const std::string& pattern, const std::string& rewrite = "") try {
    RouteExpression(pattern, rewrite);
    return "none";
} catch (const std::invalid_argument& fault) {
    return fault.what();
}

TEST(RouteExpression, HasPatternAndReplacement) {
    EXPECT_EQ("/^sip:attic@/sip:loft@/", Expression("^sip:attic@", "sip:loft@"));
}

TEST(RouteExpression, GroupsAreWrittenWithDollarOrBackslash) {
    EXPECT_EQ("/^sip:0(.*)@/sip:\\1@/", Expression("^sip:0(.*)@", "sip:$1@"));
    EXPECT_EQ("/^sip:0(.*)@/sip:\\1@/", Expression("^sip:0(.*)@", "sip:\\1@"));
    EXPECT_EQ("/a/\\0b/", Expression("a", "$0b"));
}

TEST(RouteExpression, NoVariableOfKamailiosIsReadOutOfAReplacement) {
    EXPECT_EQ("/a/\\$sht(users=>hall)/", Expression("a", "$sht(users=>hall)"));
    EXPECT_EQ("/a/\\$\\$/", Expression("a", "$$"));
    EXPECT_EQ("/a/\\$avp(x)/", Expression("a", "\\$avp(x)"));
    EXPECT_EQ("/a/\\\\/", Expression("a", "\\"));
}

TEST(RouteExpression, ABackslashInFrontOfABraceStays) {
    EXPECT_EQ("/a\\\\{2\\\\}/b/", Expression("a\\{2\\}", "b"));
}

TEST(RouteExpression, APatternThatTheCLibraryRefusesIsAFault) {
    EXPECT_THAT(FaultOf("("), HasSubstr("the pattern is no regular expression: Unmatched ("));
    EXPECT_THAT(FaultOf("[a"), HasSubstr("the pattern is no regular expression"));
    EXPECT_THAT(FaultOf("a\\"), HasSubstr("the pattern is no regular expression"));
}

TEST(RouteExpression, APatternThatMatchesNothingAtAllIsAFault) {
    EXPECT_EQ("the pattern is empty", FaultOf(""));
    EXPECT_EQ("the pattern also matches nothing at all", FaultOf("x*"));
    EXPECT_EQ("the pattern also matches nothing at all", FaultOf("^"));
}

TEST(RouteExpression, AGroupThatThePatternDoesNotHaveIsAFault) {
    EXPECT_EQ("the replacement asks for group 2, which the pattern does not have", FaultOf("(a)", "$1$2"));
}

TEST(RouteExpression, ControlCharactersAreAFault) {
    EXPECT_EQ("the pattern holds a control character", FaultOf("a\x01"
                                                               "b"));
    EXPECT_EQ("the replacement holds a control character", FaultOf("a", "b\r\nRoute: <sip:x>"));
}

// Compiled out, the first would take all of the memory.
TEST(RouteExpression, RepeatsOfRepeatsAreAFault) {
    EXPECT_EQ("the pattern repeats more than 1000 times", FaultOf("(((a{1,255}){1,255}){1,255})"));
    EXPECT_EQ("none", FaultOf("[0-9]{3,12}"));
}

TEST(RouteExpression, LongPartsAreAFault) {
    EXPECT_EQ("none", FaultOf(std::string(512, 'a')));
    EXPECT_EQ("the pattern is longer than 512 bytes", FaultOf(std::string(513, 'a')));
    EXPECT_EQ("the replacement is longer than 512 bytes", FaultOf("a", std::string(513, 'a')));
}

}  // namespace
}  // namespace proxy
