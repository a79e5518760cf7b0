// The system manager as its caller sees it: its first line, its exit status, and what it leaves running.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <thread>

#include "tests/support/process/Patience.h"
#include "tests/support/process/RunProgram.h"
#include "tests/support/process/TempFolder.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

constexpr char kBusy[] = "another request is being carried out";

// A service that ends when asked to.
constexpr char kObedient[] = "#!/bin/sh\necho started\nexec sleep 3600\n";
// One that does not: only SIGKILL ends it.
constexpr char kStubborn[] = "#!/bin/sh\ntrap '' TERM\necho deaf\nwhile :; do sleep 0.1; done\n";

class Sysman : public testing::Test {
protected:
    ~Sysman() override {
        if (Noted() > 0) Ask("kill");
    }

    void SetProgram(const std::string& text) {
        test::WriteFile(folder / "service", text);
        ::chmod((folder / "service").c_str(), S_IRWXU);
        environment["SIPPROXY_PROGRAM"] = folder / "service";
    }

    test::ProgramResult Run(std::vector<std::string> words) {
        words.insert(words.begin(), SYSMAN_PROGRAM);
        return test::RunProgram(words, environment);
    }
    /// Repeats a request that is refused because another one holds the lock: a program that was started keeps
    /// the lock until it is executed, and on a busy machine that may take longer than sysman waits.
    test::ProgramResult Ask(const std::string& request) {
        test::ProgramResult result;
        test::Eventually([&] {
            result = Run({request, "sipproxy"});
            return result.errors.find(kBusy) == std::string::npos;
        });
        return result;
    }

    std::string File(const std::string& name) const { return test::ReadFile(folder / "state" / name); }

    /// The process that the state names; 0 when it names none.
    pid_t Noted() const {
        const std::string text = File("sipproxy.process");
        return text.empty() ? 0 : std::stoi(text);
    }

    /// Alive, and not just a zombie.
    static bool Lives(pid_t id) {
        const std::string stat = test::ReadFile("/proc/" + std::to_string(id) + "/stat");
        return !stat.empty() && stat.find(") Z") == std::string::npos;
    }
    static bool EndsInTime(pid_t id) {
        return test::Eventually([=] { return !Lives(id); });
    }

    test::TempFolder folder;
    std::map<std::string, std::string> environment = {{"SYSMAN_STATE_DIR", folder / "state"},
                                                      {"SIPPROXY_PROGRAM", ""}};
};

}  // namespace

TEST_F(Sysman, AnswersEachRequestWithItsWord) {
    for (const char* const request : {"enable", "disable", "kill"}) {
        const test::ProgramResult result = Ask(request);
        EXPECT_EQ(0, result.status) << result.errors;
        EXPECT_EQ(std::string(request) + "\n", result.output);
        EXPECT_THAT(result.errors, StartsWith("sysman: " + std::string(request) + " sipproxy: "));
    }
}

TEST_F(Sysman, KeepsTheWantedState) {
    Ask("enable");
    EXPECT_EQ("enabled\n", File("sipproxy.wanted"));
    Ask("kill");
    EXPECT_EQ("enabled\n", File("sipproxy.wanted"));
    Ask("disable");
    EXPECT_EQ("disabled\n", File("sipproxy.wanted"));
    Ask("kill");
    EXPECT_EQ("disabled\n", File("sipproxy.wanted"));
}

TEST_F(Sysman, RefusesAnUnknownRequestOrServiceWithoutAWord) {
    const std::vector<std::vector<std::string>> wrong = {{},
                                                         {"enable"},
                                                         {"start", "sipproxy"},
                                                         {"Enable", "sipproxy"},
                                                         {"enable", "httpd"},
                                                         {"enable", "sipproxy", "now"}};
    for (const std::vector<std::string>& words : wrong) {
        const test::ProgramResult result = Run(words);
        EXPECT_EQ(2, result.status);
        EXPECT_EQ("", result.output);
        EXPECT_THAT(result.errors, HasSubstr("usage: sysman enable|disable|kill sipproxy"));
    }
}

TEST_F(Sysman, StartsTheProgramAndDoesNotHoldTheCallerUpForIt) {
    SetProgram(kObedient);
    const test::ProgramResult result = Ask("enable");  // returns only when the outputs are free
    EXPECT_EQ("enable\n", result.output);
    EXPECT_TRUE(Lives(Noted())) << result.errors;
    EXPECT_TRUE(test::Eventually([this] { return File("sipproxy.log") == "started\n"; }));
}

TEST_F(Sysman, TheProgramInheritsNoOpenFileOfTheCaller) {
    SetProgram("#!/bin/sh\nls -l /proc/self/fd | grep -c secret\nexec sleep 3600\n");
    const std::string secret = folder / "secret";
    test::RunProgram({"/bin/sh", "-c", "exec \"$0\" enable sipproxy 7>" + secret, SYSMAN_PROGRAM},
                     environment);
    EXPECT_TRUE(test::Eventually([this] { return File("sipproxy.log") == "0\n"; })) << File("sipproxy.log");
}

TEST_F(Sysman, TheProgramGetsSignalsThatTheCallerIgnores) {
    SetProgram("#!/bin/sh\nsed -n 's/SigIgn:.*\\(.\\{8\\}\\)$/\\1/p' /proc/self/status\nexec sleep 3600\n");
    test::RunProgram({"/bin/sh", "-c", "trap '' TERM PIPE INT; \"$0\" enable sipproxy", SYSMAN_PROGRAM},
                     environment);
    ASSERT_TRUE(test::Eventually([this] { return File("sipproxy.log").ends_with('\n'); }));
    constexpr unsigned long kOrdinarySignals = 0x7FFFFFFF;  // those above belong to the C library
    EXPECT_EQ(0U, std::stoul(File("sipproxy.log"), nullptr, 16) & kOrdinarySignals) << File("sipproxy.log");
}

TEST_F(Sysman, StartsWhatRunsAlreadyNotTwice) {
    SetProgram(kObedient);
    Ask("enable");
    const pid_t first = Noted();
    EXPECT_THAT(Ask("enable").errors, HasSubstr("is running already"));
    EXPECT_EQ(first, Noted());
    EXPECT_TRUE(Lives(first));
}

TEST_F(Sysman, WhatEndsThoughItIsWantedIsStartedAgainWithoutARequest) {
    SetProgram(kObedient);
    Ask("enable");
    for (int round = 0; round < 2; ++round) {
        const pid_t program = Noted();
        EXPECT_TRUE(test::Eventually([&] { return File("sipproxy.log").ends_with("started\n"); }));
        ::kill(program, SIGKILL);
        EXPECT_TRUE(test::Eventually([&] { return Noted() > 0 && Noted() != program; }));
        EXPECT_TRUE(Lives(Noted()));
    }
    // What the earlier ones had to say is kept.
    EXPECT_TRUE(test::Eventually([&] {
        return File("sipproxy.log") ==
               "started\nsysman: sipproxy has ended though it is wanted; it is started again\n"
               "started\nsysman: sipproxy has ended though it is wanted; it is started again\nstarted\n";
    })) << File("sipproxy.log");
}

TEST_F(Sysman, WhatWasKilledOrDisabledStaysDown) {
    for (const char* const request : {"kill", "disable"}) {
        SetProgram(kObedient);
        Ask("enable");
        const pid_t program = Noted();
        EXPECT_TRUE(test::Eventually([&] { return File("sipproxy.log") == "started\n"; }));
        Ask(request);
        EXPECT_TRUE(EndsInTime(program));
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        EXPECT_TRUE(Noted() == 0 || !Lives(Noted())) << request;
        EXPECT_EQ("started\n", File("sipproxy.log")) << request;
    }
}

TEST_F(Sysman, KillEndsTheProgramAtOnce) {
    SetProgram(kStubborn);
    Ask("enable");
    const pid_t program = Noted();
    EXPECT_EQ("kill\n", Ask("kill").output);
    EXPECT_TRUE(EndsInTime(program));
    EXPECT_THAT(Ask("kill").errors, HasSubstr("no program is running"));
}

TEST_F(Sysman, KillThenEnableIsARestart) {
    SetProgram(kObedient);
    Ask("enable");
    const pid_t first = Noted();
    const test::ProgramResult killed = Ask("kill");  // has waited 50 ms for the end, unless it says otherwise
    EXPECT_TRUE(killed.errors.ends_with("killed the program\n") || EndsInTime(first));
    Ask("enable");
    EXPECT_NE(first, Noted());
    EXPECT_TRUE(Lives(Noted()));
}

TEST_F(Sysman, DisableAsksTheProgramToEnd) {
    SetProgram(kObedient);
    Ask("enable");
    const pid_t program = Noted();
    EXPECT_EQ("disable\n", Ask("disable").output);
    EXPECT_TRUE(EndsInTime(program));
}

// The grace is an hour here, so a sysman that waited for the end of the program would not return in time.
TEST_F(Sysman, DisableDoesNotWaitForTheProgramToEnd) {
    SetProgram(kStubborn);
    environment["SYSMAN_GRACE_SECONDS"] = "3600";
    Ask("enable");
    ASSERT_TRUE(test::Eventually([this] { return File("sipproxy.log") == "deaf\n"; }));
    const test::ProgramResult result = Ask("disable");
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("disable\n", result.output);
    EXPECT_TRUE(Lives(Noted()));
}

TEST_F(Sysman, DisableKillsWhatHasNotEndedWithinTheGrace) {
    SetProgram(kStubborn);
    environment["SYSMAN_GRACE_SECONDS"] = "0";
    Ask("enable");
    ASSERT_TRUE(test::Eventually([this] { return File("sipproxy.log") == "deaf\n"; }));
    const pid_t program = Noted();
    Ask("disable");
    EXPECT_TRUE(EndsInTime(program));
}

TEST_F(Sysman, EnableAfterDisableStartsAnewThoughTheOldOneHasNotEnded) {
    SetProgram(kStubborn);
    environment["SYSMAN_GRACE_SECONDS"] = "3600";
    Ask("enable");
    ASSERT_TRUE(test::Eventually([this] { return File("sipproxy.log") == "deaf\n"; }));
    const pid_t first = Noted();
    Ask("disable");
    test::ProgramResult enabled = Ask("enable");
    if (enabled.status != 0) {  // the old one was killed and has not ended within 50 ms
        EXPECT_TRUE(EndsInTime(first));
        enabled = Ask("enable");
    }
    EXPECT_EQ("enable\n", enabled.output);
    EXPECT_FALSE(Lives(first));
    EXPECT_NE(first, Noted());
    EXPECT_TRUE(Lives(Noted()));
}

TEST_F(Sysman, SignalsNobodyWhoHasTheNumberOfTheProgramThatEnded) {
    SetProgram(kObedient);
    Ask("enable");
    std::string noted = File("sipproxy.process");
    const pid_t program = Noted();
    // The program was started at another time than the process that now has its number.
    noted.insert(noted.find(' ') + 1, "9");
    test::WriteFile(folder / "state" / "sipproxy.process", noted);
    EXPECT_THAT(Ask("kill").errors, HasSubstr("no program is running"));
    EXPECT_TRUE(Lives(program));
    ::kill(program, SIGKILL);
}

TEST_F(Sysman, AProgramThatCannotBeStartedIsAFailureWithoutAWord) {
    environment["SIPPROXY_PROGRAM"] = folder / "absent";
    test::ProgramResult result;
    test::Eventually([&] {  // sysman waits only 50 ms for the news that it failed
        result = Ask("enable");
        return result.status != 0;
    });
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, HasSubstr("cannot start " + (folder / "absent").string() + ": No such file"));
    EXPECT_EQ("enabled\n", File("sipproxy.wanted"));
}

TEST_F(Sysman, AStateFolderThatCannotBeMadeIsAFailureWithoutAWord) {
    environment["SYSMAN_STATE_DIR"] = "/dev/null/state";
    const test::ProgramResult result = Ask("enable");
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, HasSubstr("cannot make /dev/null/state"));
}

TEST_F(Sysman, DoesNotWaitLongForAnotherRequest) {
    Ask("enable");
    const int lock = ::open((folder / "state" / "lock").c_str(), O_RDWR);
    ASSERT_EQ(0, ::flock(lock, LOCK_EX));
    const test::ProgramResult result = Run({"disable", "sipproxy"});
    ::close(lock);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, HasSubstr(kBusy));
    EXPECT_EQ("enabled\n", File("sipproxy.wanted"));
}

TEST_F(Sysman, AGraceThatIsNoNumberIsRefusedBeforeAnythingIsDone) {
    environment["SYSMAN_GRACE_SECONDS"] = "soon";
    Ask("enable");
    EXPECT_EQ(1, Ask("disable").status);
    EXPECT_EQ("enabled\n", File("sipproxy.wanted"));
}

TEST_F(Sysman, ItsFilesAreItsOwnersAlone) {
    SetProgram(kObedient);
    Ask("enable");
    const std::filesystem::path state = folder / "state";
    struct stat found {};
    ASSERT_EQ(0, ::stat(state.c_str(), &found));
    EXPECT_EQ(0700U, found.st_mode & 0777U);
    for (const auto& entry : std::filesystem::directory_iterator(state)) {
        ASSERT_EQ(0, ::stat(entry.path().c_str(), &found));
        EXPECT_EQ(0600U, found.st_mode & 0777U) << entry.path();
    }
}

TEST_F(Sysman, ItsStateLiesInTheHomeFolderUnlessTheEnvironmentSaysOtherwise) {
    environment["SYSMAN_STATE_DIR"] = "";
    environment["XDG_STATE_HOME"] = "";
    environment["HOME"] = folder / "home";
    Ask("enable");
    EXPECT_EQ("enabled\n", test::ReadFile(folder / "home/.local/state/intercom-sysman/sipproxy.wanted"));
    environment["XDG_STATE_HOME"] = folder / "xdg";
    Ask("enable");
    EXPECT_EQ("enabled\n", test::ReadFile(folder / "xdg/intercom-sysman/sipproxy.wanted"));
    environment["XDG_STATE_HOME"] = "";
    environment["HOME"] = "";
    EXPECT_THAT(Ask("enable").errors, HasSubstr("set SYSMAN_STATE_DIR or HOME"));
}
