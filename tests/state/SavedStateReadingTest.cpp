// How documents are read that are not just what the agent wrote: other versions, missing parts,
// repeated records, damaged values.
#include "tests/support/AgentFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class ReadState : public test::AgentFixture {
protected:
    /// Starts with this inside the document; the state as it is written afterwards.
    std::string Read(const std::string& inside) {
        Start("<IntercomState>" + inside + "</IntercomState>");
        return State();
    }
    static std::string Group(const std::string& id, const std::string& name) {
        return "<group><groupId>" + id + "</groupId><name>" + name + "</name></group>";
    }
    static std::string Config(const std::string& key, const std::string& domain) {
        return "<State><key>" + key + "</key><domain>" + domain + "</domain><port>0</port></State>";
    }
};

constexpr char kEmpty[] =
    "<IntercomState><version>0.0.0.1</version><nextGroupId>0</nextGroupId><popupTimeout>0</popupTimeout>"
    "<order><devices/></order><groups/><contacts/><maxRecentCalls>0</maxRecentCalls><routes/><acls/>"
    "<configs/><services/></IntercomState>";

TEST_F(ReadState, MarksNothingAndEchoesNothing) {
    SetAddress("192.168.1.10");
    Create();
    Take();
    Initialize("<IntercomState><nextGroupId>3</nextGroupId><groups>" + Group("1", "a") +
               "</groups><configs>" + Config("k", "d") +
               "</configs><routes><State><key>k</key></State></routes></IntercomState>");
    const std::vector<std::string> lines = Take();
    EXPECT_THAT(lines, Not(testing::Contains("mark")));
    std::vector<std::string> shown = lines;
    std::erase_if(shown, [](const std::string& line) { return !line.starts_with("ui "); });
    EXPECT_THAT(shown, ElementsAre("ui <AGENT_EXTERNAL><id>77</id><state>0</state></AGENT_EXTERNAL>"));
}

TEST_F(ReadState, WithoutAnyPartIsZeroAndEmpty) {
    EXPECT_EQ(kEmpty, Read(""));
}

TEST_F(ReadState, WithEmptyPartsIsZeroAndEmpty) {
    EXPECT_EQ(kEmpty, Read("<version/><nextGroupId/><popupTimeout/><order/><groups/><contacts/>"
                           "<maxRecentCalls/><routes/><acls/><configs/><services/>"));
}

TEST_F(ReadState, WithoutNextGroupIdGivesTheFirstGroupTheIdOfAllDevices) {
    Read("<popupTimeout>20</popupTimeout>");
    EXPECT_EQ(Group("0", "a"), Ui("addGroup", {{"name", "a"}}));
    EXPECT_EQ(Group("1", "b"), Ui("addGroup", {{"name", "b"}}));
}

TEST_F(ReadState, NeverLooksAtTheVersion) {
    for (const std::string version :
         {"", "<version/>", "<version>9.9</version>", "<version>x</version><version>0.0.0.1</version>"}) {
        const std::string state =
            Read(version + "<nextGroupId>4</nextGroupId><groups>" + Group("1", "a") + "</groups>");
        EXPECT_THAT(state, testing::StartsWith("<IntercomState><version>0.0.0.1</version>"
                                               "<nextGroupId>4</nextGroupId>"));
        EXPECT_THAT(state, HasSubstr("<groups>" + Group("1", "a") + "</groups>"));
        Stop();
        Delete();
    }
}

TEST_F(ReadState, IgnoresWhatItDoesNotKnow) {
    EXPECT_EQ(kEmpty, Read("<recentContacts><recentContact><id>3</id></recentContact></recentContacts>"
                           "<sipProxyIP>10.0.0.2</sipProxyIP><Groups>" +
                           Group("1", "a") + "</Groups>text"));
}

TEST_F(ReadState, TakesPartsInAnyOrder) {
    EXPECT_EQ(
        "<IntercomState><version>0.0.0.1</version><nextGroupId>4</nextGroupId><popupTimeout>5</popupTimeout>"
        "<order><devices><idDevice>9</idDevice></devices></order><groups>" +
            Group("1", "a") +
            "</groups><contacts><contact><contactId>2</contactId><displayName/><firstName/><lastName/>"
            "<phoneType/></contact></contacts><maxRecentCalls>6</maxRecentCalls><routes/><acls/><configs>" +
            Config("k", "d") + "</configs><services/></IntercomState>",
        Read("<configs>" + Config("k", "d") +
             "</configs><maxRecentCalls>6</maxRecentCalls><contacts><contact><contactId>2</contactId>"
             "</contact></contacts><groups>" +
             Group("1", "a") +
             "</groups><order><devices><idDevice>9</idDevice></devices></order>"
             "<popupTimeout>5</popupTimeout><nextGroupId>4</nextGroupId>"));
}

TEST_F(ReadState, TakesOfRepeatedPartsTheFirst) {
    const std::string state = Read("<nextGroupId>4</nextGroupId><nextGroupId>5</nextGroupId><groups>" +
                                   Group("1", "a") + "</groups><groups>" + Group("2", "b") +
                                   "</groups><configs/><configs>" + Config("k", "d") + "</configs>");
    EXPECT_THAT(state, HasSubstr("<nextGroupId>4</nextGroupId>"));
    EXPECT_THAT(state, HasSubstr("<groups>" + Group("1", "a") + "</groups>"));
    EXPECT_THAT(state, HasSubstr("<configs/>"));
}

TEST_F(ReadState, TakesNumbersUpToTheFirstOtherCharacter) {
    const std::string state = Read(
        "<nextGroupId> 4x</nextGroupId><popupTimeout>soon</popupTimeout>"
        "<maxRecentCalls>+7.5</maxRecentCalls>");
    EXPECT_THAT(state, HasSubstr("<nextGroupId>4</nextGroupId><popupTimeout>0</popupTimeout>"));
    EXPECT_THAT(state, HasSubstr("<maxRecentCalls>7</maxRecentCalls>"));
}

TEST_F(ReadState, TakesAnyNumberOfTheSignedRangeAndSaturatesBeyond) {
    const std::string state = Read(
        "<nextGroupId>-2147483649</nextGroupId>"
        "<popupTimeout>4294967296</popupTimeout>"
        "<maxRecentCalls>-1</maxRecentCalls>");
    EXPECT_THAT(state,
                HasSubstr("<nextGroupId>-2147483648</nextGroupId><popupTimeout>2147483647</popupTimeout>"));
    EXPECT_THAT(state, HasSubstr("<maxRecentCalls>-1</maxRecentCalls>"));
}

TEST_F(ReadState, TakesTheOrderWithoutWhatIsNoId) {
    EXPECT_THAT(Read("<order><devices><idDevice>9</idDevice><idDevice>x</idDevice><idDevice>-1</idDevice>"
                     "<idDevice>4294967296</idDevice><idDevice>4294967295</idDevice><idDevice>0</idDevice>"
                     "<other>9</other></devices></order>"),
                HasSubstr("<order><devices><idDevice>9</idDevice><idDevice>4294967295</idDevice>"
                          "<idDevice>0</idDevice><idDevice>9</idDevice></devices></order>"));
}

TEST_F(ReadState, TakesAnOrderOnlyFromItsOwnList) {
    EXPECT_THAT(Read("<order><idDevice>9</idDevice></order><devices><idDevice>5</idDevice></devices>"),
                HasSubstr("<order><devices/></order>"));
}

TEST_F(ReadState, HasTheOrderBeforeDriversAreAskedForTheirDevices) {
    for (const unsigned long id : {3UL, 5UL, 7UL}) {
        test::FakeDevice& device = NewDevice(id);
        device.Next("requestToAddDevice", [&] { Drivers().AddIntercomDevice(device.id, &device); });
        host.drivers.push_back(&device);
    }
    EXPECT_THAT(Read("<order><devices><idDevice>7</idDevice><idDevice>9</idDevice><idDevice>3</idDevice>"
                     "</devices></order>"),
                HasSubstr("<order><devices><idDevice>7</idDevice><idDevice>9</idDevice>"
                          "<idDevice>3</idDevice><idDevice>5</idDevice></devices></order>"));
}

TEST_F(ReadState, LeavesOutGroupsNamedExactlyAll) {
    EXPECT_THAT(
        Read("<groups>" + Group("1", "All") + Group("2", "all") + Group("3", "All ") + Group("4", "ALL") +
             Group("0", "All") + "</groups>"),
        HasSubstr("<groups>" + Group("2", "all") + Group("3", "All ") + Group("4", "ALL") + "</groups>"));
}

TEST_F(ReadState, AGroupNamedAllDoesNotReplaceTheOneWithItsId) {
    EXPECT_THAT(Read("<groups>" + Group("1", "a") + Group("1", "All") + "</groups>"),
                HasSubstr("<groups>" + Group("1", "a") + "</groups>"));
}

TEST_F(ReadState, KeepsOfGroupsWithOneIdTheLast) {
    EXPECT_THAT(Read("<groups>" + Group("1", "a") + Group("2", "b") + Group("1", "c") + "</groups>"),
                HasSubstr("<groups>" + Group("1", "c") + Group("2", "b") + "</groups>"));
}

TEST_F(ReadState, KeepsGroupsThatShareAName) {
    EXPECT_THAT(Read("<groups>" + Group("1", "a") + Group("2", "a") + "</groups>"),
                HasSubstr("<groups>" + Group("1", "a") + Group("2", "a") + "</groups>"));
}

TEST_F(ReadState, TakesEveryChildOfTheGroupsAsAGroup) {
    EXPECT_THAT(
        Read("<groups><x><groupId>1</groupId><name>a</name></x><group/></groups>"),
        HasSubstr("<groups><group><groupId>0</groupId><name/></group>" + Group("1", "a") + "</groups>"));
}

TEST_F(ReadState, KeepsContactsInDocumentOrderThoughTheyShareAnId) {
    const std::string contacts =
        "<contacts><contact><contactId>9</contactId><displayName>a</displayName><firstName/><lastName/>"
        "<phoneType/></contact><contact><contactId>9</contactId><displayName>b</displayName><firstName/>"
        "<lastName/><phoneType/></contact></contacts>";
    EXPECT_THAT(Read(contacts), HasSubstr(contacts));
}

TEST_F(ReadState, TakesAnUnknownElementAmongContactsAsAnEmptyContact) {
    EXPECT_THAT(Read("<contacts><person><contactId>9</contactId></person></contacts>"),
                HasSubstr("<contacts><contact><contactId>0</contactId><displayName/><firstName/><lastName/>"
                          "<phoneType/></contact></contacts>"));
}

TEST_F(ReadState, KeepsOfRoutesWithOneKeyTheFirst) {
    EXPECT_THAT(Read("<routes><State><key>k</key><method>first</method></State>"
                     "<State><key>k</key><method>second</method></State></routes>"),
                HasSubstr("<routes><State><key>k</key><method>first</method><event/><matchingPattern/>"
                          "<rewriteExp/><order>0</order></State></routes>"));
}

TEST_F(ReadState, KeepsOfAclsWithOneKeyTheFirst) {
    EXPECT_THAT(Read("<acls><State><key>k</key><peer>first</peer></State>"
                     "<State><key>k</key><peer>second</peer></State></acls>"),
                HasSubstr("<acls><State><key>k</key><peer>first</peer><address/><mask>0</mask><port>0</port>"
                          "<family>0</family><transport>0</transport></State></acls>"));
}

TEST_F(ReadState, KeepsOfConfigsWithOneKeyTheFirst) {
    EXPECT_THAT(
        Read("<configs>" + Config("k", "first") + Config("k", "second") + Config("", "d") + "</configs>"),
        HasSubstr("<configs><State><key/><domain>d</domain><port>0</port></State>" + Config("k", "first") +
                  "</configs>"));
}

TEST_F(ReadState, KeepsOfServicesWithOneNameTheFirst) {
    EXPECT_THAT(Read("<services><service><name>p</name><host>first</host></service>"
                     "<service><name>p</name><host>second</host></service><service>q</service></services>"),
                HasSubstr("<services><service><name/><host/><username/><password/></service>"
                          "<service>p<name>p</name><host>first</host><username/><password/></service>"
                          "</services>"));
}

TEST_F(ReadState, DropsDuplicatesSilently) {
    Create();
    Take();
    Initialize("<IntercomState><configs>" + Config("k", "a") + Config("k", "b") +
               "</configs><acls><State/><State/></acls></IntercomState>");
    EXPECT_THAT(Take("log"), IsEmpty());
}

TEST_F(ReadState, TakesMixedUpListsForWhatTheyAreCalled) {
    EXPECT_THAT(Read("<acls>" + Config("k", "d") + "</acls>"),
                HasSubstr("<acls><State><key>k</key><peer/><address/><mask>0</mask><port>0</port>"
                          "<family>0</family><transport>0</transport></State></acls><configs/>"));
}

TEST_F(ReadState, TakesBlanksBetweenElementsForFormatting) {
    EXPECT_EQ(kEmpty,
              Read("\n  <order>\n    <devices>\n    </devices>\n  </order>\n  <groups>\n  </groups>\n"));
}

}  // namespace
