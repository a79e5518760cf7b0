#include "driverhost/plugins/PluginLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/driverhost/support/TemporaryFolder.h"

namespace driverhost {
namespace {

std::string PathOf(const std::string& library) {
    return std::string(TEST_PLUGINS) + "/" + library + ".so";
}

std::string FaultOf(const std::string& path) {
    try {
        const PluginLibrary library(path);
    } catch (const PluginError& error) {
        return error.what();
    }
    return "none";
}

std::string BytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(PluginLibrary, AGoodPluginIsLoadedAndUnloaded) {
    const std::string path = PathOf("probe");
    {
        const PluginLibrary library(path);
        EXPECT_TRUE(PluginLibrary::IsLoaded(path));
    }
    EXPECT_FALSE(PluginLibrary::IsLoaded(path));
}

TEST(PluginLibrary, AMissingFileIsNamed) {
    EXPECT_EQ(FaultOf("/nowhere/lamp.so"),
              "/nowhere/lamp.so: there is no such file; expected a driver plug-in");
}

TEST(PluginLibrary, AFolderIsRefused) {
    EXPECT_EQ(FaultOf(TEST_PLUGINS), TEST_PLUGINS ": is not a file; expected a driver plug-in");
}

TEST(PluginLibrary, AFileThatIsNoLibraryIsRefused) {
    const TemporaryFolder folder;
    const std::string text = folder.Write("text.so", std::string(200, 'x'));
    EXPECT_EQ(FaultOf(text), text + ": is not a shared library of this machine; expected a driver plug-in");
    const std::string empty = folder.Write("empty.so", "");
    EXPECT_EQ(FaultOf(empty), empty + ": is cut short or not a shared library; expected a driver plug-in");
}

TEST(PluginLibrary, AProgramIsRefused) {
    std::string bytes = BytesOf(PathOf("probe"));
    bytes[16] = 2;  // e_type: ET_EXEC
    const TemporaryFolder folder;
    EXPECT_THAT(FaultOf(folder.Write("program.so", bytes)),
                testing::HasSubstr("is not a shared library of this machine"));
}

TEST(PluginLibrary, ALibraryCutShortIsRefused) {
    const std::string bytes = BytesOf(PathOf("probe"));
    const TemporaryFolder folder;
    EXPECT_THAT(FaultOf(folder.Write("short.so", bytes.substr(0, 100))), testing::HasSubstr("is cut short"));
}

TEST(PluginLibrary, WithoutNoteNoLineOfTheLibraryRuns) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(FaultOf(PathOf("no_note")), PathOf("no_note") +
                                              ": is not a driver plug-in of this host: it has no ABI note; "
                                              "expected the one that DVHOST_PLUGIN_ENTRY makes");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(PluginLibrary, OfAnotherAbiNoLineOfTheLibraryRuns) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(FaultOf(PathOf("other_abi")),
              PathOf("other_abi") + ": was built for driver ABI 4; expected ABI 3: build it anew");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(PluginLibrary, WithoutEntryItIsUnloadedAgain) {
    const std::string path = PathOf("no_entry");
    EXPECT_EQ(FaultOf(path), path + ": has no entry; expected it to export GetCreationFunc");
    EXPECT_FALSE(PluginLibrary::IsLoaded(path));
}

TEST(PluginLibrary, AnEntryThatGivesNullIsRefused) {
    const std::string path = PathOf("entry_gives_null");
    EXPECT_EQ(FaultOf(path), path + ": GetCreationFunc returned null; expected a factory");
    EXPECT_FALSE(PluginLibrary::IsLoaded(path));
}

}  // namespace
}  // namespace driverhost
