#include "contacts/AddressBook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <string>

namespace {

using testing::ElementsAre;

ContactPtr Contact(int id, const std::string& name = "") {
    const auto contact = boost::make_shared<IntercomContact>("", name);
    contact->setContactId(id);
    return contact;
}

TEST(AddressBookTest, ContactsStandInTheOrderOfAddingAndAreFoundById) {
    AddressBook book;
    const ContactPtr second = Contact(2);
    const ContactPtr first = Contact(1);
    book.Add(second);
    book.Add(first);
    EXPECT_THAT(book.All(), ElementsAre(second, first));
    EXPECT_EQ(first, book.Find(1));
    EXPECT_EQ(second, book.Find(2));
    EXPECT_EQ(nullptr, book.Find(3));
}

TEST(AddressBookTest, ARemovedContactLeavesTheOthersInOrder) {
    AddressBook book;
    const ContactPtr first = Contact(1);
    const ContactPtr third = Contact(3);
    book.Add(first);
    book.Add(Contact(2));
    book.Add(third);
    EXPECT_TRUE(book.Remove(2));
    EXPECT_FALSE(book.Remove(2));
    EXPECT_EQ(nullptr, book.Find(2));
    EXPECT_THAT(book.All(), ElementsAre(first, third));
}

TEST(AddressBookTest, OfContactsWithOneIdTheFirstIsFoundAndRemoved) {
    AddressBook book;
    const ContactPtr one = Contact(7, "one");
    const ContactPtr other = Contact(8, "other");
    const ContactPtr two = Contact(7, "two");
    const ContactPtr three = Contact(7, "three");
    for (const ContactPtr& contact : {one, other, two, three})
        book.Add(contact);
    EXPECT_EQ(one, book.Find(7));
    EXPECT_TRUE(book.Remove(7));
    EXPECT_EQ(two, book.Find(7));
    EXPECT_TRUE(book.Remove(7));
    EXPECT_EQ(three, book.Find(7));
    EXPECT_THAT(book.All(), ElementsAre(other, three));
    EXPECT_TRUE(book.Remove(7));
    EXPECT_EQ(nullptr, book.Find(7));
    EXPECT_FALSE(book.Remove(7));
}

TEST(AddressBookTest, AnotherIdThatStandsTwiceDoesNotBringARemovedOneBack) {
    AddressBook book;
    for (const int id : {1, 1, 2})
        book.Add(Contact(id));
    EXPECT_TRUE(book.Remove(2));
    EXPECT_EQ(nullptr, book.Find(2));
}

}  // namespace
