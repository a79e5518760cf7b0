#include "drivers/panel/Values.h"

#include <gtest/gtest.h>

TEST(Values, AFlagIsTrueFalseOneOrZero) {
    EXPECT_EQ(true, Values::ReadFlag("true"));
    EXPECT_EQ(true, Values::ReadFlag(" TRUE\n"));
    EXPECT_EQ(true, Values::ReadFlag("1"));
    EXPECT_EQ(false, Values::ReadFlag("False"));
    EXPECT_EQ(false, Values::ReadFlag("0"));
}

TEST(Values, AnythingElseIsNoFlag) {
    for (const char* const text : {"", "yes", "2", "true false", "on"})
        EXPECT_EQ(std::nullopt, Values::ReadFlag(text)) << text;
}

TEST(Values, ANumberMayHaveASignAndWhiteSpaceAround) {
    EXPECT_EQ(42, Values::ReadWhole(" 42\t", 0, 100));
    EXPECT_EQ(42, Values::ReadWhole("+42", 0, 100));
    EXPECT_EQ(-1, Values::ReadWhole("-1", -1, 0));
    EXPECT_EQ(4294967295, Values::ReadWhole("4294967295", 0, 4294967295));
}

TEST(Values, JunkAndNumbersOutsideTheBoundsAreNone) {
    for (const char* const text :
         {"", " ", "x", "4x", "4 2", "-", "+-4", "--4", "0x4", "1.5", "101", "-1", "99999999999999999999"})
        EXPECT_EQ(std::nullopt, Values::ReadWhole(text, 0, 100)) << text;
}
