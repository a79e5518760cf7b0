#include "host/xml/Name.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

using DvXML::Name;

TEST(Name, OfOneTextIsHeldOnce) {
    const Name name("displayName");
    const std::string same = "displayName";
    EXPECT_EQ(name.Text().data(), Name(same).Text().data());
    EXPECT_EQ("displayName", name.Text());
}

TEST(Name, OfAnyLengthIsKeptAsItIs) {
    for (std::size_t length = 0; length < 100; ++length) {
        std::string text(length, 'a');
        EXPECT_EQ(text, Name(text).Text());
        for (std::size_t at = 0; at < length; ++at) {
            text[at] = 'b';
            EXPECT_EQ(text, Name(text).Text());
            text[at] = 'a';
        }
    }
}

TEST(Name, MayHoldANullCharacter) {
    const std::string text("a\0b", 3);
    EXPECT_EQ(text, Name(text).Text());
    EXPECT_NE(Name("a").Text(), Name(text).Text());
}

TEST(Name, IsPlainWhenItIsLegalAndAscii) {
    for (const char* const plain : {"a", "Z", "_", ":", "a-b.c9", "contactId", "ns:name"})
        EXPECT_TRUE(Name(plain).IsPlain()) << plain;
    for (const char* const other : {"", "9", "-a", ".a", "a b", "a<", "a\xC3\xA4", "\xC3\xA4", "a\n", "a/"})
        EXPECT_FALSE(Name(other).IsPlain()) << other;
}

// Whoever sends documents may name elements as he likes: names that are not shared are freed.
TEST(Name, TensOfThousandsOfDifferentOnesAreToldApart) {
    std::vector<Name> names;
    for (int number = 0; number < 50'000; ++number)
        names.emplace_back("name" + std::to_string(number));
    for (int number = 0; number < 50'000; ++number)
        ASSERT_EQ("name" + std::to_string(number), names[static_cast<std::size_t>(number)].Text());
}

TEST(Name, IsMovedWithoutACopy) {
    Name from(std::string(200, 'x'));
    const char* const text = from.Text().data();
    Name to(std::move(from));
    EXPECT_EQ(text, to.Text().data());
    Name other("other");
    other = std::move(to);
    EXPECT_EQ(text, other.Text().data());
}

TEST(Name, ManyThreadsMayMakeTheSame) {
    std::vector<std::thread> threads;
    std::vector<std::vector<Name>> made(4);
    for (std::vector<Name>& mine : made) {
        threads.emplace_back([&mine] {
            for (int number = 0; number < 200; ++number)
                mine.emplace_back("race" + std::to_string(number));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const std::vector<Name>& mine : made) {
        for (std::size_t number = 0; number < mine.size(); ++number)
            EXPECT_EQ("race" + std::to_string(number), mine[number].Text());
    }
}
