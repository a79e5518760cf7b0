// The unix socket beside the address: the same HTTP without a token, and the SIP accounts there alone.
#include <gmock/gmock.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/process/support/ProcessFixture.h"
#include "tests/support/process/TempFolder.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace driverhost {
namespace {

constexpr char kPlanted[] = "planted-4711-password";
constexpr uid_t kNobody = 65534;

class LocalSocket : public ProcessFixture {
protected:
    std::string Path() const { return StateFolder() + "/.socket"; }

    static int Connect(const std::string& path) {
        const int handle = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        if (::connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
            return handle;
        ::close(handle);
        return -1;
    }

    /// The whole answer to a GET; empty when there is no connection or no answer.
    static std::string Get(const std::string& path, const std::string& target) {
        const int handle = Connect(path);
        if (handle < 0) return "";
        const std::string request =
            "GET " + target + " HTTP/1.1\r\nHost: any.name\r\nConnection: close\r\n\r\n";
        static_cast<void>(::send(handle, request.data(), request.size(), MSG_NOSIGNAL));
        std::string answer;
        char bytes[4096];
        for (ssize_t size = 0; (size = ::recv(handle, bytes, sizeof bytes, 0)) > 0;)
            answer.append(bytes, static_cast<std::size_t>(size));
        ::close(handle);
        return answer;
    }

    /// The same from a process of another user: the number of bytes that came, 255 without a connection.
    static int BytesForNobody(const std::string& path) {
        const pid_t child = ::fork();
        if (child == 0) {
            if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
                ::_exit(254);
            const int handle = Connect(path);
            if (handle < 0) ::_exit(255);
            ::close(handle);
            ::_exit(static_cast<int>(std::min<std::size_t>(Get(path, "/drivers").size(), 100)));
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return WEXITSTATUS(status);
    }

    void StartHome(const std::vector<std::string>& more = {}) {
        WriteHome(Driver(1, "agent", "intercom_agent") +
                  Driver(101, "hall", "panel", "<key>hall</key><name>Hall</name><dnd>true</dnd>"));
        Start(more);
        Command("agent", "addUser",
                std::string("key=phone&user=garden&password=") + kPlanted + "&realm=home&name=Garden+phone");
        Command("agent", "addUser", "key=second&user=attic&password=other&forwardAddress=sip%3Ahall%40home");
    }
};

TEST_F(LocalSocket, TellsTheAccountOfEveryDevice) {
    StartHome();
    const std::string answer = Get(Path(), "/sip/accounts");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(
        answer,
        testing::EndsWith(
            "<accounts>"
            "<account><id>101</id><key>hall</key><user/><domain/><realm/><password/><name/><email/>"
            "<forwardAddress/><intercomName>Hall</intercomName><dnd>true</dnd><autoAnswer>false</autoAnswer>"
            "<ringDoorbell>false</ringDoorbell></account>"
            "<account><id>100000</id><key>second</key><user>attic</user><domain/><realm/>"
            "<password>other</password><name/><email/><forwardAddress>sip:hall@home</forwardAddress>"
            "<intercomName>attic</intercomName><dnd>false</dnd><autoAnswer>false</autoAnswer>"
            "<ringDoorbell>false</ringDoorbell></account>"
            "<account><id>99999</id><key>phone</key><user>garden</user><domain/><realm>home</realm>"
            "<password>planted-4711-password</password><name>Garden phone</name><email/><forwardAddress/>"
            "<intercomName>garden</intercomName><dnd>false</dnd><autoAnswer>false</autoAnswer>"
            "<ringDoorbell>false</ringDoorbell></account>"
            "</accounts>"));
}

TEST_F(LocalSocket, OnTheNetworkThereAreNoAccounts) {
    StartHome();
    const HttpAnswer answer = Ask("GET", "/sip/accounts");
    EXPECT_EQ(404, answer.status);
    EXPECT_THAT(answer.body, HasSubstr("no such path"));
    EXPECT_EQ(404, Ask("POST", "/sip/accounts").status);
    EXPECT_THAT(Get(Path(), "/sip/account"), StartsWith("HTTP/1.1 404 "));
}

TEST_F(LocalSocket, NoPasswordLeavesByAnotherWay) {
    StartHome();
    Get(Path(), "/sip/accounts");
    for (const char* const path : {"/drivers", "/drivers/agent/state", "/health", "/metrics"})
        EXPECT_THAT(Ask("GET", path).body, Not(HasSubstr(kPlanted))) << path;
    EXPECT_THAT(Command("agent", "getUser", "key=phone"), Not(HasSubstr(kPlanted)));
    EXPECT_THAT(Command("agent", "getDeviceList"), Not(HasSubstr(kPlanted)));
    EXPECT_THAT(Log(), Not(HasSubstr(kPlanted)));
}

TEST_F(LocalSocket, ServesTheSameWithoutAToken) {
    test::WriteFile(folder_.Path() + "/token", "a-token-of-some-length\n");
    ::chmod((folder_.Path() + "/token").c_str(), 0600);
    WriteHome(Driver(1, "agent", "intercom_agent"));
    Start({"--token-file", folder_.Path() + "/token"});
    EXPECT_EQ(401, Ask("GET", "/drivers").status);
    EXPECT_THAT(Get(Path(), "/drivers"), HasSubstr("<library>intercom_agent</library>"));
}

TEST_F(LocalSocket, WithoutAnAgentThereAreNoAccountsToTell) {
    WriteHome(Driver(101, "hall", "panel"));
    Start();
    EXPECT_THAT(Get(Path(), "/sip/accounts"), StartsWith("HTTP/1.1 503 "));
}

TEST_F(LocalSocket, IsItsOwnersAloneAndGoneWhenTheHostHasEnded) {
    StartHome();
    struct stat found {};
    ASSERT_EQ(0, ::stat(Path().c_str(), &found));
    EXPECT_EQ(0600U, found.st_mode & 0777U);
    EXPECT_EQ(0, Stop());
    EXPECT_NE(0, ::stat(Path().c_str(), &found));
}

// The mode is opened on purpose: the other user must be refused for who it is.
TEST_F(LocalSocket, RefusesAnotherUserWhateverTheModeSays) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can be another user";
    StartHome({"--socket", folder_.Path() + "/open"});
    ::chmod(folder_.Path().c_str(), 0711);
    EXPECT_EQ(255, BytesForNobody(folder_.Path() + "/open"));
    ::chmod((folder_.Path() + "/open").c_str(), 0666);
    EXPECT_EQ(0, BytesForNobody(folder_.Path() + "/open"));
    EXPECT_THAT(Log(), HasSubstr("another user's program was refused on " + folder_.Path() + "/open"));
    EXPECT_THAT(Get(folder_.Path() + "/open", "/drivers"), StartsWith("HTTP/1.1 200 "));
}

TEST_F(LocalSocket, OneThatAKilledHostLeftBehindIsTakenOver) {
    StartHome();
    Kill();
    Start();
    EXPECT_THAT(Get(Path(), "/drivers"), StartsWith("HTTP/1.1 200 "));
}

TEST_F(LocalSocket, WhatIsNoSocketStaysAndTheHostDoesNotStart) {
    WriteHome(Driver(1, "agent", "intercom_agent"));
    test::WriteFile(folder_.Path() + "/file", "precious");
    std::vector<std::string> arguments = Arguments({"--socket", folder_.Path() + "/file"});
    EXPECT_EQ(1, Run(arguments));
    EXPECT_THAT(Log(), HasSubstr("there is something that is no socket; --socket takes another path"));
    EXPECT_EQ("precious", test::ReadFile(folder_.Path() + "/file"));
}

TEST_F(LocalSocket, APathThatIsTooLongIsRefused) {
    WriteHome(Driver(1, "agent", "intercom_agent"));
    EXPECT_EQ(1, Run(Arguments({"--socket", "/tmp/" + std::string(200, 'x')})));
    EXPECT_THAT(Log(), HasSubstr("it has more than 107 bytes; --socket takes another path"));
}

}  // namespace
}  // namespace driverhost
