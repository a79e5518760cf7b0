#include "host/glue/LiveObjects.h"

#include <gtest/gtest.h>

#include "host/glue/CmdMessage.h"
#include "tests/host/Xml.h"

namespace {

#ifdef DVHOST_COUNT_OBJECTS
constexpr long kOne = 1;
#else
constexpr long kOne = 0;
#endif

TEST(LiveObjects, NodesDocumentsAndMessagesAreCounted) {
    const long before = dv::LiveObjects::Count();
    {
        const auto node = test::NewNode("a");
        EXPECT_EQ(before + kOne, dv::LiveObjects::Count());
        const auto document = DvXML::CreateXmlDocument("a");
        EXPECT_EQ(before + 3 * kOne, dv::LiveObjects::Count());
        const auto message = dv::CmdMessage::Create("a");
        EXPECT_EQ(before + 4 * kOne, dv::LiveObjects::Count());
    }
    EXPECT_EQ(before, dv::LiveObjects::Count());
}

TEST(LiveObjects, FailedParseLeavesNone) {
    const long before = dv::LiveObjects::Count();
    EXPECT_EQ(nullptr, test::Parse("<a><b><c/></b><d></a>")->DocumentGetRoot());
    EXPECT_EQ(before, dv::LiveObjects::Count());
}

TEST(LiveObjects, CopiesAreCountedToo) {
    class Record : private dv::Counted {};
    const long before = dv::LiveObjects::Count();
    {
        const Record first;
        Record second(first);
        second = first;
        EXPECT_EQ(before + 2 * kOne, dv::LiveObjects::Count());
    }
    EXPECT_EQ(before, dv::LiveObjects::Count());
}

}  // namespace
