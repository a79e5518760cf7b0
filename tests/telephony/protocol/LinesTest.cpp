#include "telephony/protocol/Lines.h"

#include <gtest/gtest.h>

namespace telephony {
namespace {

TEST(LineReader, LinesComeInOrderHoweverTheBytesArrive) {
    LineReader reader;
    std::string seen;
    for (const char byte : std::string("one\ntwo\n\nthree\n")) {
        ASSERT_TRUE(reader.Add(std::string(1, byte)));
        while (const auto line = reader.Next())
            seen += "[" + *line + "]";
    }
    EXPECT_EQ(seen, "[one][two][][three]");
}

TEST(LineReader, SeveralLinesInOnePieceAreTakenOneByOne) {
    LineReader reader;
    ASSERT_TRUE(reader.Add("one\ntwo\nthr"));
    EXPECT_EQ(reader.Next(), "one");
    EXPECT_EQ(reader.Next(), "two");
    EXPECT_EQ(reader.Next(), std::nullopt);
}

TEST(LineReader, AHalfLineIsNoLineAndIsKnown) {
    LineReader reader;
    ASSERT_TRUE(reader.Add("whole\nhal"));
    EXPECT_EQ(reader.Next(), "whole");
    EXPECT_EQ(reader.Next(), std::nullopt);
    EXPECT_TRUE(reader.HasHalfLine());
    ASSERT_TRUE(reader.Add("f\n"));
    EXPECT_EQ(reader.Next(), "half");
    EXPECT_FALSE(reader.HasHalfLine());
}

TEST(LineReader, ALineWithoutEndIsRefusedAtItsBound) {
    LineReader reader(8);
    EXPECT_TRUE(reader.Add("12345678"));
    EXPECT_FALSE(reader.Add("9"));
}

TEST(LineReader, TheBoundIsOfOneLineNotOfAll) {
    LineReader reader(8);
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(reader.Add("123456\n12"));
        ASSERT_TRUE(reader.Next().has_value());
        ASSERT_TRUE(reader.Add("\n"));
        ASSERT_EQ(reader.Next(), "12");
    }
}

TEST(LineQueue, LinesWaitUntilTheyAreSentHoweverSmallThePieces) {
    LineQueue queue;
    EXPECT_TRUE(queue.Add("one"));
    EXPECT_TRUE(queue.Add("two"));
    std::string sent;
    while (!queue.Waiting().empty()) {
        sent += queue.Waiting().substr(0, 3);
        queue.Sent(std::min<std::size_t>(3, queue.Waiting().size()));
    }
    EXPECT_EQ(sent, "one\ntwo\n");
}

TEST(LineQueue, AFullQueueTakesNothingAndTakesAgainWhenSomethingIsSent) {
    LineQueue queue(8);
    EXPECT_TRUE(queue.Add("1234567"));
    EXPECT_FALSE(queue.Add(""));
    EXPECT_EQ(queue.Waiting(), "1234567\n");
    queue.Sent(4);
    EXPECT_TRUE(queue.Add("abc"));
    EXPECT_EQ(queue.Waiting(), "567\nabc\n");
}

}  // namespace
}  // namespace telephony
