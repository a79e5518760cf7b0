// The record of a contact: three ways in, partial copies, its numbers and its element.
#include "contacts/IntercomContact.h"

#include <boost/make_shared.hpp>
#include <memory>
#include <utility>

#include "host/glue/LiveObjects.h"
#include "host/glue/XmlText.h"
#include "tests/support/AgentFixture.h"

namespace {

using test::Message;
using testing::ElementsAre;
using testing::IsEmpty;

/// The numbers as "KEY KIND", with " speedDial" behind those that have it.
std::vector<std::string> NumbersOf(const IntercomContact& contact) {
    PhoneTypeList phones;
    contact.getPhoneTypeList(phones);
    std::vector<std::string> numbers;
    for (const auto& [key, phone] : phones)
        numbers.push_back(key + " " + phone->kind + (phone->speedDial ? " speedDial" : ""));
    return numbers;
}

IntercomContact FromNode(const std::string& xml) {
    return IntercomContact(DvXML::ParseRoot(xml).get());
}

IntercomContact FromPhoneType(const std::string& xml) {
    return IntercomContact(*Message("addContact", {{"phoneType", xml}}));
}

std::string Written(const IntercomContact& contact) {
    return contact.toXml()->NodeToText();
}

constexpr char kEmpty[] =
    "<contact><contactId>0</contactId><displayName/><firstName/><lastName/><phoneType/></contact>";

TEST(ContactFromMessage, TakesIdNamesAndNumbers) {
    const IntercomContact contact(*Message("addContact", {{"contactId", "3"},
                                                          {"displayName", "Ann"},
                                                          {"firstName", " Anna "},
                                                          {"lastName", "A<B"},
                                                          {"phoneType",
                                                           "<phones><home speedDial=\"true\">555-0100</home>"
                                                           "<mobile>555-0199</mobile></phones>"}}));
    EXPECT_EQ(3, contact.getContactId());
    EXPECT_EQ("Ann", contact.getDisplayName());
    EXPECT_EQ(" Anna ", contact.getFirstName());
    EXPECT_EQ("A<B", contact.getLastName());
    EXPECT_EQ("", contact.getAddress());
    EXPECT_THAT(NumbersOf(contact), ElementsAre("0-555-0100 home speedDial", "1-555-0199 mobile"));
}

TEST(ContactFromMessage, WithoutParametersIsEmpty) {
    EXPECT_EQ(kEmpty, Written(IntercomContact(*Message("addContact", {}))));
}

TEST(ContactFromMessage, IgnoresAnAddress) {
    EXPECT_EQ("", IntercomContact(*Message("addContact", {{"address", "a@b"}})).getAddress());
}

TEST(ContactFromMessage, ReadsTheIdUpToTheFirstOtherCharacter) {
    const auto idOf = [](const std::string& text) {
        return IntercomContact(*Message("addContact", {{"contactId", text}})).getContactId();
    };
    EXPECT_EQ(12, idOf("12abc"));
    EXPECT_EQ(0, idOf(""));
    EXPECT_EQ(0, idOf("abc"));
    EXPECT_EQ(-7, idOf(" \t-7"));
    EXPECT_EQ(7, idOf("+7"));
}

TEST(ContactFromMessage, SaturatesTheIdAtTheSignedRange) {
    const auto idOf = [](const std::string& text) {
        return IntercomContact(*Message("addContact", {{"contactId", text}})).getContactId();
    };
    EXPECT_EQ(2147483647, idOf("2147483648"));
    EXPECT_EQ(2147483647, idOf("4294967296"));
    EXPECT_EQ(-2147483647 - 1, idOf("-2147483649"));
    EXPECT_EQ(2147483647, idOf("99999999999999999999"));
}

TEST(ContactNumbers, AreKeyedByPositionAndNumberUnderTheirElementsName) {
    EXPECT_THAT(NumbersOf(FromPhoneType("<x><home>555-0100</home><mobile>555-0199</mobile></x>")),
                ElementsAre("0-555-0100 home", "1-555-0199 mobile"));
}

TEST(ContactNumbers, OfTheSameTextAndKindAreAllKept) {
    EXPECT_THAT(NumbersOf(FromPhoneType("<x><home>1</home><home>1</home><home/></x>")),
                ElementsAre("0-1 home", "1-1 home", "2- home"));
}

TEST(ContactNumbers, ReadTheSpeedDialFlagAsABoolean) {
    EXPECT_THAT(NumbersOf(FromPhoneType("<x><a speedDial=\"true\">1</a><a speedDial=\" TRUE \">2</a>"
                                        "<a speedDial=\"1\">3</a><a speedDial=\"false\">4</a>"
                                        "<a speedDial=\"yes\">5</a><a speedDial=\"\">6</a>"
                                        "<a SpeedDial=\"true\">7</a><a>8</a></x>")),
                ElementsAre("0-1 a speedDial", "1-2 a speedDial", "2-3 a speedDial", "3-4 a", "4-5 a",
                            "5-6 a", "6-7 a", "7-8 a"));
}

TEST(ContactNumbers, KeepTheirOwnTextUntrimmed) {
    EXPECT_THAT(NumbersOf(FromPhoneType("<x><a> 1 </a><b><c>9</c>2</b></x>")),
                ElementsAre("0- 1  a", "1-2 b"));
}

TEST(ContactNumbers, AreNoneWhereThereIsNoDocument) {
    for (const std::string xml : {"", " ", "555-0100", "<x><home>1</home>", "<x/>", "<x>text</x>",
                                  "<!DOCTYPE x><x><home>1</home></x>", "<x><home>1</home></x>rest"})
        EXPECT_THAT(NumbersOf(FromPhoneType(xml)), IsEmpty()) << xml;
}

TEST(ContactNumbers, StandInTheOrderOfTheirKeysAsText) {
    std::string read = "<x>";
    for (int position = 0; position < 12; ++position)
        read.append("<a>n").append(std::to_string(position)).append("</a>");
    EXPECT_THAT(NumbersOf(FromPhoneType(read + "</x>")),
                ElementsAre("0-n0 a", "1-n1 a", "10-n10 a", "11-n11 a", "2-n2 a", "3-n3 a", "4-n4 a",
                            "5-n5 a", "6-n6 a", "7-n7 a", "8-n8 a", "9-n9 a"));
}

TEST(ContactNumbers, BeyondTenAreReorderedByEachWriteAndRead) {
    std::string read = "<contact><phoneType>";
    for (int position = 0; position < 12; ++position)
        read.append("<a>n").append(std::to_string(position)).append("</a>");
    const auto numbers = [](const IntercomContact& contact) {
        std::string text;
        const auto element = contact.toXml();
        for (const DvXML::INode* number : element->NodeFindChild("phoneType")->NodeChildren())
            text.append(number->NodeGetText()).append(" ");
        return text;
    };
    const IntercomContact first = FromNode(read + "</phoneType></contact>");
    EXPECT_EQ("n0 n1 n10 n11 n2 n3 n4 n5 n6 n7 n8 n9 ", numbers(first));
    const IntercomContact second = FromNode(Written(first));
    EXPECT_EQ("n0 n1 n8 n9 n10 n11 n2 n3 n4 n5 n6 n7 ", numbers(second));
}

TEST(ContactNumbers, AreFoundByTheirWholeKeyOnly) {
    const IntercomContact contact = FromPhoneType("<x><home>555-0100</home></x>");
    EXPECT_TRUE(contact.isPhoneList("0-555-0100"));
    for (const std::string key : {"home", "555-0100", "0-555-010", "0-555-01000", "1-555-0100", "0-", ""})
        EXPECT_FALSE(contact.isPhoneList(key)) << key;
}

TEST(ContactNumbers, CanBeReplacedAndAreCopiedOut) {
    IntercomContact contact = FromPhoneType("<x><home>1</home></x>");
    PhoneTypeList phones{{"k", boost::make_shared<T_PHONE_TYPE>(T_PHONE_TYPE{"work", true})}};
    contact.setPhoneTypeList(phones);
    phones.clear();
    EXPECT_THAT(NumbersOf(contact), ElementsAre("k work speedDial"));
    phones.emplace("old", boost::make_shared<T_PHONE_TYPE>());
    contact.getPhoneTypeList(phones);
    EXPECT_EQ(1U, phones.size());
    EXPECT_EQ(1U, phones.count("k"));
}

TEST(ContactNumbers, SetToThemselvesStay) {
    IntercomContact contact = FromPhoneType("<x><home>1</home><work>2</work></x>");
    PhoneTypeList phones;
    contact.getPhoneTypeList(phones);
    contact.setPhoneTypeList(phones);
    EXPECT_THAT(NumbersOf(contact), ElementsAre("0-1 home", "1-2 work"));
}

TEST(ContactNumbers, AreSharedByCopiesOfTheListAndOutliveTheirContact) {
    auto first =
        std::make_unique<IntercomContact>(*Message("addContact", {{"phoneType", "<x><home>1</home></x>"}}));
    PhoneTypeList phones;
    first->getPhoneTypeList(phones);
    IntercomContact second("", "");
    second.setPhoneTypeList(phones);
    first.reset();
    EXPECT_EQ(2, phones.begin()->second.use_count());
    phones.begin()->second->kind = "work";
    EXPECT_THAT(NumbersOf(second), ElementsAre("0-1 work"));
}

TEST(ContactFromNode, ReadsIdNamesAndNumbers) {
    const IntercomContact contact = FromNode(
        "<contact><contactId>3</contactId><displayName>Ann</displayName><firstName>Anna</firstName>"
        "<lastName>Bell</lastName><phoneType><home speedDial=\"true\">1</home></phoneType></contact>");
    EXPECT_EQ(3, contact.getContactId());
    EXPECT_EQ("Ann", contact.getDisplayName());
    EXPECT_EQ("Anna", contact.getFirstName());
    EXPECT_EQ("Bell", contact.getLastName());
    EXPECT_THAT(NumbersOf(contact), ElementsAre("0-1 home speedDial"));
}

TEST(ContactFromNode, OfAnotherNameIsEmpty) {
    for (const std::string name : {"Contact", "contacts", "recentContact"}) {
        const std::string xml =
            "<" + name + "><contactId>3</contactId><displayName>Ann</displayName></" + name + ">";
        EXPECT_EQ(kEmpty, Written(FromNode(xml))) << name;
    }
}

TEST(ContactFromNode, WithoutChildrenIsEmpty) {
    EXPECT_EQ(kEmpty, Written(FromNode("<contact/>")));
}

TEST(ContactFromNode, NeverReadsTheAddress) {
    EXPECT_EQ("", FromNode("<contact><address>a@b</address></contact>").getAddress());
}

TEST(ContactFromNode, ReadsOfRepeatedPartsTheFirst) {
    EXPECT_EQ(
        "<contact><contactId>1</contactId><displayName>a</displayName><firstName/><lastName/>"
        "<phoneType><home speedDial=\"false\">1</home></phoneType></contact>",
        Written(
            FromNode("<contact><contactId>1</contactId><contactId>2</contactId><displayName>a</displayName>"
                     "<displayName>b</displayName><phoneType><home>1</home></phoneType>"
                     "<phoneType><home>2</home></phoneType></contact>")));
}

TEST(ContactElement, HoldsFiveChildrenInOrder) {
    IntercomContact contact("a@b", "Ann");
    contact.setContactId(-3);
    contact.setFirstName("Anna");
    contact.setLastName("B & B");
    EXPECT_EQ(
        "<contact><contactId>-3</contactId><displayName>Ann</displayName><firstName>Anna</firstName>"
        "<lastName>B &amp; B</lastName><phoneType/></contact>",
        Written(contact));
}

TEST(ContactElement, HoldsTheNumbersWithoutTheirPositionsAndWithTheirFlags) {
    EXPECT_EQ(
        "<contact><contactId>0</contactId><displayName/><firstName/><lastName/>"
        "<phoneType><home speedDial=\"true\">555-0100</home><mobile speedDial=\"false\">555-0199</mobile>"
        "</phoneType></contact>",
        Written(FromPhoneType("<x><home speedDial=\"1\">555-0100</home><mobile>555-0199</mobile></x>")));
}

TEST(ContactElement, TakesOffKeysEverythingUpToTheFirstSeparator) {
    IntercomContact contact("", "");
    PhoneTypeList phones;
    for (const std::string key : {"whole", "a--b", "-c", "d-"})
        phones.emplace(key, boost::make_shared<T_PHONE_TYPE>(T_PHONE_TYPE{"k", false}));
    contact.setPhoneTypeList(phones);
    EXPECT_EQ(
        "<contact><contactId>0</contactId><displayName/><firstName/><lastName/>"
        "<phoneType><k speedDial=\"false\">c</k><k speedDial=\"false\">-b</k><k speedDial=\"false\"/>"
        "<k speedDial=\"false\">whole</k></phoneType></contact>",
        Written(contact));
}

TEST(ContactElement, ShowsEachChangeAfterItsTextWasAskedFor) {
    IntercomContact contact("", "Ann");
    auto changed = [&contact, before = Written(contact)]() mutable {
        const std::string now = Written(contact);
        EXPECT_EQ(now, DvXML::ParseRoot(now)->NodeToText());
        return std::exchange(before, now) != now;
    };
    EXPECT_FALSE(changed());
    contact.setDisplayName("Bob");
    EXPECT_TRUE(changed());
    contact.setFirstName("Robert");
    EXPECT_TRUE(changed());
    contact.setLastName("Ross");
    EXPECT_TRUE(changed());
    contact.setContactId(4);
    EXPECT_TRUE(changed());
    contact.setPhoneTypeList({{"0-1", boost::make_shared<T_PHONE_TYPE>(T_PHONE_TYPE{"home", true})}});
    EXPECT_TRUE(changed());
    contact = IntercomContact("", "Carl");
    EXPECT_TRUE(changed());
    EXPECT_EQ(
        "<contact><contactId>4</contactId><displayName>Carl</displayName><firstName>Robert</firstName>"
        "<lastName>Ross</lastName><phoneType><home speedDial=\"true\">1</home></phoneType></contact>",
        Written(contact));
}

TEST(ContactElement, StaysAsItWasWhenTheContactChangesOrGoes) {
    auto contact = std::make_unique<IntercomContact>(
        *Message("addContact", {{"displayName", "Ann"}, {"phoneType", "<x><home>1</home></x>"}}));
    const std::string before = Written(*contact);
    const auto written = contact->toXml();
    const auto lookedInto = contact->toXml();
    contact->setDisplayName("Bob");
    PhoneTypeList phones;
    contact->getPhoneTypeList(phones);
    phones.begin()->second->kind = "work";
    EXPECT_EQ(before, written->NodeToText());
    contact.reset();
    EXPECT_EQ("Ann", lookedInto->NodeGetNamedValue("displayName"));
    EXPECT_EQ(before, lookedInto->NodeToText());
    EXPECT_EQ(before, written->NodeToText());
}

TEST(ContactElement, StaysAsItWasWhenItsNumbersAreTakenOutAndChanged) {
    const IntercomContact contact = FromPhoneType("<x><home>1</home></x>");
    const auto element = contact.toXml();
    PhoneTypeList phones;
    contact.getPhoneTypeList(phones);
    phones.begin()->second->kind = "work";
    EXPECT_EQ("home", element->NodeFindChild("phoneType")->NodeChildAt(0)->NodeGetName());
    EXPECT_THAT(NumbersOf(contact), ElementsAre("0-1 work"));
}

TEST(ContactElement, IsChangedByItsHolderAlone) {
    const IntercomContact contact = FromPhoneType("<x><home>1</home></x>");
    const std::string before = Written(contact);
    const auto element = contact.toXml();
    element->NodeFindChild("phoneType")->NodeChildAt(0)->NodeSetAttribute("speedDial", "changed");
    element->NodeAddNamedValue("new", "1");
    EXPECT_NE(before, element->NodeToText());
    EXPECT_EQ(before, Written(contact));
}

// Nobody tells the contact of changes to entries that it shares.
TEST(ContactElement, ShowsWhatIsChangedInSharedNumbers) {
    IntercomContact contact = FromPhoneType("<x><home>1</home></x>");
    Written(contact);
    PhoneTypeList phones;
    contact.getPhoneTypeList(phones);
    const auto kind = [&contact] {
        return std::string(contact.toXml()->NodeFindChild("phoneType")->NodeChildAt(0)->NodeGetName());
    };
    for (const std::string changed : {"work", "fax"}) {
        phones.begin()->second->kind = changed;
        EXPECT_EQ(changed, kind());
        EXPECT_NE(std::string::npos, Written(contact).find("<" + changed));
    }
    IntercomContact other("", "");
    other.setPhoneTypeList(phones);
    Written(other);
    phones.begin()->second->kind = "sip";
    EXPECT_NE(std::string::npos, Written(other).find("<sip"));
}

TEST(ContactElement, HoldsTheVeryBytesThatXmlCannotCarry) {
    for (const std::string bytes : {"\x01", "\xFF", "a\xEF\xBF\xBF"}) {
        IntercomContact contact("", bytes);
        contact.setPhoneTypeList(
            {{"0-1", boost::make_shared<T_PHONE_TYPE>(T_PHONE_TYPE{"my phone", false})}});
        for (int time = 0; time < 2; ++time) {
            const auto element = contact.toXml();
            EXPECT_EQ(bytes, element->NodeGetNamedValue("displayName"));
            EXPECT_EQ("1", element->NodeFindChild("phoneType")->NodeGetNamedValue("my phone"));
            EXPECT_EQ(Written(contact), element->NodeToText());
        }
        EXPECT_NE(std::string::npos, Written(contact).find("\xEF\xBF\xBD</displayName>"));
        EXPECT_NE(std::string::npos, Written(contact).find("<my_phone "));
        contact.setDisplayName("Ann");
        EXPECT_EQ("Ann", contact.toXml()->NodeGetNamedValue("displayName"));
    }
}

TEST(ContactElement, ReadsBackTheSame) {
    const std::string xml =
        "<contact><contactId>2147483647</contactId><displayName> Ann </displayName><firstName>A&amp;B"
        "</firstName><lastName>&lt;</lastName><phoneType><home speedDial=\"true\">0-1-2</home>"
        "<mobile speedDial=\"false\"/></phoneType></contact>";
    EXPECT_EQ(xml, Written(FromNode(xml)));
}

TEST(ContactFromAddress, HasAddressAndDisplayNameAndNothingElse) {
    const IntercomContact contact("a@b", "Ann");
    EXPECT_EQ("a@b", contact.getAddress());
    EXPECT_EQ(
        "<contact><contactId>0</contactId><displayName>Ann</displayName><firstName/><lastName/><phoneType/>"
        "</contact>",
        Written(contact));
}

class ContactCopy : public testing::Test {
protected:
    ContactCopy() { original.setAddress("a@b"); }

    IntercomContact original{*Message("addContact", {{"contactId", "3"},
                                                     {"displayName", "Ann"},
                                                     {"firstName", "Anna"},
                                                     {"lastName", "Bell"},
                                                     {"phoneType", "<x><home>1</home></x>"}})};
};

TEST_F(ContactCopy, KeepsAddressAndDisplayNameOnly) {
    const IntercomContact copy(original);
    EXPECT_EQ("a@b", copy.getAddress());
    EXPECT_EQ(
        "<contact><contactId>0</contactId><displayName>Ann</displayName><firstName/><lastName/><phoneType/>"
        "</contact>",
        Written(copy));
}

TEST_F(ContactCopy, ByAssignmentLeavesTheOtherFieldsOfTheTarget) {
    IntercomContact target(*Message("addContact", {{"contactId", "8"},
                                                   {"displayName", "Bob"},
                                                   {"firstName", "Robert"},
                                                   {"lastName", "Ross"},
                                                   {"phoneType", "<x><work>2</work></x>"}}));
    target = original;
    EXPECT_EQ("a@b", target.getAddress());
    EXPECT_EQ(
        "<contact><contactId>8</contactId><displayName>Ann</displayName><firstName>Robert</firstName>"
        "<lastName>Ross</lastName><phoneType><work speedDial=\"false\">2</work></phoneType></contact>",
        Written(target));
}

TEST_F(ContactCopy, ToItselfChangesNothing) {
    const std::string before = Written(original);
    IntercomContact& same = original;
    original = same;
    EXPECT_EQ(before, Written(original));
    EXPECT_EQ("a@b", original.getAddress());
}

TEST_F(ContactCopy, IsCountedAsAnObjectOfItsOwn) {
    const long alive = dv::LiveObjects::Count();
    {
        const IntercomContact copy(original);
        EXPECT_EQ(alive + 1, dv::LiveObjects::Count());
    }
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST(ContactSetters, ReplaceTheirFieldOnly) {
    IntercomContact contact("a@b", "Ann");
    contact.setAddress("c@d");
    contact.setDisplayName("Bob");
    contact.setFirstName("Robert");
    contact.setLastName("Ross");
    contact.setContactId(4);
    EXPECT_EQ("c@d", contact.getAddress());
    EXPECT_EQ("Bob", contact.getDisplayName());
    EXPECT_EQ("Robert", contact.getFirstName());
    EXPECT_EQ("Ross", contact.getLastName());
    EXPECT_EQ(4, contact.getContactId());
}

}  // namespace
