// The stores of SIP proxy records and the nine commands on them.
#include "host/glue/LiveObjects.h"
#include "tests/support/AgentFixture.h"

namespace {

using test::Parameters;
using testing::ElementsAre;
using testing::IsEmpty;

/// A kind of record, by the word in its commands.
struct Kind {
    std::string word;
    std::string list;         // its element in the saved state
    std::string otherFields;  // of a record that has a key only
};

void PrintTo(const Kind& kind, std::ostream* out) {
    *out << kind.word;
}

const Kind kRoute{"Route", "routes",
                  "<method/><event/><matchingPattern/><rewriteExp/><order>0</order></State>"};
const Kind kAcl{
    "Acl", "acls",
    "<peer/><address/><mask>0</mask><port>0</port><family>0</family><transport>0</transport></State>"};
const Kind kConfig{"Config", "configs", "<domain/><port>0</port></State>"};

class SipStoreFixture : public test::AgentFixture {
protected:
    explicit SipStoreFixture(const Kind& kind) : kind_(kind) {}

    std::string Add(const std::string& key) { return Ui("add" + kind_.word, {{"key", key}}); }
    std::string Erase(const std::string& key) { return Ui("erase" + kind_.word, {{"key", key}}); }
    std::string Get(const Parameters& parameters) { return Ui("get" + kind_.word, parameters); }
    std::string GetKey(const std::string& key) { return Get({{"key", key}}); }
    std::string GetIndex(const std::string& index) { return Get({{"index", index}}); }

    std::string Record(const std::string& key) const {
        return "<State>" + (key.empty() ? "<key/>" : "<key>" + key + "</key>") + kind_.otherFields;
    }
    std::string Echo(const std::string& verb, const std::string& key) const {
        const std::string command = verb + kind_.word;
        return "ui <" + command + "><key>" + key + "</key></" + command + ">";
    }
    static std::string NotThatMany(const std::string& index) {
        return "<fail>No entity located at index " + index + ".  Not that many items</fail>";
    }
    std::string SavedList() {
        return test::Text(
            dv::auto_com<DvXML::INode>::share(Agent().GetPersistState(0)->NodeFindChild(kind_.list)));
    }

private:
    const Kind kind_;
};

/// Tests that hold for all three kinds.
class SipStore : public SipStoreFixture, public testing::WithParamInterface<Kind> {
protected:
    SipStore() : SipStoreFixture(GetParam()) {}
};
INSTANTIATE_TEST_SUITE_P(Of, SipStore, testing::Values(kRoute, kAcl, kConfig),
                         testing::PrintToStringParamName());

/// Tests that hold for routes and domains only.
class UniqueSipStore : public SipStoreFixture, public testing::WithParamInterface<Kind> {
protected:
    UniqueSipStore() : SipStoreFixture(GetParam()) {}
};
INSTANTIATE_TEST_SUITE_P(Of, UniqueSipStore, testing::Values(kRoute, kConfig),
                         testing::PrintToStringParamName());

class AclStore : public SipStoreFixture {
protected:
    AclStore() : SipStoreFixture(kAcl) {}
};
class SipStores : public test::AgentFixture {};

TEST_P(SipStore, AddingMarksTheStateEchoesTheCommandAndSucceeds) {
    Start();
    EXPECT_EQ("<success/>", Add("k"));
    EXPECT_THAT(Take(), ElementsAre("mark", Echo("add", "k")));
    EXPECT_EQ(Record("k"), GetKey("k"));
}

TEST_P(SipStore, HasTheRecordInPlaceBeforeTheStateIsMarked) {
    Start();
    std::string atMark;
    recorder.Next("mark", [&] { atMark = GetKey("k"); });
    Add("k");
    EXPECT_EQ(Record("k"), atMark);
}

TEST_P(SipStore, AnsweringMarksAndSendsNothing) {
    Start();
    Add("k");
    Take();
    GetKey("k");
    GetKey("x");
    GetIndex("0");
    GetIndex("1");
    Get({});
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_P(SipStore, WithoutAKeyKeepsTheRecordUnderTheEmptyKey) {
    Start();
    EXPECT_EQ("<fail>Unable to find sip entity .</fail>", GetKey(""));
    EXPECT_EQ("<success/>", Ui("add" + GetParam().word));
    EXPECT_EQ(Record(""), GetKey(""));
    EXPECT_EQ("<key/>", GetIndex("0"));
    EXPECT_EQ("<success/>", Ui("erase" + GetParam().word));
    EXPECT_EQ(NotThatMany("0"), GetIndex("0"));
}

TEST_P(SipStore, ComparesKeysExactly) {
    Start();
    Add("k");
    EXPECT_EQ("<fail>Unable to find sip entity K.</fail>", GetKey("K"));
    EXPECT_EQ("<fail>Unable to find sip entity k .</fail>", GetKey("k "));
    EXPECT_EQ("<fail>Unable to find sip entity a&lt;b.</fail>", GetKey("a<b"));
}

TEST_P(SipStore, TellsKeysByIndexInTheOrderOfTheirBytes) {
    Start();
    for (const std::string key : {"b", "a", "\xC3\xA4", "B", "a0"})
        Add(key);
    const std::vector<std::string> ordered{"B", "a", "a0", "b", "\xC3\xA4"};
    for (std::size_t index = 0; index < ordered.size(); ++index)
        EXPECT_EQ("<key>" + ordered[index] + "</key>", GetIndex(std::to_string(index)));
    EXPECT_EQ(NotThatMany("5"), GetIndex("5"));
}

TEST_P(SipStore, WithoutRecordsHasNoIndexAtAll) {
    Start();
    EXPECT_EQ(NotThatMany("0"), GetIndex("0"));
    EXPECT_EQ(NotThatMany("0"), GetIndex(""));
    EXPECT_EQ(NotThatMany("7"), GetIndex("7"));
}

TEST_P(SipStore, ReadsAnIndexUpToTheFirstOtherCharacter) {
    Start();
    Add("a");
    Add("b");
    EXPECT_EQ("<key>a</key>", GetIndex("abc"));
    EXPECT_EQ("<key>a</key>", GetIndex(""));
    EXPECT_EQ("<key>b</key>", GetIndex(" +1x"));
}

TEST_P(SipStore, TakesAnIndexModulo32BitsBelowZeroAndSaturatedAbove) {
    Start();
    Add("a");
    EXPECT_EQ(NotThatMany("4294967295"), GetIndex("-1"));
    EXPECT_EQ(NotThatMany("2147483648"), GetIndex("-2147483648"));
    EXPECT_EQ(NotThatMany("2147483648"), GetIndex("2147483648"));
    EXPECT_EQ(NotThatMany("4294967295"), GetIndex("4294967295"));
    EXPECT_EQ(NotThatMany("4294967295"), GetIndex("4294967296"));
    EXPECT_EQ(NotThatMany("4294967295"), GetIndex("99999999999999999999"));
}

TEST_P(SipStore, NeverTakesAnIndexFarBelowZeroForASmallOne) {
    Start();
    Add("a");
    Add("b");
    for (const std::string index : {"-2147483649", "-4294967295", "-4294967296", "-99999999999999999999"})
        EXPECT_EQ(NotThatMany("2147483648"), GetIndex(index)) << index;
}

TEST_P(SipStore, AskedForKeyAndIndexLooksAtTheKeyOnly) {
    Start();
    Add("a");
    Add("b");
    EXPECT_EQ(Record("b"), Get({{"index", "0"}, {"key", "b"}}));
    EXPECT_EQ("<fail>Unable to find sip entity x.</fail>", Get({{"key", "x"}, {"index", "0"}}));
    EXPECT_EQ("<fail>Unable to find sip entity .</fail>", Get({{"key", ""}, {"index", "0"}}));
}

TEST_P(SipStore, AskedForNeitherKeyNorIndexAnswersWithoutAnElement) {
    Start();
    Add("a");
    EXPECT_EQ(kNone, Get({}));
    EXPECT_EQ(kNone, Get({{"Key", "a"}, {"Index", "0"}}));
}

TEST_P(SipStore, IsWithoutAnErasedRecordAtTheNextSaving) {
    Start();
    Add("a");
    Add("b");
    EXPECT_EQ("<success/>", Erase("a"));
    const std::string& list = GetParam().list;
    EXPECT_EQ("<" + list + ">" + Record("b") + "</" + list + ">", SavedList());
}

TEST_P(SipStore, KeepsAfterARestartTheFirstOfTheKeysThatXmlCannotTellApart) {
    Start();
    Add("k\x01");
    Add("k\x02");
    EXPECT_EQ(NotThatMany("2"), GetIndex("2"));
    Restart();
    EXPECT_EQ("<key>k\xEF\xBF\xBD</key>", GetIndex("0"));
    EXPECT_EQ(NotThatMany("1"), GetIndex("1"));
}

TEST_P(SipStore, FreesAnErasedRecord) {
    Start();
    const long alive = dv::LiveObjects::Count();
    Add("a");
    EXPECT_EQ(alive + 1, dv::LiveObjects::Count());
    Erase("a");
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_P(SipStore, FreesARecordWhoseKeyIsTaken) {
    Start();
    Add("a");
    const long alive = dv::LiveObjects::Count();
    Add("a");
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_P(SipStore, TakesARecordAgainAfterItWasErased) {
    Start();
    Add("a");
    Erase("a");
    EXPECT_EQ("<success/>", Add("a"));
    EXPECT_EQ(Record("a"), GetKey("a"));
}

TEST_P(UniqueSipStore, RefusesAKeyThatIsTaken) {
    Start();
    Add("k");
    Take();
    EXPECT_EQ("<fail>Key already exists</fail>", Add("k"));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_P(UniqueSipStore, ErasingEchoesTheCommandAfterwardsAndMarksNothing) {
    Start();
    Add("k");
    Take();
    std::string atEcho;
    recorder.Next("ui ", [&] { atEcho = GetKey("k"); });
    EXPECT_EQ("<success/>", Erase("k"));
    EXPECT_THAT(Take(), ElementsAre(Echo("erase", "k")));
    EXPECT_EQ("<fail>Unable to find sip entity k.</fail>", atEcho);
}

TEST_P(UniqueSipStore, ErasingAnUnknownKeyFailsWithoutAnEcho) {
    Start();
    Add("k");
    Take();
    EXPECT_EQ("<fail>Key does not exist</fail>", Erase("K"));
    EXPECT_EQ("<fail>Key does not exist</fail>", Ui("erase" + GetParam().word));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ(Record("k"), GetKey("k"));
}

TEST_F(AclStore, AnswersADuplicateLikeANewEntryAndKeepsTheFirst) {
    Start();
    const std::string first =
        "<State><key>k</key><peer>first</peer><address/><mask>0</mask><port>0</port><family>0</family>"
        "<transport>0</transport></State>";
    EXPECT_EQ("<success/>", Ui("addAcl", {{"key", "k"}, {"peer", "first"}}));
    Take();
    EXPECT_EQ("<success/>", Ui("addAcl", {{"key", "k"}, {"peer", "second"}}));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <addAcl><key>k</key><peer>second</peer></addAcl>"));
    EXPECT_EQ(first, GetKey("k"));
}

TEST_F(AclStore, ErasingEchoesTheCommandFirstAndMarksNothing) {
    Start();
    Add("k");
    Take();
    std::string atEcho;
    recorder.Next("ui ", [&] { atEcho = GetKey("k"); });
    EXPECT_EQ("<success/>", Erase("k"));
    EXPECT_THAT(Take(), ElementsAre(Echo("erase", "k")));
    EXPECT_EQ(Record("k"), atEcho);
}

TEST_F(AclStore, ErasingAnUnknownKeyEchoesTheCommandAndFails) {
    Start();
    EXPECT_EQ("<fail>Unable to erase sip entity k, entity not found.</fail>", Erase("k"));
    EXPECT_THAT(Take(), ElementsAre(Echo("erase", "k")));
    EXPECT_EQ("<fail>Unable to erase sip entity , entity not found.</fail>", Ui("eraseAcl"));
    EXPECT_THAT(Take(), ElementsAre("ui <eraseAcl/>"));
}

TEST_F(SipStores, KeepTheFirstRecordOfAKey) {
    Start();
    Ui("addConfig", {{"key", "k"}, {"domain", "first"}, {"port", "1"}});
    Ui("addConfig", {{"key", "k"}, {"domain", "second"}, {"port", "2"}});
    EXPECT_EQ("<State><key>k</key><domain>first</domain><port>1</port></State>",
              Ui("getConfig", {{"key", "k"}}));
    Ui("addRoute", {{"key", "k"}, {"method", "first"}});
    Ui("addRoute", {{"key", "k"}, {"method", "second"}});
    EXPECT_EQ(
        "<State><key>k</key><method>first</method><event/><matchingPattern/><rewriteExp/><order>0</order>"
        "</State>",
        Ui("getRoute", {{"key", "k"}}));
}

TEST_F(SipStores, AreApartFromEachOther) {
    Start();
    Ui("addRoute", {{"key", "k"}});
    EXPECT_EQ("<fail>Key does not exist</fail>", Ui("eraseConfig", {{"key", "k"}}));
    EXPECT_EQ("<fail>Unable to find sip entity k.</fail>", Ui("getAcl", {{"key", "k"}}));
    EXPECT_EQ("<fail>Unable to find sip entity k.</fail>", Ui("getConfig", {{"key", "k"}}));
    EXPECT_EQ("<success/>", Ui("addAcl", {{"key", "k"}}));
    EXPECT_EQ("<success/>", Ui("addConfig", {{"key", "k"}}));
    EXPECT_EQ("<success/>", Ui("eraseAcl", {{"key", "k"}}));
    EXPECT_EQ("<success/>", Ui("eraseRoute", {{"key", "k"}}));
    EXPECT_EQ("<success/>", Ui("eraseConfig", {{"key", "k"}}));
}

TEST_F(SipStores, EchoTheWholeCommandInTheOrderInWhichItWasBuilt) {
    Start();
    Ui("addRoute", {{"other", " x "}, {"order", "1z"}, {"key", "a<b"}, {"key", "c"}, {"order", ""}});
    EXPECT_THAT(Take(), ElementsAre("mark",
                                    "ui <addRoute><other> x </other><order>1z</order><key>a&lt;b</key>"
                                    "<key>c</key><order/></addRoute>"));
    EXPECT_EQ("<key>a&lt;b</key>", Ui("getRoute", {{"index", "0"}}));
}

TEST_F(SipStores, TakeRecordsWithoutMarkingAndEchoing) {
    Start();
    const long alive = dv::LiveObjects::Count();
    EXPECT_TRUE(Agent().AddConfig(new SipConfig("k", 1)));
    EXPECT_TRUE(Agent().AddRoute(new SipRoute(*test::Message("addRoute", {{"key", "k"}}))));
    EXPECT_EQ(alive + 2, dv::LiveObjects::Count());
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("<State><key>k</key><domain>k</domain><port>1</port></State>", Ui("getConfig", {{"key", "k"}}));
    EXPECT_EQ("<key>k</key>", Ui("getRoute", {{"index", "0"}}));
}

TEST_F(SipStores, FreeOnceWhatTheyRefuse) {
    Start();
    Agent().AddConfig(new SipConfig("k", 1));
    Agent().AddRoute(new SipRoute(*test::Message("addRoute", {{"key", "k"}})));
    const long alive = dv::LiveObjects::Count();
    EXPECT_FALSE(Agent().AddConfig(new SipConfig("k", 2)));
    EXPECT_FALSE(Agent().AddRoute(new SipRoute(*test::Message("addRoute", {{"key", "k"}}))));
    EXPECT_EQ(alive, dv::LiveObjects::Count());
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("<State><key>k</key><domain>k</domain><port>1</port></State>", Ui("getConfig", {{"key", "k"}}));
}

TEST_F(SipStores, LeaveTheRunningProxyAloneUntilItIsRestarted) {
    Start();
    for (const std::string kind : {"Route", "Acl", "Config"}) {
        Ui("add" + kind, {{"key", "k"}});
        Ui("erase" + kind, {{"key", "k"}});
    }
    EXPECT_THAT(Take("sysman"), IsEmpty());
    Ui("applySIPProxyChanges");
    EXPECT_THAT(Take("sysman"), ElementsAre("sysman kill sipproxy", "sysman enable sipproxy"));
}

}  // namespace
