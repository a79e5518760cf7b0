// The bounded list of recent calls.
#include "host/glue/LiveObjects.h"
#include "tests/support/AgentFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Shared by the fixtures below.
class RecentContactFixture : public test::AgentFixture {
protected:
    void StartWithBound(const std::string& maxRecentCalls) {
        Start("<IntercomState><maxRecentCalls>" + maxRecentCalls + "</maxRecentCalls></IntercomState>");
    }
    void AddCalls(int number) {
        for (int call = 0; call < number; ++call)
            Drivers().AddRecentContact("n", "a", "t", "l", true, false);
    }
    std::string DeleteCall(int id) { return Ui("deleteRecentContact", {{"id", std::to_string(id)}}); }
    /// The ids in the list, in its order.
    std::vector<int> Ids() {
        std::vector<int> ids;
        const auto root = DvXML::CreateXmlDocument("");
        EXPECT_EQ(0, root->DocumentParse(Ui("getRecentContactList")));
        for (const DvXML::INode* entry : root->DocumentGetRoot()->NodeChildren())
            ids.push_back(entry->NodeGetNamedInt("id"));
        return ids;
    }
};

class RecentContactList : public RecentContactFixture {};
class AddRecentContact : public RecentContactFixture {};
class DeleteRecentContact : public RecentContactFixture {};
class ClearRecentContacts : public RecentContactFixture {};

constexpr char kSecondCall[] =
    "<recentContact><id>1</id><displayName>Ann</displayName><aor>ann@home</aor><callTime>10:15</callTime>"
    "<callLength>62</callLength><receivedCall>true</receivedCall><acceptedCall>false</acceptedCall>"
    "</recentContact>";
constexpr char kPlainCall[] =
    "<recentContact><id>0</id><displayName>n</displayName><aor>a</aor><callTime>t</callTime>"
    "<callLength>l</callLength><receivedCall>true</receivedCall><acceptedCall>false</acceptedCall>"
    "</recentContact>";

TEST_F(RecentContactList, OfAFreshAgentIsAnEmptyElement) {
    Start();
    EXPECT_EQ("<recentContacts/>", Ui("getRecentContactList"));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(RecentContactList, HoldsCallsOldestFirst) {
    Start();
    AddCalls(1);
    Drivers().AddRecentContact("Ann", "ann@home", "10:15", "62", true, false);
    EXPECT_EQ(std::string("<recentContacts>") + kPlainCall + kSecondCall + "</recentContacts>",
              Ui("getRecentContactList"));
}

TEST_F(AddRecentContact, MarksTheStateLogsTheCallAndAnnouncesItInThisOrder) {
    Start();
    AddCalls(1);
    Take();
    Drivers().AddRecentContact("Ann", "ann@home", "10:15", "62", true, false);
    EXPECT_THAT(Take(), ElementsAre("mark", std::string("log 7 AddRecentContact: ") + kSecondCall,
                                    "ui <RecentContactAdded><id>1</id></RecentContactAdded>"));
}

TEST_F(AddRecentContact, HasTheCallInPlaceBeforeTheStateIsMarked) {
    Start();
    std::vector<int> atMark;
    recorder.Next("mark", [&] { atMark = Ids(); });
    AddCalls(1);
    EXPECT_THAT(atMark, ElementsAre(0));
}

TEST_F(AddRecentContact, LogsUserTextAsItStandsOnOneLine) {
    Start();
    Drivers().AddRecentContact("100% %s %n", "a\nb", std::string(5000, 'x'), "", false, false);
    EXPECT_THAT(Take("log "),
                ElementsAre("log 7 AddRecentContact: <recentContact><id>0</id><displayName>100% %s %n"
                            "</displayName><aor>a&#10;b</aor><callTime>" +
                            std::string(5000, 'x') +
                            "</callTime><callLength/><receivedCall>false</receivedCall>"
                            "<acceptedCall>false</acceptedCall></recentContact>"));
}

TEST_F(AddRecentContact, AtTheBoundOfFiftyDropsTheOldestCall) {
    Start();
    AddCalls(50);
    EXPECT_EQ(50U, Ids().size());
    EXPECT_EQ(0, Ids().front());
    AddCalls(1);
    EXPECT_EQ(50U, Ids().size());
    EXPECT_EQ(1, Ids().front());
    EXPECT_EQ(50, Ids().back());
    AddCalls(2);
    EXPECT_EQ(50U, Ids().size());
    EXPECT_EQ(3, Ids().front());
}

TEST_F(AddRecentContact, FreesTheCallThatIsDropped) {
    StartWithBound("2");
    AddCalls(2);
    const long alive = dv::LiveObjects::Count();
    AddCalls(1);
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(AddRecentContact, WithABoundOfOneKeepsTheLastCall) {
    StartWithBound("1");
    AddCalls(1);
    EXPECT_THAT(Ids(), ElementsAre(0));
    AddCalls(1);
    EXPECT_THAT(Ids(), ElementsAre(1));
}

TEST_F(AddRecentContact, WithABoundOfZeroOrBelowKeepsEveryCall) {
    for (const std::string bound : {"0", "-1", "-2147483648"}) {
        StartWithBound(bound);
        AddCalls(60);
        EXPECT_EQ(60U, Ids().size()) << bound;
        Stop();
        Delete();
    }
}

TEST_F(AddRecentContact, CountsAgainAfterADeletion) {
    StartWithBound("3");
    AddCalls(3);
    DeleteCall(1);
    AddCalls(1);
    EXPECT_THAT(Ids(), ElementsAre(0, 2, 3));
    AddCalls(1);
    EXPECT_THAT(Ids(), ElementsAre(2, 3, 4));
}

TEST_F(AddRecentContact, CountsAgainAfterTheListWasEmptied) {
    StartWithBound("2");
    AddCalls(2);
    Ui("clearRecentContactList");
    AddCalls(2);
    EXPECT_THAT(Ids(), ElementsAre(1, 2));
    AddCalls(1);
    EXPECT_THAT(Ids(), ElementsAre(2, 3));
    DeleteCall(2);
    DeleteCall(3);
    AddCalls(2);
    EXPECT_THAT(Ids(), ElementsAre(0, 1));
    AddCalls(1);
    EXPECT_THAT(Ids(), ElementsAre(1, 2));
}

TEST_F(AddRecentContact, ThatIsDeletedWhileItIsLoggedIsStillAnnounced) {
    Start();
    recorder.Next("log 7 AddRecentContact", [&] { DeleteCall(0); });
    AddCalls(1);
    EXPECT_THAT(Take("ui "), ElementsAre("ui <RecentContactDeleted><id>0</id></RecentContactDeleted>",
                                         "ui <RecentContactAdded><id>0</id></RecentContactAdded>"));
    EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(DeleteRecentContact, MarksTheStateLogsTheCallAndAnnouncesItInThisOrder) {
    Start();
    AddCalls(1);
    Drivers().AddRecentContact("Ann", "ann@home", "10:15", "62", true, false);
    Take();
    EXPECT_EQ("<success/>", DeleteCall(1));
    EXPECT_THAT(Take(), ElementsAre("mark", std::string("log 7 OnReqDeleteRecentContact: ") + kSecondCall,
                                    "ui <RecentContactDeleted><id>1</id></RecentContactDeleted>"));
}

TEST_F(DeleteRecentContact, HasTheCallGoneBeforeTheStateIsMarked) {
    Start();
    AddCalls(2);
    std::vector<int> atMark;
    recorder.Next("mark", [&] { atMark = Ids(); });
    DeleteCall(0);
    EXPECT_THAT(atMark, ElementsAre(1));
}

TEST_F(DeleteRecentContact, FreesTheCall) {
    Start();
    const long alive = dv::LiveObjects::Count();
    AddCalls(1);
    DeleteCall(0);
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(DeleteRecentContact, FromTheMiddleGoesOnWithTheNextId) {
    Start();
    AddCalls(3);
    DeleteCall(1);
    EXPECT_THAT(Ids(), ElementsAre(0, 2));
    AddCalls(1);
    EXPECT_THAT(Ids(), ElementsAre(0, 2, 3));
}

TEST_F(DeleteRecentContact, OfTheLastOneBeginsAgainAtZero) {
    Start();
    AddCalls(3);
    for (const int id : {0, 2, 1})
        EXPECT_EQ("<success/>", DeleteCall(id));
    EXPECT_EQ("<recentContacts/>", Ui("getRecentContactList"));
    AddCalls(1);
    EXPECT_THAT(Ids(), ElementsAre(0));
}

TEST_F(DeleteRecentContact, BeginsAgainBeforeTheStateIsMarked) {
    Start();
    AddCalls(2);
    DeleteCall(0);
    recorder.Next("mark", [&] { AddCalls(1); });
    DeleteCall(1);
    EXPECT_THAT(Ids(), ElementsAre(0));
}

TEST_F(DeleteRecentContact, TwiceFailsTheSecondTime) {
    Start();
    AddCalls(2);
    EXPECT_EQ("<success/>", DeleteCall(1));
    Take();
    EXPECT_EQ("<fail/>", DeleteCall(1));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(DeleteRecentContact, OfAnUnknownIdFailsAndSendsNothing) {
    Start();
    AddCalls(3);
    DeleteCall(0);
    Take();
    for (const std::string id : {"0", "3", "-1", "", "x", "4294967297", "99999999999999999999"})
        EXPECT_EQ("<fail/>", Ui("deleteRecentContact", {{"id", id}})) << id;
    EXPECT_EQ("<fail/>", Ui("deleteRecentContact"));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_THAT(Ids(), ElementsAre(1, 2));
}

TEST_F(DeleteRecentContact, WithoutAnIdDeletesCallZeroWhenThereIsOne) {
    Start();
    AddCalls(2);
    EXPECT_EQ("<success/>", Ui("deleteRecentContact"));
    EXPECT_THAT(Ids(), ElementsAre(1));
    EXPECT_EQ("<fail/>", Ui("deleteRecentContact"));
}

TEST_F(DeleteRecentContact, ReadsAnIdUpToTheFirstOtherCharacter) {
    Start();
    AddCalls(2);
    EXPECT_EQ("<success/>", Ui("deleteRecentContact", {{"id", " +1x"}}));
    EXPECT_EQ("<success/>", Ui("deleteRecentContact", {{"id", "none"}}));
    EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(DeleteRecentContact, MayBeFollowedByClearingWhileItIsLogged) {
    Start();
    AddCalls(2);
    recorder.Next("log 7 OnReqDelete", [&] { Ui("clearRecentContactList"); });
    EXPECT_EQ("<success/>", DeleteCall(1));
    EXPECT_THAT(Take("ui <RecentContactDeleted>"),
                ElementsAre("ui <RecentContactDeleted><id>1</id></RecentContactDeleted>"));
    EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(ClearRecentContacts, MarksTheStateAnnouncesAndSucceedsWithoutALogLine) {
    Start();
    AddCalls(2);
    Take();
    EXPECT_EQ("<success/>", Ui("clearRecentContactList"));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <RecentContactsCleared/>"));
    EXPECT_EQ("<recentContacts/>", Ui("getRecentContactList"));
}

TEST_F(ClearRecentContacts, DoesTheSameWithAnEmptyList) {
    Start();
    EXPECT_EQ("<success/>", Ui("clearRecentContactList"));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <RecentContactsCleared/>"));
}

TEST_F(ClearRecentContacts, HasTheListEmptiedBeforeTheStateIsMarked) {
    Start();
    AddCalls(2);
    recorder.Next("mark", [&] { AddCalls(1); });
    Ui("clearRecentContactList");
    EXPECT_THAT(Ids(), ElementsAre(1));
}

TEST_F(ClearRecentContacts, BeginsAgainAtOne) {
    Start();
    AddCalls(3);
    Ui("clearRecentContactList");
    AddCalls(2);
    EXPECT_THAT(Ids(), ElementsAre(1, 2));
}

TEST_F(ClearRecentContacts, FreesEveryCall) {
    Start();
    const long alive = dv::LiveObjects::Count();
    AddCalls(3);
    Ui("clearRecentContactList");
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(RecentContactList, IsGoneAfterARestartAndItsIdsBeginAgain) {
    Start();
    AddCalls(3);
    Restart();
    EXPECT_EQ("<recentContacts/>", Ui("getRecentContactList"));
    AddCalls(1);
    EXPECT_THAT(Ids(), ElementsAre(0));
}

}  // namespace
