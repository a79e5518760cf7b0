// Numbers and booleans from text, at every border.
#include "host/glue/Numbers.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace std::string_view_literals;

constexpr std::int64_t kLowest64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest64 = std::numeric_limits<std::int64_t>::max();
constexpr int kLowest = std::numeric_limits<int>::min();
constexpr int kHighest = std::numeric_limits<int>::max();
constexpr unsigned long kHighestId = 4294967295UL;

struct Row {
    std::string_view text;
    std::int64_t asLong;
    int asInt;
    unsigned long asULong;
};

constexpr Row kTable[] = {
    {""sv, 0, 0, 0},
    {" "sv, 0, 0, 0},
    {" \t\n\v\f\r"sv, 0, 0, 0},
    {"+"sv, 0, 0, 0},
    {"-"sv, 0, 0, 0},
    {"+-1"sv, 0, 0, 0},
    {"--1"sv, 0, 0, 0},
    {"- 1"sv, 0, 0, 0},
    {"junk"sv, 0, 0, 0},
    {"x1"sv, 0, 0, 0},
    {"\0"sv, 0, 0, 0},
    {"\0001"sv, 0, 0, 0},
    {"\xC2\xA0"
     "7"sv,
     0, 0, 0},
    {"0"sv, 0, 0, 0},
    {"-0"sv, 0, 0, 0},
    {"7"sv, 7, 7, 7},
    {"+7"sv, 7, 7, 7},
    {" \t\n\v\f\r7 8"sv, 7, 7, 7},
    {"007"sv, 7, 7, 7},
    {"0x10"sv, 0, 0, 0},
    {"12abc"sv, 12, 12, 12},
    {"12\00034"sv, 12, 12, 12},
    {"1.9"sv, 1, 1, 1},
    {"1e3"sv, 1, 1, 1},
    {"-1"sv, -1, -1, kHighestId},
    {"-2"sv, -2, -2, kHighestId - 1},
    {"2147483647"sv, 2147483647, kHighest, 2147483647},
    {"2147483648"sv, 2147483648, kHighest, 2147483648},
    {"-2147483648"sv, -2147483648, kLowest, 2147483648},
    {"-2147483649"sv, -2147483649, kLowest, 2147483647},
    {"4294967295"sv, 4294967295, kHighest, kHighestId},
    {"4294967296"sv, 4294967296, kHighest, kHighestId},
    {"4294967297"sv, 4294967297, kHighest, kHighestId},
    {"-4294967295"sv, -4294967295, kLowest, 1},
    {"-4294967296"sv, -4294967296, kLowest, 0},
    {"-4294967297"sv, -4294967297, kLowest, kHighestId},
    {"9223372036854775806"sv, kHighest64 - 1, kHighest, kHighestId},
    {"9223372036854775807"sv, kHighest64, kHighest, kHighestId},
    {"9223372036854775808"sv, kHighest64, kHighest, kHighestId},
    {"-9223372036854775807"sv, kLowest64 + 1, kLowest, 1},
    {"-9223372036854775808"sv, kLowest64, kLowest, 0},
    {"-9223372036854775809"sv, kLowest64, kLowest, 0},
    {"18446744073709551616"sv, kHighest64, kHighest, kHighestId},
    {"18446744073709551617"sv, kHighest64, kHighest, kHighestId},
    {"99999999999999999999"sv, kHighest64, kHighest, kHighestId},
    {"-99999999999999999999"sv, kLowest64, kLowest, 0},
    {"00000000000000000000000000000000000000042"sv, 42, 42, 42},
};

TEST(Numbers, ReadAsTheTableSays) {
    for (const Row& row : kTable) {
        EXPECT_EQ(row.asLong, dv::ParseLong(row.text)) << row.text;
        EXPECT_EQ(row.asInt, dv::ParseInt(row.text)) << row.text;
        EXPECT_EQ(row.asULong, dv::ParseULong(row.text)) << row.text;
        EXPECT_EQ(row.asULong, dv::ToULong32(row.asLong)) << row.text;
    }
}

TEST(Numbers, NothingBehindTheViewIsRead) {
    EXPECT_EQ(12, dv::ParseLong("1234"sv.substr(0, 2)));
    EXPECT_EQ(0, dv::ParseLong("-1"sv.substr(0, 1)));
    EXPECT_EQ(0, dv::ParseLong(std::string_view()));
}

TEST(Numbers, TrueIsTrueOrOneInAnyCaseWithSpaceAround) {
    for (const auto text : {"true"sv, "TRUE"sv, "tRuE"sv, "1"sv, " true"sv, "1\n"sv, "\t\r\v\f true \n"sv}) {
        EXPECT_TRUE(dv::ParseBool(text)) << text;
    }
}

TEST(Numbers, AllElseIsFalse) {
    for (const auto text : {""sv, " "sv, "false"sv, "0"sv, "yes"sv, "on"sv, "2"sv, "01"sv, "1 1"sv, "11"sv,
                            "+1"sv, "tru"sv, "truee"sv, "t rue"sv, "true\0"sv, "\xF4rue"sv}) {
        EXPECT_FALSE(dv::ParseBool(text)) << text;
    }
}

TEST(WholeNumbers, AreDigitsFromEndToEnd) {
    EXPECT_EQ(0U, dv::ParseWhole<std::uint64_t>("0"));
    EXPECT_EQ(42U, dv::ParseWhole<std::uint64_t>("0042"));
    EXPECT_EQ(12U, dv::ParseWhole<std::uint64_t>("1234"sv.substr(0, 2)));
    for (const auto text : {""sv, " "sv, " 1"sv, "1 "sv, "+1"sv, "-1"sv, "-0"sv, "1.0"sv, "0x1"sv, "1e3"sv,
                            "one"sv, "1\0"sv, std::string_view()}) {
        EXPECT_FALSE(dv::ParseWhole<std::uint64_t>(text)) << text;
    }
}

TEST(WholeNumbers, KeepToTheirType) {
    EXPECT_EQ(65535, dv::ParseWhole<std::uint16_t>("65535"));
    EXPECT_FALSE(dv::ParseWhole<std::uint16_t>("65536"));
    EXPECT_EQ(18446744073709551615U, dv::ParseWhole<std::uint64_t>("18446744073709551615"));
    EXPECT_FALSE(dv::ParseWhole<std::uint64_t>("18446744073709551616"));
    EXPECT_EQ(-128, dv::ParseWhole<std::int8_t>("-128"));
    EXPECT_FALSE(dv::ParseWhole<std::int8_t>("-129"));
    EXPECT_FALSE(dv::ParseWhole<std::int8_t>("--1"));
}

TEST(WholeNumbers, KeepToTheirBounds) {
    for (const auto text : {"2"sv, "9"sv})
        EXPECT_TRUE(dv::ParseWhole(text, 2, 9)) << text;
    for (const auto text : {"1"sv, "10"sv, "-2"sv})
        EXPECT_FALSE(dv::ParseWhole(text, 2, 9)) << text;
}

TEST(Trim, TakesTheWhiteSpaceOfTheCLocaleFromBothEnds) {
    EXPECT_EQ("a b", dv::Trim(" \t\n\v\f\ra b \t\n\v\f\r"));
    EXPECT_EQ("\xC2\xA0", dv::Trim("\xC2\xA0"));
    EXPECT_EQ("", dv::Trim(" \n "));
    EXPECT_EQ("", dv::Trim(""));
}

TEST(Numbers, AreWrittenInDecimal) {
    EXPECT_EQ("0", dv::ToString(0));
    EXPECT_EQ("99999", dv::ToString(99999));
    EXPECT_EQ("4294967295", dv::ToString(4294967295U));
    EXPECT_STREQ("true", dv::BoolText(true));
    EXPECT_STREQ("false", dv::BoolText(false));
}

}  // namespace
