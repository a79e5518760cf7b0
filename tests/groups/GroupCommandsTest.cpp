// Making, copying, changing and deleting groups. Who is in them: GroupMembersTest.cpp.
#include "host/glue/LiveObjects.h"
#include "tests/support/AgentFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Shared by the fixtures below.
class GroupFixture : public test::AgentFixture {
protected:
    /// A stored group with members; what making it recorded is forgotten.
    int GroupOf(const std::string& name, const std::vector<unsigned long>& members) {
        Ui("addGroup", {{"name", name}});
        const int id = nextId_++;
        EXPECT_EQ("<success/>", test::Text(Agent().SetGroupState(id, name, members)));
        Take();
        return id;
    }
    std::string Get(int id) { return Ui("getGroup", {{"groupId", std::to_string(id)}}); }
    std::string NextGroupId() {
        const auto state = Agent().GetPersistState(0);
        return std::string(state->NodeGetNamedValue("nextGroupId"));
    }

private:
    int nextId_ = 1;
};

class AddGroup : public GroupFixture {};
class CopyGroup : public GroupFixture {};
class DeleteGroup : public GroupFixture {};
class SetGroupState : public GroupFixture {};

/// A state with groups of these ids, named "g" and the id.
std::string StateWithGroups(const std::vector<std::string>& ids, const std::string& nextGroupId) {
    std::string xml = "<IntercomState><nextGroupId>" + nextGroupId + "</nextGroupId><groups>";
    for (const std::string& id : ids)
        xml.append("<group><groupId>")
            .append(id)
            .append("</groupId><name>g")
            .append(id)
            .append("</name></group>");
    return xml + "</groups></IntercomState>";
}

TEST_F(AddGroup, MarksTheStateAnnouncesTheGroupAndRepliesWithIt) {
    Start();
    EXPECT_EQ("<group><groupId>1</groupId><name>Hall</name></group>", Ui("addGroup", {{"name", "Hall"}}));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <GroupAdded><id>1</id></GroupAdded>"));
    EXPECT_EQ("<group><groupId>1</groupId><name>Hall</name></group>", Get(1));
}

TEST_F(AddGroup, HasTheGroupInPlaceBeforeTheStateIsMarked) {
    Start();
    std::string groupAtMark;
    std::string nextAtMark;
    recorder.Next("mark", [&] {
        groupAtMark = Get(1);
        nextAtMark = NextGroupId();
    });
    Ui("addGroup", {{"name", "Hall"}});
    EXPECT_EQ("<group><groupId>1</groupId><name>Hall</name></group>", groupAtMark);
    EXPECT_EQ("2", nextAtMark);
}

TEST_F(AddGroup, AnswersWithTheGroupThoughItIsDeletedWhileTheStateIsMarked) {
    Start();
    recorder.Next("mark", [&] { Ui("deleteGroup", {{"groupId", "1"}}); });
    EXPECT_EQ("<group><groupId>1</groupId><name>Hall</name></group>", Ui("addGroup", {{"name", "Hall"}}));
    EXPECT_THAT(Take("ui "), ElementsAre("ui <GroupRemoved><id>1</id></GroupRemoved>",
                                         "ui <GroupAdded><id>1</id></GroupAdded>"));
}

TEST_F(AddGroup, RefusesTheNameOfTheGroupOfAllDevices) {
    Start();
    EXPECT_EQ("<fail/>", Ui("addGroup", {{"name", "All"}}));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("1", NextGroupId());
}

TEST_F(AddGroup, RefusesANameThatIsTaken) {
    Start();
    Ui("addGroup", {{"name", "Hall"}});
    Ui("addGroup", {{"name", "Attic"}});
    Take();
    EXPECT_EQ("<fail/>", Ui("addGroup", {{"name", "Hall"}}));
    EXPECT_EQ("<fail/>", Ui("addGroup", {{"name", "Attic"}}));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("3", NextGroupId());
}

TEST_F(AddGroup, ComparesNamesExactly) {
    Start();
    for (const std::string name : {"all", "ALL", "All ", " All", "Hall", "hall", "Hall "})
        EXPECT_THAT(Ui("addGroup", {{"name", name}}), HasSubstr("<name>" + name + "</name>"));
}

TEST_F(AddGroup, TakesAnEmptyOrAbsentNameOnce) {
    Start();
    EXPECT_EQ("<group><groupId>1</groupId><name/></group>", Ui("addGroup"));
    EXPECT_EQ("<fail/>", Ui("addGroup", {{"name", ""}}));
}

TEST_F(AddGroup, ReadsOfTwoNamesTheFirst) {
    Start();
    EXPECT_EQ("<group><groupId>1</groupId><name>Hall</name></group>",
              Ui("addGroup", {{"name", "Hall"}, {"name", "Attic"}}));
}

TEST_F(AddGroup, MayTakeANameThatARenameSetFree) {
    Start();
    GroupOf("Hall", {});
    Agent().SetGroupState(1, "Attic", {});
    EXPECT_EQ("<fail/>", Ui("addGroup", {{"name", "Attic"}}));
    EXPECT_EQ("<group><groupId>2</groupId><name>Hall</name></group>", Ui("addGroup", {{"name", "Hall"}}));
}

TEST_F(AddGroup, NeverUsesAnIdAgain) {
    Start();
    Ui("addGroup", {{"name", "a"}});
    Ui("addGroup", {{"name", "b"}});
    Ui("deleteGroup", {{"groupId", "2"}});
    EXPECT_EQ("<group><groupId>3</groupId><name>c</name></group>", Ui("addGroup", {{"name", "c"}}));
    Restart();
    EXPECT_EQ("<group><groupId>4</groupId><name>d</name></group>", Ui("addGroup", {{"name", "d"}}));
}

TEST_F(AddGroup, UnderATakenIdIsAnsweredButDoesNotReplaceTheGroupThere) {
    Start(StateWithGroups({"3"}, "3"));
    EXPECT_EQ("<group><groupId>3</groupId><name>Hall</name></group>", Ui("addGroup", {{"name", "Hall"}}));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <GroupAdded><id>3</id></GroupAdded>"));
    EXPECT_EQ("<group><groupId>3</groupId><name>g3</name></group>", Get(3));
    EXPECT_EQ("4", NextGroupId());
}

TEST_F(AddGroup, GoesOnAtTheLowestIdBehindTheHighest) {
    Start(StateWithGroups({}, "2147483647"));
    EXPECT_EQ("<group><groupId>2147483647</groupId><name>a</name></group>", Ui("addGroup", {{"name", "a"}}));
    EXPECT_EQ("<group><groupId>-2147483648</groupId><name>b</name></group>", Ui("addGroup", {{"name", "b"}}));
    EXPECT_THAT(Take("ui "), ElementsAre("ui <GroupAdded><id>2147483647</id></GroupAdded>",
                                         "ui <GroupAdded><id>-2147483648</id></GroupAdded>"));
    EXPECT_EQ("-2147483647", NextGroupId());
}

TEST_F(AddGroup, UnderIdMinusOneIsAnnouncedWithoutTheId) {
    Start(StateWithGroups({}, "-1"));
    EXPECT_EQ("<group><groupId>-1</groupId><name>a</name></group>", Ui("addGroup", {{"name", "a"}}));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <GroupAdded/>"));
    EXPECT_EQ("0", NextGroupId());
}

TEST_F(CopyGroup, CarriesTheMembersInTheirOrderUnderANewId) {
    Start();
    GroupOf("Hall", {9, 3, 9});
    const std::string copy =
        "<group><groupId>2</groupId><name>Attic</name>"
        "<devices><device>9</device><device>3</device><device>9</device></devices></group>";
    EXPECT_EQ(copy, Ui("copyGroup", {{"groupId", "1"}, {"name", "Attic"}}));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <GroupAdded><id>2</id></GroupAdded>"));
    EXPECT_EQ(copy, Get(2));
    EXPECT_EQ("3", NextGroupId());
}

TEST_F(CopyGroup, IsIndependentOfItsSource) {
    Start();
    GroupOf("Hall", {9, 3});
    Ui("copyGroup", {{"groupId", "1"}, {"name", "Attic"}});
    Agent().SetGroupState(1, "Hall", {5});
    EXPECT_THAT(Get(2), HasSubstr("<devices><device>9</device><device>3</device></devices>"));
    Ui("deleteGroup", {{"groupId", "1"}});
    EXPECT_THAT(Get(2), HasSubstr("<devices><device>9</device><device>3</device></devices>"));
}

TEST_F(CopyGroup, RefusesReservedTakenNamesAndUnknownSources) {
    Start();
    GroupOf("Hall", {9});
    EXPECT_EQ("<fail/>", Ui("copyGroup", {{"groupId", "1"}, {"name", "All"}}));
    EXPECT_EQ("<fail/>", Ui("copyGroup", {{"groupId", "1"}, {"name", "Hall"}}));
    EXPECT_EQ("<fail/>", Ui("copyGroup", {{"groupId", "2"}, {"name", "Attic"}}));
    EXPECT_EQ("<fail/>", Ui("copyGroup", {{"groupId", "x"}, {"name", "Attic"}}));
    EXPECT_EQ("<fail/>", Ui("copyGroup", {{"name", "Attic"}}));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("2", NextGroupId());
}

TEST_F(CopyGroup, CannotCopyTheGroupOfAllDevices) {
    Start();
    AddDevice(5);
    EXPECT_EQ("<fail/>", Ui("copyGroup", {{"groupId", "0"}, {"name", "Attic"}}));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("1", NextGroupId());
}

TEST_F(CopyGroup, TakesTheSignedRangeOfIds) {
    Start(StateWithGroups({"1", "2147483647", "-2147483648"}, "5"));
    EXPECT_EQ("<fail/>", Ui("copyGroup", {{"groupId", "-1"}, {"name", "a"}}));
    EXPECT_EQ("<group><groupId>5</groupId><name>a</name></group>",
              Ui("copyGroup", {{"groupId", " 1x"}, {"name", "a"}}));
    Ui("deleteGroup", {{"groupId", "2147483647"}});
    EXPECT_EQ("<fail/>", Ui("copyGroup", {{"groupId", "4294967297"}, {"name", "b"}}));
}

TEST_F(DeleteGroup, MarksTheStateAnnouncesItAndRepliesWithTheId) {
    Start();
    GroupOf("Hall", {9});
    EXPECT_EQ("<groupId>1</groupId>", Ui("deleteGroup", {{"groupId", "1"}}));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <GroupRemoved><id>1</id></GroupRemoved>"));
    EXPECT_EQ("<fail/>", Get(1));
}

TEST_F(DeleteGroup, HasTheGroupGoneBeforeTheStateIsMarked) {
    Start();
    GroupOf("Hall", {9});
    std::string groupAtMark;
    recorder.Next("mark", [&] { groupAtMark = Get(1); });
    Ui("deleteGroup", {{"groupId", "1"}});
    EXPECT_EQ("<fail/>", groupAtMark);
}

TEST_F(DeleteGroup, FreesTheGroup) {
    Start();
    const long alive = dv::LiveObjects::Count();
    GroupOf("Hall", {9});
    EXPECT_EQ(alive + 1, dv::LiveObjects::Count());
    Ui("deleteGroup", {{"groupId", "1"}});
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(DeleteGroup, OfAnUnknownIdFailsAndSendsNothing) {
    Start();
    GroupOf("Hall", {9});
    for (const std::string id : {"2", "0", "-1", "", "x", "4294967297", "99999999999999999999"})
        EXPECT_EQ("<fail/>", Ui("deleteGroup", {{"groupId", id}})) << id;
    EXPECT_EQ("<fail/>", Ui("deleteGroup"));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(DeleteGroup, TwiceFailsTheSecondTime) {
    Start();
    GroupOf("Hall", {});
    EXPECT_EQ("<groupId>1</groupId>", Ui("deleteGroup", {{"groupId", "1"}}));
    Take();
    EXPECT_EQ("<fail/>", Ui("deleteGroup", {{"groupId", "1"}}));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(DeleteGroup, TakesTheSignedRangeOfIds) {
    Start(StateWithGroups({"-2147483648", "-1", "2147483647"}, "1"));
    EXPECT_EQ("<groupId>-2147483648</groupId>", Ui("deleteGroup", {{"groupId", "-2147483649"}}));
    EXPECT_EQ("<groupId>-1</groupId>", Ui("deleteGroup", {{"groupId", "-1"}}));
    EXPECT_EQ("<groupId>2147483647</groupId>", Ui("deleteGroup", {{"groupId", "2147483648"}}));
    EXPECT_THAT(Take("ui "),
                ElementsAre("ui <GroupRemoved><id>-2147483648</id></GroupRemoved>", "ui <GroupRemoved/>",
                            "ui <GroupRemoved><id>2147483647</id></GroupRemoved>"));
}

TEST_F(SetGroupState, RenamesReplacesTheMembersAndMarksNothing) {
    Start();
    GroupOf("Hall", {1, 2, 3});
    EXPECT_EQ("<success/>", Ui("setGroupState", {{"groupId", "1"},
                                                 {"name", "Attic"},
                                                 {"xml",
                                                  "<ids><id>5</id><id>0</id><id>abc</id>"
                                                  "<id>-1</id><id>7</id></ids>"}}));
    EXPECT_THAT(Take(), ElementsAre("ui <GroupChanged><id>1</id></GroupChanged>"));
    EXPECT_EQ(
        "<group><groupId>1</groupId><name>Attic</name>"
        "<devices><device>5</device><device>7</device></devices></group>",
        Get(1));
}

TEST_F(SetGroupState, HasTheChangeInPlaceBeforeItIsAnnounced) {
    Start();
    GroupOf("Hall", {1});
    std::string groupAtEvent;
    recorder.Next("ui ", [&] { groupAtEvent = Get(1); });
    Ui("setGroupState", {{"groupId", "1"}, {"name", "Attic"}});
    EXPECT_EQ("<group><groupId>1</groupId><name>Attic</name></group>", groupAtEvent);
}

TEST_F(SetGroupState, KeepsDuplicatesAndIdsThatNobodyRegistered) {
    Start();
    GroupOf("Hall", {});
    Ui("setGroupState",
       {{"groupId", "1"}, {"name", "Hall"}, {"xml", "<x><a>7</a><b>5</b><a>7</a><a>-2</a></x>"}});
    EXPECT_THAT(Get(1), HasSubstr("<devices><device>7</device><device>5</device><device>7</device>"
                                  "<device>4294967294</device></devices>"));
}

// What a user interface copies out of a file may still declare the file's encoding.
TEST_F(SetGroupState, ReadsTheListWhateverEncodingItDeclares) {
    Start();
    GroupOf("Hall", {9});
    EXPECT_EQ("<success/>",
              Ui("setGroupState",
                 {{"groupId", "1"},
                  {"name", "Hall"},
                  {"xml", "<?xml version=\"1.0\" encoding=\"utf-16\"?><ids><id>5</id><id>7</id></ids>"}}));
    EXPECT_EQ(
        "<group><groupId>1</groupId><name>Hall</name><devices><device>5</device><device>7</device></devices>"
        "</group>",
        Get(1));
}

TEST_F(SetGroupState, EmptiesTheGroupWhenThereIsNoListToRead) {
    Start();
    GroupOf("Hall", {});
    for (const std::string xml : {"", "no xml", "<ids><id>5</id>", "<ids/>", "<ids><id>x</id></ids>"}) {
        Agent().SetGroupState(1, "Hall", {9});
        EXPECT_EQ("<success/>", Ui("setGroupState", {{"groupId", "1"}, {"name", "Hall"}, {"xml", xml}}));
        EXPECT_EQ("<group><groupId>1</groupId><name>Hall</name></group>", Get(1)) << xml;
    }
}

TEST_F(SetGroupState, WithoutNameAndListGivesAnEmptyNameAndAnEmptyGroup) {
    Start();
    GroupOf("Hall", {9});
    EXPECT_EQ("<success/>", Ui("setGroupState", {{"groupId", "1"}}));
    EXPECT_EQ("<group><groupId>1</groupId><name/></group>", Get(1));
}

TEST_F(SetGroupState, MayGiveReservedAndTakenNames) {
    Start();
    GroupOf("Hall", {});
    GroupOf("Attic", {});
    EXPECT_EQ("<success/>", Ui("setGroupState", {{"groupId", "1"}, {"name", "All"}}));
    EXPECT_EQ("<success/>", Ui("setGroupState", {{"groupId", "2"}, {"name", "All"}}));
    EXPECT_EQ("<group><groupId>1</groupId><name>All</name></group>", Get(1));
    EXPECT_EQ("<group><groupId>2</groupId><name>All</name></group>", Get(2));
}

TEST_F(SetGroupState, SucceedsThoughTheGroupIsDeletedWhileItIsAnnounced) {
    Start();
    GroupOf("Hall", {9});
    recorder.Next("ui <GroupChanged>", [&] { Ui("deleteGroup", {{"groupId", "1"}}); });
    EXPECT_EQ("<success/>", Ui("setGroupState", {{"groupId", "1"}, {"name", "n"}}));
    EXPECT_EQ("<fail/>", Get(1));
}

TEST_F(SetGroupState, OfAnUnknownGroupFailsAndChangesNothing) {
    Start();
    GroupOf("Hall", {9});
    for (const std::string id : {"2", "0", "-1", "", "x", "4294967297"})
        EXPECT_EQ("<fail/>", Ui("setGroupState", {{"groupId", id}, {"name", "n"}})) << id;
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("<group><groupId>1</groupId><name>Hall</name><devices><device>9</device></devices></group>",
              Get(1));
}

TEST_F(SetGroupState, TakesTheSignedRangeOfIds) {
    Start(StateWithGroups({"-2147483648", "-1", "2147483647"}, "1"));
    for (const std::string id : {"-2147483649", "-1", "2147483648"})
        EXPECT_EQ("<success/>", Ui("setGroupState", {{"groupId", id}, {"name", "n"}}));
    EXPECT_THAT(Take(),
                ElementsAre("ui <GroupChanged><id>-2147483648</id></GroupChanged>", "ui <GroupChanged/>",
                            "ui <GroupChanged><id>2147483647</id></GroupChanged>"));
}

}  // namespace
