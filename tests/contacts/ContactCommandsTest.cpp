// The commands on the address book.
#include "host/glue/LiveObjects.h"
#include "tests/support/AgentFixture.h"

namespace {

using test::Parameters;
using test::Text;
using testing::ElementsAre;
using testing::IsEmpty;

/// Shared by the fixtures below.
class ContactFixture : public test::AgentFixture {
protected:
    /// Adds a contact with display name, names and one number; what that recorded is forgotten.
    void AddAnn(const std::string& id) {
        EXPECT_EQ("<success/>", Ui("addContact", {{"contactId", id},
                                                  {"displayName", "Ann"},
                                                  {"firstName", "Anna"},
                                                  {"lastName", "Bell"},
                                                  {"phoneType", "<x><home>1</home></x>"}}));
        Take();
    }
    /// The element of the contact that AddAnn makes.
    static std::string Ann(const std::string& id) {
        return "<contact><contactId>" + id +
               "</contactId><displayName>Ann</displayName><firstName>Anna</firstName><lastName>Bell</"
               "lastName>"
               "<phoneType><home speedDial=\"false\">1</home></phoneType></contact>";
    }
    static std::string Bare(const std::string& id) {
        return "<contact><contactId>" + id +
               "</contactId><displayName/><firstName/><lastName/><phoneType/></contact>";
    }
    std::string List() { return Ui("getContactList"); }
};

class ContactList : public ContactFixture {};
class AddContact : public ContactFixture {};
class DeleteContact : public ContactFixture {};
class EditContact : public ContactFixture {};
class NameByAddress : public ContactFixture {};

TEST_F(ContactList, OfAnEmptyBookIsAnEmptyElement) {
    Start();
    EXPECT_EQ("<contacts/>", List());
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(ContactList, HoldsContactsInTheOrderOfAddingBehindTheSavedOnes) {
    Start(
        "<IntercomState><contacts><contact><contactId>9</contactId></contact>"
        "<contact><contactId>2</contactId></contact></contacts></IntercomState>");
    Ui("addContact", {{"contactId", "5"}});
    Ui("addContact", {{"contactId", "1"}});
    EXPECT_EQ("<contacts>" + Bare("9") + Bare("2") + Bare("5") + Bare("1") + "</contacts>", List());
}

TEST_F(ContactList, IsTheSameForDrivers) {
    Start();
    AddAnn("3");
    EXPECT_EQ("<contacts>" + Ann("3") + "</contacts>", Text(Drivers().GetContactList()));
}

TEST_F(ContactList, ThatACallerChangesChangesNoDocument) {
    Start();
    AddAnn("3");
    AddAnn("4");
    const std::string state = State();
    const auto list = Drivers().GetContactList();
    list->NodeChildAt(0)->NodeAddNamedValue("new", "1");
    list->NodeChildAt(1)->NodeFindChild("phoneType")->NodeSetAttribute("new", "1");
    EXPECT_NE("<contacts>" + Ann("3") + Ann("4") + "</contacts>", Text(list));
    EXPECT_EQ("<contacts>" + Ann("3") + Ann("4") + "</contacts>", List());
    EXPECT_EQ(state, State());
}

TEST_F(ContactList, StaysAsItWasWhenContactsChange) {
    Start();
    AddAnn("3");
    AddAnn("4");
    const auto list = Drivers().GetContactList();
    Ui("editContact", {{"contactId", "3"}, {"displayName", "Bob"}});
    Ui("deleteContact", {{"contactId", "4"}});
    EXPECT_EQ("Ann", list->NodeChildAt(0)->NodeGetNamedValue("displayName"));
    EXPECT_EQ("<contacts>" + Ann("3") + Ann("4") + "</contacts>", Text(list));
}

// What is known of the document before is used for the next one.
TEST_F(ContactList, ShowsInEveryDocumentWhatHappenedSinceTheOneBefore) {
    Start();
    for (const std::string id : {"1", "2", "3"})
        AddAnn(id);
    const auto contactsOfState = [this] {
        const std::string state = State();
        const auto begin = state.find("<contacts>");
        return state.substr(begin, state.find("<maxRecentCalls>") - begin);
    };
    EXPECT_EQ("<contacts>" + Ann("1") + Ann("2") + Ann("3") + "</contacts>", contactsOfState());
    Ui("editContact", {{"contactId", "2"}, {"displayName", "Bob"}});
    const std::string bob =
        "<contact><contactId>2</contactId><displayName>Bob</displayName><firstName>Anna</firstName><lastName>"
        "Bell</lastName><phoneType/></contact>";
    EXPECT_EQ("<contacts>" + Ann("1") + bob + Ann("3") + "</contacts>", contactsOfState());
    Ui("deleteContact", {{"contactId", "1"}});
    EXPECT_EQ("<contacts>" + bob + Ann("3") + "</contacts>", contactsOfState());
    AddAnn("1");
    EXPECT_EQ("<contacts>" + bob + Ann("3") + Ann("1") + "</contacts>", contactsOfState());
}

TEST_F(AddContact, MarksTheStateAnnouncesAndSucceeds) {
    Start();
    EXPECT_EQ("<success/>", Ui("addContact", {{"contactId", "3"}}));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <ContactAdded><id>3</id></ContactAdded>"));
}

TEST_F(AddContact, HasTheContactInPlaceBeforeTheStateIsMarked) {
    Start();
    std::string listAtMark;
    recorder.Next("mark", [&] { listAtMark = List(); });
    Ui("addContact", {{"contactId", "3"}});
    EXPECT_EQ("<contacts>" + Bare("3") + "</contacts>", listAtMark);
}

TEST_F(AddContact, KeepsEveryFieldOfTheCommand) {
    Start();
    AddAnn("3");
    EXPECT_EQ("<contacts>" + Ann("3") + "</contacts>", List());
}

TEST_F(AddContact, RefusesAnIdThatIsTaken) {
    Start();
    AddAnn("3");
    EXPECT_EQ("<fail/>", Ui("addContact", {{"contactId", "3"}, {"displayName", "Bob"}}));
    EXPECT_EQ("<fail/>", Ui("addContact", {{"contactId", " +3x"}}));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("<contacts>" + Ann("3") + "</contacts>", List());
}

TEST_F(AddContact, WithoutAnIdTakesIdZeroOnce) {
    Start();
    EXPECT_EQ("<success/>", Ui("addContact"));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <ContactAdded><id>0</id></ContactAdded>"));
    EXPECT_EQ("<fail/>", Ui("addContact", {{"contactId", "0"}}));
    EXPECT_EQ("<fail/>", Ui("addContact", {{"contactId", "abc"}}));
}

TEST_F(AddContact, TakesTheSignedRangeOfIds) {
    Start();
    for (const std::string id : {"2147483648", "-2147483649", "-1"})
        EXPECT_EQ("<success/>", Ui("addContact", {{"contactId", id}}));
    EXPECT_EQ("<fail/>", Ui("addContact", {{"contactId", "4294967295"}}));
    EXPECT_THAT(Take("ui "),
                ElementsAre("ui <ContactAdded><id>2147483647</id></ContactAdded>",
                            "ui <ContactAdded><id>-2147483648</id></ContactAdded>", "ui <ContactAdded/>"));
    EXPECT_EQ("<contacts>" + Bare("2147483647") + Bare("-2147483648") + Bare("-1") + "</contacts>", List());
}

TEST_F(DeleteContact, MarksTheStateAnnouncesAndSucceeds) {
    Start();
    AddAnn("3");
    EXPECT_EQ("<success/>", Ui("deleteContact", {{"contactId", "3"}}));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <ContactDeleted><id>3</id></ContactDeleted>"));
    EXPECT_EQ("<contacts/>", List());
}

TEST_F(DeleteContact, FreesTheContact) {
    Start();
    const long alive = dv::LiveObjects::Count();
    AddAnn("3");
    Ui("deleteContact", {{"contactId", "3"}});
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(DeleteContact, HasTheContactGoneBeforeTheStateIsMarked) {
    Start();
    AddAnn("3");
    std::string listAtMark;
    recorder.Next("mark", [&] { listAtMark = List(); });
    Ui("deleteContact", {{"contactId", "3"}});
    EXPECT_EQ("<contacts/>", listAtMark);
}

TEST_F(DeleteContact, KeepsTheOrderOfTheOthers) {
    Start();
    for (const std::string id : {"9", "2", "5"})
        Ui("addContact", {{"contactId", id}});
    Ui("deleteContact", {{"contactId", "2"}});
    EXPECT_EQ("<contacts>" + Bare("9") + Bare("5") + "</contacts>", List());
}

TEST_F(DeleteContact, OfAnUnknownIdFailsAndSendsNothing) {
    Start();
    AddAnn("3");
    for (const std::string id : {"2", "0", "-3", "", "x", "4294967299"})
        EXPECT_EQ("<fail/>", Ui("deleteContact", {{"contactId", id}})) << id;
    EXPECT_EQ("<fail/>", Ui("deleteContact"));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("<contacts>" + Ann("3") + "</contacts>", List());
}

TEST_F(DeleteContact, TakesTheFirstOfTwoSavedContactsWithOneId) {
    Start(
        "<IntercomState><contacts><contact><contactId>3</contactId><displayName>a</displayName></contact>"
        "<contact><contactId>3</contactId></contact></contacts></IntercomState>");
    EXPECT_EQ("<success/>", Ui("deleteContact", {{"contactId", "3"}}));
    EXPECT_EQ("<contacts>" + Bare("3") + "</contacts>", List());
}

TEST_F(DeleteContact, TakesTheSignedRangeOfIds) {
    Start();
    for (const std::string id : {"2147483647", "-2147483648", "-1"})
        Ui("addContact", {{"contactId", id}});
    Take();
    for (const std::string id : {"2147483648", "-2147483649", "-1"})
        EXPECT_EQ("<success/>", Ui("deleteContact", {{"contactId", id}}));
    EXPECT_THAT(Take("ui "), ElementsAre("ui <ContactDeleted><id>2147483647</id></ContactDeleted>",
                                         "ui <ContactDeleted><id>-2147483648</id></ContactDeleted>",
                                         "ui <ContactDeleted/>"));
}

TEST_F(EditContact, ReplacesDisplayNameAndNumbersMarksAndAnnounces) {
    Start();
    AddAnn("3");
    EXPECT_EQ("<success/>", Ui("editContact", {{"contactId", "3"},
                                               {"displayName", "Annie"},
                                               {"phoneType",
                                                "<x><work speedDial=\"true\">2</work>"
                                                "<home>3-4</home></x>"}}));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <ContactEdited><id>3</id></ContactEdited>"));
    EXPECT_EQ(
        "<contacts><contact><contactId>3</contactId><displayName>Annie</displayName>"
        "<firstName>Anna</firstName><lastName>Bell</lastName><phoneType><work speedDial=\"true\">2</work>"
        "<home speedDial=\"false\">3-4</home></phoneType></contact></contacts>",
        List());
}

TEST_F(EditContact, ReadsNumbersWhateverEncodingTheyDeclare) {
    Start();
    AddAnn("3");
    const std::string phones = "<?xml version=\"1.0\" encoding=\"utf-16\"?><x><work>2</work></x>";
    Ui("editContact", {{"contactId", "3"}, {"phoneType", phones}});
    Ui("addContact", {{"contactId", "4"}, {"phoneType", phones}});
    const auto list = Agent().GetContactList();
    for (const DvXML::INode* contact : list->NodeChildren())
        EXPECT_EQ("2", contact->NodeFindChild("phoneType")->NodeGetNamedValue("work"));
}

TEST_F(EditContact, LeavesFirstAndLastNameAlone) {
    Start();
    AddAnn("3");
    Ui("editContact", {{"contactId", "3"},
                       {"displayName", "Ann"},
                       {"firstName", "Bob"},
                       {"lastName", "Ross"},
                       {"phoneType", "<x><home>1</home></x>"}});
    EXPECT_EQ("<contacts>" + Ann("3") + "</contacts>", List());
}

TEST_F(EditContact, WithAnEmptyDisplayNameAndNoNumbersEmptiesThem) {
    Start();
    const std::string emptied =
        "<contacts><contact><contactId>3</contactId><displayName/><firstName>Anna</firstName>"
        "<lastName>Bell</lastName><phoneType/></contact></contacts>";
    for (const std::string phones : {"", "<x/>", "no xml"}) {
        AddAnn("3");
        EXPECT_EQ("<success/>",
                  Ui("editContact", {{"contactId", "3"}, {"displayName", ""}, {"phoneType", phones}}));
        EXPECT_EQ(emptied, List());
        Ui("deleteContact", {{"contactId", "3"}});
    }
    AddAnn("3");
    EXPECT_EQ("<success/>", Ui("editContact", {{"contactId", "3"}}));
    EXPECT_EQ(emptied, List());
}

TEST_F(EditContact, HasTheChangeInPlaceBeforeTheStateIsMarked) {
    Start();
    AddAnn("3");
    std::string listAtMark;
    recorder.Next("mark", [&] { listAtMark = List(); });
    Ui("editContact", {{"contactId", "3"}});
    EXPECT_EQ(
        "<contacts><contact><contactId>3</contactId><displayName/><firstName>Anna</firstName>"
        "<lastName>Bell</lastName><phoneType/></contact></contacts>",
        listAtMark);
}

TEST_F(EditContact, ThatIsDeletedWhileTheStateIsMarkedIsStillAnnounced) {
    Start();
    AddAnn("3");
    recorder.Next("mark", [&] { Ui("deleteContact", {{"contactId", "3"}}); });
    EXPECT_EQ("<success/>", Ui("editContact", {{"contactId", "3"}}));
    EXPECT_THAT(Take("ui "), ElementsAre("ui <ContactDeleted><id>3</id></ContactDeleted>",
                                         "ui <ContactEdited><id>3</id></ContactEdited>"));
}

TEST_F(EditContact, OfAnUnknownIdFailsAndChangesNothing) {
    Start();
    AddAnn("3");
    for (const std::string id : {"2", "0", "-3", "", "x", "4294967299"})
        EXPECT_EQ("<fail/>", Ui("editContact", {{"contactId", id}, {"displayName", "n"}})) << id;
    EXPECT_EQ("<fail/>", Ui("editContact", {{"displayName", "n"}}));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("<contacts>" + Ann("3") + "</contacts>", List());
}

TEST_F(EditContact, TakesTheFirstOfTwoSavedContactsWithOneId) {
    Start(
        "<IntercomState><contacts><contact><contactId>3</contactId></contact>"
        "<contact><contactId>3</contactId></contact></contacts></IntercomState>");
    Ui("editContact", {{"contactId", "3"}, {"displayName", "a"}});
    EXPECT_EQ(
        "<contacts><contact><contactId>3</contactId><displayName>a</displayName><firstName/><lastName/>"
        "<phoneType/></contact>" +
            Bare("3") + "</contacts>",
        List());
}

TEST_F(EditContact, TakesTheSignedRangeOfIds) {
    Start();
    for (const std::string id : {"2147483647", "-2147483648", "-1"})
        Ui("addContact", {{"contactId", id}});
    Take();
    for (const std::string id : {"2147483648", "-2147483649", "-1"})
        EXPECT_EQ("<success/>", Ui("editContact", {{"contactId", id}}));
    EXPECT_THAT(Take("ui "),
                ElementsAre("ui <ContactEdited><id>2147483647</id></ContactEdited>",
                            "ui <ContactEdited><id>-2147483648</id></ContactEdited>", "ui <ContactEdited/>"));
}

TEST_F(NameByAddress, IsTheNameOfTheFirstContactWithThatWholeKey) {
    Start();
    Ui("addContact", {{"contactId", "2"}, {"displayName", "Bob"}, {"phoneType", "<x><home>7</home></x>"}});
    AddAnn("3");
    Ui("addContact", {{"contactId", "4"}, {"displayName", "Eve"}, {"phoneType", "<x><home>1</home></x>"}});
    EXPECT_EQ("Ann", Agent().getNameByAddress("0-1"));
    EXPECT_EQ("Bob", Agent().getNameByAddress("0-7"));
}

TEST_F(NameByAddress, IsTheAddressItselfWhereNoKeyEqualsIt) {
    Start();
    EXPECT_EQ("1", Agent().getNameByAddress("1"));
    AddAnn("3");
    for (const std::string address : {"1", "home", "1-1", "Ann", "3", ""})
        EXPECT_EQ(address, Agent().getNameByAddress(address));
}

TEST_F(NameByAddress, MayBeEmpty) {
    Start();
    Ui("addContact", {{"phoneType", "<x><home>1</home></x>"}});
    EXPECT_EQ("", Agent().getNameByAddress("0-1"));
}

}  // namespace
