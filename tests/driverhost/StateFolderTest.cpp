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

    std::optional<std::string> LoadFrom(MemoryFileSystem& disk) { return Open(disk).Load(&AnyDocument); }

    static std::string Generation(int number) {
        const std::string digits = std::to_string(number);
        return "/state/kitchen/" + std::string(10 - digits.size(), '0') + digits + ".xml";
    }

    void StoreAll(int count) {
        StateFolder folder = Open(disk_);
        for (int number = 1; number <= count; ++number)
            folder.Store("<s>" + std::to_string(number) + "</s>");
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
    EXPECT_EQ(Open(disk_).Load(refuseSecond), "<s>1</s>");
    EXPECT_TRUE(disk_.Has(Generation(2) + ".damaged"));
}

TEST_F(StateFolderTest, ADocumentOfAnotherLibraryIsNotTaken) {
    StoreAll(1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Open(disk_, "shutter").Load(&AnyDocument), std::nullopt);
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
    disk_.FailAtStep(3);  // make, sync, list, then the newest is read
    EXPECT_EQ(LoadFrom(disk_), "<s>1</s>");
}

TEST_F(StateFolderTest, AFolderThatCannotBeListedIsAFailureNotAFirstStart) {
    StoreAll(1);
    disk_.FailAtStep(2);
    EXPECT_THROW(LoadFrom(disk_), FileError);
}

TEST_F(StateFolderTest, OtherFilesAreLeftAlone) {
    disk_.Plant("/state/kitchen/notes.txt", "mine");
    disk_.Plant("/state/kitchen/5.xml", "mine");
    EXPECT_EQ(LoadFrom(disk_), std::nullopt);
    EXPECT_EQ(disk_.ContentOf("/state/kitchen/notes.txt"), "mine");
    EXPECT_EQ(disk_.ContentOf("/state/kitchen/5.xml"), "mine");
}

// The heart of it: whatever step fails or is the last before a power cut, the disk holds the old
// document or the new one, and the new one when Store returned.
class PowerCut : public StateFolderTest, public testing::WithParamInterface<MemoryFileSystem::UnsyncedNames> {
protected:
    std::optional<std::string> LoadAfterCut() { return LoadFrom(*disk_.AfterPowerCut(GetParam())); }
};

TEST_P(PowerCut, AtAnyStepOfStoringLeavesTheOldOrTheNewDocument) {
    constexpr int kFirstStore = 20;  // so that an old one is dropped as well
    for (int step = 0;; ++step) {
        disk_.FailAtStep(std::nullopt);
        StoreAll(kFirstStore);
        StateFolder folder = Open(disk_);
        disk_.FailAtStep(step);
        bool stored = true;
        try {
            folder.Store("<s>new</s>");
        } catch (const FileError&) {
            stored = false;
        }
        const bool wasReached = disk_.StepsDone() > step;
        disk_.FailAtStep(std::nullopt);
        const auto found = LoadAfterCut();
        ASSERT_TRUE(found == "<s>new</s>" || (!stored && found == "<s>20</s>")) << "step " << step;
        if (!wasReached) break;
    }
}

TEST_P(PowerCut, AfterARetryLeavesTheNewDocument) {
    StoreAll(1);
    for (int step = 0; step < 8; ++step) {
        StateFolder folder = Open(disk_);
        const std::string document = "<s>retry " + std::to_string(step) + "</s>";
        disk_.FailAtStep(step);
        try {
            folder.Store(document);
        } catch (const FileError&) {
            disk_.FailAtStep(std::nullopt);
            folder.Store(document);
        }
        disk_.FailAtStep(std::nullopt);
        EXPECT_EQ(LoadAfterCut(), document) << "step " << step;
    }
}

TEST_P(PowerCut, AfterAFullDiskLeavesNoHalfFileInTheWay) {
    StoreAll(1);
    StateFolder folder = Open(disk_);
    disk_.FailAtStep(4);  // make, sync, list, open, then write
    EXPECT_THROW(folder.Store("<s>new</s>"), FileError);
    EXPECT_FALSE(disk_.Has("/state/kitchen/next.tmp"));
    EXPECT_EQ(LoadAfterCut(), "<s>1</s>");
}

INSTANTIATE_TEST_SUITE_P(Names, PowerCut,
                         testing::Values(MemoryFileSystem::UnsyncedNames::Lost,
                                         MemoryFileSystem::UnsyncedNames::Kept));

}  // namespace
}  // namespace driverhost
