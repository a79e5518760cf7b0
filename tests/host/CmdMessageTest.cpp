#include "host/glue/CmdMessage.h"

#include <gtest/gtest.h>

namespace {

using dv::CmdMessage;

TEST(CmdMessage, KeepsNameAndTextsAsTheyStand) {
    const auto message = CmdMessage::Create("addGroup");
    message->AddParameter("name", " All \n").AddParameter("bytes", std::string("\0\xFF", 2));
    EXPECT_EQ("addGroup", message->GetName());
    EXPECT_EQ(" All \n", message->GetString("name"));
    EXPECT_EQ(std::string("\0\xFF", 2), message->GetString("bytes"));
}

TEST(CmdMessage, AbsentParameterReadsEmptyAndZero) {
    const auto message = CmdMessage::Create("x");
    EXPECT_FALSE(message->HasParameter("id"));
    EXPECT_EQ("", message->GetString("id"));
    EXPECT_EQ(0, message->GetInt("id"));
    EXPECT_EQ(0U, message->GetULong("id"));
}

TEST(CmdMessage, EmptyParameterIsPresent) {
    const auto message = CmdMessage::Create("x");
    message->AddParameter("id", "").AddParameter("", "nameless");
    EXPECT_TRUE(message->HasParameter("id"));
    EXPECT_EQ(0, message->GetInt("id"));
    EXPECT_EQ("nameless", message->GetString(""));
}

TEST(CmdMessage, NamesAreMatchedWithCase) {
    const auto message = CmdMessage::Create("x");
    message->AddParameter("idDevice", "5");
    EXPECT_FALSE(message->HasParameter("iddevice"));
    EXPECT_FALSE(message->HasParameter("idDevic"));
    EXPECT_EQ(5, message->GetInt("idDevice"));
}

TEST(CmdMessage, FirstOfARepeatedParameterCounts) {
    const auto message = CmdMessage::Create("x");
    message->AddParameter("id", "1").AddParameter("id", "2");
    EXPECT_EQ("1", message->GetString("id"));
    EXPECT_EQ(1, message->GetInt("id"));
    EXPECT_EQ(1U, message->GetULong("id"));
}

TEST(CmdMessage, NumbersFollowTheCommonRules) {
    const auto message = CmdMessage::Create("x");
    message->AddParameter("junk", "junk").AddParameter("large", "4294967296").AddParameter("minus", "-1");
    EXPECT_EQ(0, message->GetInt("junk"));
    EXPECT_EQ(2147483647, message->GetInt("large"));
    EXPECT_EQ(4294967295UL, message->GetULong("large"));
    EXPECT_EQ(-1, message->GetInt("minus"));
    EXPECT_EQ(4294967295UL, message->GetULong("minus"));
}

TEST(CmdMessage, XmlFormHasOneNamedValuePerParameterInOrder) {
    const auto message = CmdMessage::Create("addRoute");
    message->AddParameter("b", "2").AddParameter("a", " <1> ").AddParameter("b", "3");
    EXPECT_EQ("<addRoute><b>2</b><a> &lt;1&gt; </a><b>3</b></addRoute>", message->ToXml()->NodeToText());
    EXPECT_EQ("<ping/>", CmdMessage::Create("ping")->ToXml()->NodeToText());
}

}  // namespace
