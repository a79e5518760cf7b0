// The record of a recent call and its element.
#include "contacts/IntercomRecentContact.h"

#include <gtest/gtest.h>

namespace {

std::string Written(const IntercomRecentContact& entry) {
    return entry.ToXml()->NodeToText();
}

TEST(IntercomRecentContact, IsWrittenWithSevenChildrenInOrder) {
    const IntercomRecentContact entry(4, "Ann", "ann@home", "10:15", "62", true, false);
    EXPECT_EQ(4, entry.GetId());
    EXPECT_EQ(
        "<recentContact><id>4</id><displayName>Ann</displayName><aor>ann@home</aor>"
        "<callTime>10:15</callTime><callLength>62</callLength><receivedCall>true</receivedCall>"
        "<acceptedCall>false</acceptedCall></recentContact>",
        Written(entry));
}

TEST(IntercomRecentContact, KeepsReceivedAndAcceptedApart) {
    EXPECT_EQ(
        "<recentContact><id>0</id><displayName/><aor/><callTime/><callLength/>"
        "<receivedCall>false</receivedCall><acceptedCall>true</acceptedCall></recentContact>",
        Written(IntercomRecentContact(0, "", "", "", "", false, true)));
}

TEST(IntercomRecentContact, KeepsTextsAsGiven) {
    EXPECT_EQ(
        "<recentContact><id>-1</id><displayName> a&lt;b </displayName><aor>%s&amp;</aor>"
        "<callTime>&#10;</callTime><callLength>-</callLength><receivedCall>false</receivedCall>"
        "<acceptedCall>false</acceptedCall></recentContact>",
        Written(IntercomRecentContact(-1, " a<b ", "%s&", "\n", "-", false, false)));
}

}  // namespace
