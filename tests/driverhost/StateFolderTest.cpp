#include "driverhost/state/StateFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/driverhost/support/MemoryFileSystem.h"

namespace driverhost {
namespace {

std::string AnyDocument(std::string_view) {
    return {};
}

class StateFolderTest : public testing::Test {
protected:
    StateFolder Open(MemoryFileSystem& disk, const std::string& library = "lamp") {
        return StateFolder(disk, "/state", "kitchen", library);
    }

    std::optional<std::string> LoadFrom(MemoryFileSystem& disk) {
        return Open(disk).Load(&AnyDocument).document;
    }

    static std::string Generation(int number) {
        const std::string digits = std::to_string(number);
        return "/state/kitchen/" + std::string(10 - digits.size(), '0') + digits + ".xml";
    }

    void StoreAll(int count) {
        StateFolder folder = Open(disk_);
        for (int number = 1; number <= count; ++number) {
            folder.Store("<s>" + std::to_string(number) + "</s>");
            folder.DropOldest();
        }
    }

    MemoryFileSystem disk_;
};

TEST_F(StateFolderTest, NothingIsStoredAtFirst) {
    EXPECT_EQ(LoadFrom(disk_), std::nullopt);
}

TEST_F(StateFolderTest, ADocumentLiesInClearWithItsChecksumBehindIt) {
    Open(disk_).Store("<s>1</s>");
    EXPECT_EQ(disk_.ContentOf(Generation(1)),
              "<s>1</s>\n<!-- driverhost crc32=846ED55C bytes=8 library=lamp -->\n");
}

TEST_F(StateFolderTest, TheNewestDocumentIsLoaded) {
    StoreAll(3);
    EXPECT_EQ(LoadFrom(disk_), "<s>3</s>");
}

TEST_F(StateFolderTest, NumbersGoOnAfterANewStart) {
    StoreAll(2);
    Open(disk_).Store("<s>again</s>");
    EXPECT_TRUE(disk_.Has(Generation(3)));
}

TEST_F(StateFolderTest, TwentyGenerationsAreKept) {
    StoreAll(23);
    EXPECT_FALSE(disk_.Has(Generation(3)));
    EXPECT_TRUE(disk_.Has(Generation(4)));
    EXPECT_TRUE(disk_.Has(Generation(23)));
}

TEST_F(StateFolderTest, RemovingTheNewestFileTakesAChangeBack) {
    StoreAll(2);
    disk_.Remove(Generation(2));
    EXPECT_EQ(LoadFrom(disk_), "<s>1</s>");
}

TEST_F(StateFolderTest, ADamagedDocumentIsPutAsideAndTheOneBeforeItUsed) {
    StoreAll(2);
    disk_.Plant(Generation(2), "<s>2</s>\n<!-- driverhost crc32=00000000 bytes=8 library=lamp -->\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(LoadFrom(disk_), "<s>1</s>");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr(" 3 kitchen the stored document " + Generation(2) +
                                   " is damaged (its checksum does not match)"));
    EXPECT_FALSE(disk_.Has(Generation(2)));
    EXPECT_TRUE(disk_.Has(Generation(2) + ".damaged"));
}

TEST_F(StateFolderTest, EveryByteIsUnderTheChecksum) {
    const std::string good = SealDocument("<s>abc</s>", "lamp");
    for (std::size_t at = 0; at < good.size(); ++at) {
        std::string bad = good;
        bad[at] = static_cast<char>(bad[at] ^ 1);
        EXPECT_NE(OpenDocument(bad, "lamp").fault, "") << "byte " << at;
    }
}

TEST_F(StateFolderTest, EveryTruncationIsNoticed) {
    const std::string good = SealDocument("<s>abc</s>", "lamp");
    for (std::size_t length = 0; length < good.size(); ++length)
        EXPECT_NE(OpenDocument(good.substr(0, length), "lamp").fault, "") << "length " << length;
}

TEST_F(StateFolderTest, ADocumentThatTheCheckRefusesIsDamaged) {
    StoreAll(2);
    const auto refuseSecond = [](std::string_view text) {
        return text == "<s>2</s>" ? std::string("not XML") : std::string();
    };
    EXPECT_EQ(Open(disk_).Load(refuseSecond).document, "<s>1</s>");
    EXPECT_TRUE(disk_.Has(Generation(2) + ".damaged"));
}

TEST_F(StateFolderTest, ADocumentOfAnotherLibraryIsNotTaken) {
    StoreAll(1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Open(disk_, "shutter").Load(&AnyDocument).document, std::nullopt);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("it was stored by the library lamp, not by shutter"));
}

TEST_F(StateFolderTest, WhenNoGenerationIsGoodTheLogSaysSo) {
    disk_.Plant(Generation(7), "rubbish");
    testing::internal::CaptureStderr();
    EXPECT_EQ(LoadFrom(disk_), std::nullopt);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr(" 3 kitchen no stored document in /state/kitchen is good: the driver "
                                   "starts as new"));
}

TEST_F(StateFolderTest, TheNumberOfADamagedDocumentIsNotUsedAgain) {
    disk_.Plant(Generation(7), "rubbish");
    StateFolder folder = Open(disk_);
    folder.Load(&AnyDocument);
    folder.Store("<s/>");
    EXPECT_TRUE(disk_.Has(Generation(8)));
}

TEST_F(StateFolderTest, AnUnreadableFileCountsAsDamaged) {
    StoreAll(2);
    disk_.Spoil(Generation(2));
    EXPECT_EQ(LoadFrom(disk_), "<s>1</s>");
}

TEST_F(StateFolderTest, AFolderThatCannotBeListedIsAFailureNotAFirstStart) {
    StoreAll(1);
    disk_.FailAtStep(3);  // make, sync the folders, then list
    EXPECT_THROW(LoadFrom(disk_), FileError);
}

TEST_F(StateFolderTest, ADocumentThatCannotBeReadNowIsNotPassedOver) {
    StoreAll(2);
    disk_.FailAtStep(4);  // the step that reads the newest
    EXPECT_THROW(LoadFrom(disk_), FileError);
    EXPECT_TRUE(disk_.Has(Generation(2)));
    EXPECT_EQ(LoadFrom(disk_), "<s>2</s>");
}

TEST_F(StateFolderTest, WhatWasLoadedIsThereAfterAPowerCut) {
    StoreAll(1);
    disk_.FailAtStep(8);  // the folder is synced after the rename
    StateFolder folder = Open(disk_);
    EXPECT_THROW(folder.Store("<s>2</s>"), FileError);
    EXPECT_EQ(LoadFrom(disk_), "<s>2</s>");
    EXPECT_EQ(LoadFrom(*disk_.AfterPowerCut(MemoryFileSystem::LosingAll())), "<s>2</s>");
}

TEST_F(StateFolderTest, OtherFilesAreLeftAlone) {
    disk_.Plant("/state/kitchen/notes.txt", "mine");
    disk_.Plant("/state/kitchen/5.xml", "mine");
    EXPECT_EQ(LoadFrom(disk_), std::nullopt);
    EXPECT_EQ(disk_.ContentOf("/state/kitchen/notes.txt"), "mine");
    EXPECT_EQ(disk_.ContentOf("/state/kitchen/5.xml"), "mine");
}

TEST_F(StateFolderTest, AFullDiskLeavesNoHalfFileInTheWay) {
    StoreAll(1);
    StateFolder folder = Open(disk_);
    disk_.FailAtStep(5);  // make, sync the folders, list, create, then write
    EXPECT_THROW(folder.Store("<s>new</s>"), FileError);
    EXPECT_FALSE(disk_.Has("/state/kitchen/next.tmp"));
    EXPECT_EQ(LoadFrom(disk_), "<s>1</s>");
}

}  // namespace
}  // namespace driverhost
