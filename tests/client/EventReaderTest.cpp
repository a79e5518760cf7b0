#include "client/EventReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Events : public testing::Test {
protected:
    std::vector<std::string> received;
    EventReader reader{[this](const Event& event) { received.push_back(event.type + "|" + event.data); }};
};

}  // namespace

TEST_F(Events, AnEventEndsWithAnEmptyLine) {
    reader.Feed("id: 7\ndata: <GroupAdded/>\n");
    EXPECT_THAT(received, IsEmpty());
    reader.Feed("\n");
    EXPECT_THAT(received, ElementsAre("|<GroupAdded/>"));
    EXPECT_EQ("7", reader.LastId());
}

TEST_F(Events, BytesMayComeInAnyPieces) {
    for (const char byte : std::string("id: 7\r\ndata: <a/>\r\n\r\nevent: reset\ndata:<reset/>\n\n"))
        reader.Feed(std::string(1, byte));
    EXPECT_THAT(received, ElementsAre("|<a/>", "reset|<reset/>"));
}

TEST_F(Events, CommentsAndUnknownFieldsAreNoEvents) {
    reader.Feed(": still there\n\nretry: 5\n\ndata\n\n");
    EXPECT_THAT(received, ElementsAre("|"));
}

TEST_F(Events, SeveralDataLinesAreOneText) {
    reader.Feed("data: a\ndata:  b\n\n");
    EXPECT_THAT(received, ElementsAre("|a\n b"));
}

TEST_F(Events, TheIdOfAnUnfinishedEventDoesNotCount) {
    reader.Feed("id: 7\ndata: a\n\nid: 8\ndata: b\n");
    EXPECT_EQ("7", reader.LastId());
    reader.BeginAnew();
    reader.Feed("data: c\n\n");
    EXPECT_THAT(received, ElementsAre("|a", "|c"));
    EXPECT_EQ("7", reader.LastId());
}
