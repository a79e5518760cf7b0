// Backups that are interrupted: the file is complete or does not exist, and nothing else is left.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/client/TinyServer.h"
#include "tests/support/process/Patience.h"
#include "tests/support/process/Process.h"
#include "tests/support/process/RunProgram.h"
#include "tests/support/process/TempFolder.h"

using namespace std::chrono_literals;
using test::TinyServer;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int kRounds = 20;

class StateSave : public testing::Test {
protected:
    StateSave() { std::filesystem::create_directory(backups_); }

    /// Runs state save until the host has its request, and sends the signal `delay` later.
    void Interrupt(const TinyServer& server, int signal, std::chrono::milliseconds delay,
                   const std::vector<std::string>& more = {}) {
        const std::size_t before = server.Requests().size();
        std::vector<std::string> words = {INTERCOMCTL_PROGRAM, "state", "save", backups_ / "backup.xml"};
        words.insert(words.end(), more.begin(), more.end());
        test::Process save({words, {{"INTERCOMCTL_URL", server.Url()}}, folder_ / "output"});
        while (server.Requests().size() == before && save.IsRunning())
            std::this_thread::sleep_for(1ms);
        std::this_thread::sleep_for(delay);
        save.Signal(signal);
        EXPECT_TRUE(save.Wait(test::kPatience));
    }

    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(backups_))
            names.push_back(entry.path().filename());
        return names;
    }

    std::string Backup() const { return test::ReadFile(backups_ / "backup.xml"); }

    /// Where a file system has only files with names, a moment with a second name cannot be avoided.
    bool HasUnnamedFiles() const {
        const int file = open(backups_.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
        if (file >= 0) close(file);
        return file >= 0;
    }

    const test::TempFolder folder_;
    const std::filesystem::path backups_ = folder_ / "backups";
    const std::string state_ = "<S><a>" + std::string(4'000'000, 'x') + "</a></S>";
};

TEST_F(StateSave, KilledWhileTheHostThinksLeavesNothing) {
    const TinyServer server({"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n<S>"}, TinyServer::KeepOpen);
    Interrupt(server, SIGKILL, 0ms);
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(StateSave, KilledAtAnyMomentLeavesTheWholeFileOrNothing) {
    if (!HasUnnamedFiles()) GTEST_SKIP() << "the file system has no files without a name";
    const TinyServer server(std::vector<std::string>(kRounds, TinyServer::Xml(200, state_)));
    for (int round = 0; round < kRounds; ++round) {
        Interrupt(server, SIGKILL, std::chrono::milliseconds(round));
        ASSERT_THAT(Names(), AnyOf(IsEmpty(), ElementsAre("backup.xml")));
        ASSERT_THAT(Backup(), AnyOf("", state_));
        std::filesystem::remove(backups_ / "backup.xml");
    }
}

TEST_F(StateSave, EndedWhileItReplacesAFileLeavesTheOldOneOrTheNew) {
    const TinyServer server(std::vector<std::string>(kRounds, TinyServer::Xml(200, state_)));
    for (int round = 0; round < kRounds; ++round) {
        test::WriteFile(backups_ / "backup.xml", "precious");
        Interrupt(server, SIGTERM, std::chrono::milliseconds(round), {"--overwrite"});
        ASSERT_THAT(Names(), ElementsAre("backup.xml"));
        ASSERT_THAT(Backup(), AnyOf("precious", state_));
    }
}

TEST_F(StateSave, WorksWhereEveryFileNeedsAName) {
    const TinyServer server(std::vector<std::string>(3, TinyServer::Xml(200, state_)));
    const std::string file = backups_ / "backup.xml";
    const auto save = [&](const std::string& option) {
        return test::RunProgram({INTERCOMCTL_PROGRAM, "state", "save", file, "--url", server.Url(), option},
                                {{"LD_PRELOAD", NO_UNNAMED_FILES}});
    };
    EXPECT_EQ(0, save("--raw").status);
    EXPECT_EQ(state_, Backup());
    EXPECT_EQ(2, save("--raw").status);
    test::WriteFile(file, "old");
    EXPECT_EQ(0, save("--overwrite").status);
    EXPECT_EQ(state_, Backup());
    EXPECT_THAT(Names(), ElementsAre("backup.xml"));
    EXPECT_EQ(std::filesystem::perms(0600), std::filesystem::status(file).permissions());
}

TEST_F(StateSave, NamesThatAreTakenAreLeftAlone) {
    test::WriteFile(backups_ / "backup.xml", "old");
    test::WriteFile(backups_ / "backup.xml.new1", "somebody's");
    const TinyServer server({TinyServer::Xml(200, "<S/>")});
    Interrupt(server, 0, 0ms, {"--overwrite"});
    EXPECT_EQ("<S/>", Backup());
    EXPECT_EQ("somebody's", test::ReadFile(backups_ / "backup.xml.new1"));
    EXPECT_THAT(Names(), testing::UnorderedElementsAre("backup.xml", "backup.xml.new1"));
}

}  // namespace
