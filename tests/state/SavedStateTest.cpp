// The state document as it is written, and read again by the next agent.
#include "host/glue/LiveObjects.h"
#include "tests/support/AgentFixture.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char kFresh[] =
    "<IntercomState><version>0.0.0.1</version><nextGroupId>1</nextGroupId><popupTimeout>20</popupTimeout>"
    "<order><devices/></order><groups/><contacts/><maxRecentCalls>50</maxRecentCalls><routes/><acls/>"
    "<configs/><services/></IntercomState>";

constexpr char kFull[] =
    "<IntercomState>"
    "<version>0.0.0.1</version>"
    "<nextGroupId>3</nextGroupId>"
    "<popupTimeout>45</popupTimeout>"
    "<order><devices><idDevice>9</idDevice><idDevice>3000000000</idDevice><idDevice>9</idDevice></devices>"
    "</order>"
    "<groups>"
    "<group><groupId>1</groupId><name>Hall &amp; Attic</name>"
    "<devices><device>9</device><device>5</device></devices></group>"
    "<group><groupId>2</groupId><name>Empty</name></group>"
    "</groups>"
    "<contacts>"
    "<contact><contactId>7</contactId><displayName>Ann</displayName><firstName>Anna</firstName>"
    "<lastName>Bell</lastName><phoneType><home speedDial=\"true\">555-0100</home>"
    "<mobile speedDial=\"false\">555-0199</mobile></phoneType></contact>"
    "<contact><contactId>3</contactId><displayName/><firstName/><lastName/><phoneType/></contact>"
    "</contacts>"
    "<maxRecentCalls>50</maxRecentCalls>"
    "<routes>"
    "<State><key>a</key><method>INVITE</method><event>e</event><matchingPattern>^(.*)$</matchingPattern>"
    "<rewriteExp>&lt;sip:$1&gt;</rewriteExp><order>-3</order></State>"
    "<State><key>b</key><method/><event/><matchingPattern/><rewriteExp/><order>0</order></State>"
    "</routes>"
    "<acls>"
    "<State><key>k</key><peer>p</peer><address>10.0.0.0</address><mask>24</mask><port>5060</port>"
    "<family>2</family><transport>1</transport></State>"
    "</acls>"
    "<configs>"
    "<State><key>home</key><domain>home.example</domain><port>5070</port></State>"
    "</configs>"
    "<services>"
    "<service>Provider<name>Provider</name><host>sip.example</host><username>ann</username>"
    "<password>s3cret</password></service>"
    "</services>"
    "</IntercomState>";

class SavedState : public test::AgentFixture {
protected:
    /// Does by commands what the full document holds.
    void DoEverything() {
        Ui("addGroup", {{"name", "Hall & Attic"}});
        Ui("addGroup", {{"name", "Empty"}});
        Ui("setGroupState", {{"groupId", "1"}, {"name", "Hall & Attic"}, {"xml", "<x><a>9</a><a>5</a></x>"}});
        Ui("setPopupTimeout", {{"timeout", "45"}});
        Ui("setDeviceOrder", {{"xml", "<x><a>9</a><a>3000000000</a><a>9</a></x>"}});
        Ui("addContact", {{"contactId", "7"},
                          {"displayName", "Ann"},
                          {"firstName", "Anna"},
                          {"lastName", "Bell"},
                          {"phoneType",
                           "<x><home speedDial=\"1\">555-0100</home>"
                           "<mobile>555-0199</mobile></x>"}});
        Ui("addContact", {{"contactId", "3"}});
        Ui("addRoute", {{"key", "b"}});
        Ui("addRoute", {{"key", "a"},
                        {"method", "INVITE"},
                        {"event", "e"},
                        {"matchingPattern", "^(.*)$"},
                        {"rewriteExp", "<sip:$1>"},
                        {"order", "-3"}});
        Ui("addAcl", {{"key", "k"},
                      {"peer", "p"},
                      {"address", "10.0.0.0"},
                      {"mask", "24"},
                      {"port", "5060"},
                      {"family", "2"},
                      {"transport", "1"}});
        Ui("addConfig", {{"key", "home"}, {"domain", "home.example"}, {"port", "5070"}});
        Ui("editService",
           {{"name", "Provider"}, {"host", "sip.example"}, {"username", "ann"}, {"password", "s3cret"}});
    }
};

TEST_F(SavedState, OfAFreshAgentHoldsElevenChildrenInOrder) {
    Start();
    EXPECT_EQ(kFresh, State());
}

TEST_F(SavedState, OfAFreshAgentIsReadAndWrittenTheSame) {
    Start(kFresh);
    EXPECT_EQ(kFresh, State());
    Restart();
    EXPECT_EQ(kFresh, State());
}

TEST_F(SavedState, HoldsEverythingThatCommandsMade) {
    Start();
    DoEverything();
    EXPECT_EQ(kFull, State());
}

TEST_F(SavedState, IsReadAndWrittenTheSame) {
    Start(kFull);
    EXPECT_EQ(kFull, State());
    Restart();
    EXPECT_EQ(kFull, State());
}

TEST_F(SavedState, IsWrittenWithoutAnyEffect) {
    Start(kFull);
    const long alive = dv::LiveObjects::Count();
    EXPECT_EQ(State(), State());
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(SavedState, DoesNotDependOnTheReservedArgument) {
    Start(kFull);
    EXPECT_EQ(kFull, test::Text(Agent().GetPersistState(1)));
    EXPECT_EQ(kFull, test::Text(Agent().GetPersistState(4294967295UL)));
}

TEST_F(SavedState, BelongsToWhoeverAskedForIt) {
    Start(kFull);
    const auto state = Agent().GetPersistState(0);
    for (DvXML::INode* child : state->NodeChildren())
        child->NodeAddNamedValue("name", "changed");
    EXPECT_EQ(kFull, State());
}

TEST_F(SavedState, KeepsNothingOfTheDocumentThatWasRead) {
    Start();
    const long alive = dv::LiveObjects::Count();
    Stop();
    Delete();
    Start("<IntercomState><order><devices><d>1</d></devices></order><other/></IntercomState>");
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(SavedState, WritesKeyedRecordsInTheOrderOfTheirKeys) {
    Start();
    for (const std::string key : {"b", "a", "B"}) {
        Ui("addConfig", {{"key", key}});
        Ui("editService", {{"name", key}});
    }
    EXPECT_THAT(State(),
                HasSubstr("<configs><State><key>B</key><domain/><port>0</port></State>"
                          "<State><key>a</key><domain/><port>0</port></State>"
                          "<State><key>b</key><domain/><port>0</port></State></configs>"
                          "<services><service>B<name>B</name><host/><username/><password/></service>"
                          "<service>a<name>a</name><host/><username/><password/></service>"
                          "<service>b<name>b</name><host/><username/><password/></service></services>"));
}

TEST_F(SavedState, HoldsNoComputedGroup) {
    Start();
    AddDevice(5);
    EXPECT_THAT(State(), HasSubstr("<groups/>"));
}

TEST_F(SavedState, HoldsOfDevicesTheirPlaceInTheOrderOnly) {
    Start();
    AddDevice(5, 2).deviceKey = "frontdoor";
    EXPECT_THAT(State(), HasSubstr("<order><devices><idDevice>5</idDevice></devices></order>"));
    EXPECT_THAT(State(), Not(HasSubstr("frontdoor")));
    Restart();
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_THAT(State(), HasSubstr("<order><devices><idDevice>5</idDevice></devices></order>"));
}

TEST_F(SavedState, HoldsNoUsers) {
    Start();
    Ui("addUser", {{"key", "ann"}, {"user", "ann"}, {"password", "s3cret"}});
    EXPECT_THAT(State(), Not(testing::AnyOf(HasSubstr("ann"), HasSubstr("s3cret"))));
}

TEST_F(SavedState, HoldsNoRecentCalls) {
    Start();
    Drivers().AddRecentContact("n", "a", "t", "l", true, true);
    EXPECT_EQ(kFresh, State());
    Restart();
    EXPECT_EQ("<recentContacts/>", Ui("getRecentContactList"));
}

TEST_F(SavedState, HoldsNoSipProxyAddress) {
    Start();
    Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
    EXPECT_EQ(kFresh, State());
    Restart();
    EXPECT_EQ("<sipProxyIP/>", Ui("getSipProxyIP"));
}

TEST_F(SavedState, HoldsNoModes) {
    Start();
    AddDevice(5, 2);
    Restart();
    AddDevice(5, 1);
    EXPECT_THAT(Take("sysman"), IsEmpty());
    EXPECT_EQ("<external>false</external>", Ui("getIsExternal"));
}

TEST_F(SavedState, HoldsWhatWasChangedWithoutAMark) {
    Start(kFull);
    Ui("setPopupTimeout", {{"timeout", "-5"}});
    Ui("eraseRoute", {{"key", "b"}});
    Ui("removeService", {{"name", "Provider"}});
    Ui("setGroupState", {{"groupId", "2"}, {"name", "Attic"}});
    EXPECT_THAT(Take(), Not(testing::Contains("mark")));
    EXPECT_THAT(State(), HasSubstr("<popupTimeout>-5</popupTimeout>"));
    EXPECT_THAT(State(), HasSubstr("<order>-3</order></State></routes>"));
    EXPECT_THAT(State(), HasSubstr("<services/>"));
    EXPECT_THAT(State(), HasSubstr("<name>Attic</name>"));
}

TEST_F(SavedState, BringsBackTextsWithMarkupAndLineBreaks) {
    Start();
    const std::string text = " <a>&amp;\"'\r\n\t\xC3\xA4 ";
    Ui("addGroup", {{"name", text}});
    Ui("addContact", {{"displayName", text}});
    Ui("addRoute", {{"key", text}, {"rewriteExp", text}});
    Ui("editService", {{"name", text}, {"password", text}});
    const std::string before = State();
    Restart();
    EXPECT_EQ(before, State());
    EXPECT_EQ("<fail/>", Ui("addGroup", {{"name", text}}));
    EXPECT_EQ("<fail>Key already exists</fail>", Ui("addRoute", {{"key", text}}));
    EXPECT_EQ("<success/>", Ui("removeService", {{"name", text}}));
}

TEST_F(SavedState, CarriesAnOwnSipConfigBesideTheSavedOnes) {
    SetAddress("192.168.1.10");
    Start(kFull);
    const std::string configs =
        "<configs><State><key>192.168.1.10</key><domain>192.168.1.10</domain><port>5060</port></State>"
        "<State><key>home</key><domain>home.example</domain><port>5070</port></State></configs>";
    EXPECT_THAT(State(), HasSubstr(configs));
    Restart();
    EXPECT_THAT(State(), HasSubstr(configs));
}

TEST_F(SavedState, GoesOnBehindTheHighestGroupIdAtTheLowest) {
    Start("<IntercomState><nextGroupId>2147483647</nextGroupId></IntercomState>");
    Ui("addGroup", {{"name", "a"}});
    EXPECT_THAT(State(), HasSubstr("<nextGroupId>-2147483648</nextGroupId>"));
    Restart();
    EXPECT_EQ("<group><groupId>-2147483648</groupId><name>b</name></group>", Ui("addGroup", {{"name", "b"}}));
    EXPECT_THAT(State(), HasSubstr("<nextGroupId>-2147483647</nextGroupId>"));
}

}  // namespace
