// Trouble while the host runs: drivers that throw, post and hold, disks that fail, states that
// are damaged.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "tests/process/support/ProcessFixture.h"

namespace driverhost {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class TroubleTest : public ProcessFixture {
protected:
    TroubleTest() {
        plugins_ = TEST_PLUGINS;
        WriteHome(Driver(1, "lamp", "probe"));
    }

    std::string StoredFile(int number) const {
        return StateFolder() + "/lamp/000000000" + std::to_string(number) + ".xml";
    }
};

TEST_F(TroubleTest, ADriverThatThrowsIsNamedAndTheHostGoesOn) {
    Start();
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/throw").status, 500);
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/throwNumber").status, 500);
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
    EXPECT_THAT(Log(), HasSubstr(" 3 lamp driver lamp threw in throw: on demand\n"));
    EXPECT_EQ(Stop(), 0);
}

TEST_F(TroubleTest, ARestartUnloadsTheLibraryAndKeepsTheState) {
    Start();
    Command("lamp", "set", "value=dim");
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
    EXPECT_EQ(Command("lamp", "count"), "<count>2</count>");
    EXPECT_EQ(Ask("POST", "/drivers/lamp/restart").status, 204);
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>dim</value>"));
}

TEST_F(TroubleTest, WorkFromADriversOwnThreadsArrives) {
    Start();
    HttpConnection reader(port_);
    reader.Send(RequestText("GET", "/events"));
    reader.ReadUntil("\r\n\r\n");
    for (const char* value : {"a", "b", "c"}) {
        Command("lamp", "post", std::string("value=") + value);
        EXPECT_THAT(reader.ReadUntil("\n\n"), HasSubstr("<Posted>" + std::string(value) + "</Posted>"));
    }
    Command("lamp", "wrongThread");
    EXPECT_THAT(reader.ReadUntil("\n\n"), HasSubstr("<Wrong>thread</Wrong>"));
    host_->WaitForLog("RegisterListener was called outside the driver thread");
    Command("lamp", "postLate");
    EXPECT_EQ(Stop(), 0);
}

TEST_F(TroubleTest, AFailingDiskIsAnsweredShownAndRecoveredFrom) {
    Start();
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/set", "value=1").status, 200);
    BlockState("lamp");
    const HttpAnswer refused = Ask("POST", "/drivers/lamp/commands/set", "value=2");
    EXPECT_EQ(refused.status, 503);
    EXPECT_THAT(refused.body, HasSubstr("done, but not stored: cannot write "));
    const HttpAnswer red = Ask("GET", "/health");
    EXPECT_EQ(red.status, 503);
    EXPECT_THAT(red.body, HasSubstr("<error>the state of driver lamp is not stored: cannot write "));
    EXPECT_THAT(Ask("GET", "/metrics").body,
                HasSubstr("driverhost_state_write_failures_total{driver=\"lamp\"} "));
    FreeState("lamp");
    host_->WaitForLog(" 6 lamp the state is stored again");
    EXPECT_EQ(Ask("GET", "/health").body, "<health>ok</health>");
    Kill();
    Start();
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>2</value>"));
}

TEST_F(TroubleTest, AStateThatIsLostAtTheEndShowsInTheExitStatus) {
    Start();
    Command("lamp", "setQuietly", "value=1");
    std::filesystem::remove_all(StateFolder() + "/lamp");
    folder_.Write("state/lamp", "in the way");
    EXPECT_EQ(Stop(), 1);
    EXPECT_THAT(Log(), HasSubstr("the last state of driver lamp is lost: "));
}

TEST_F(TroubleTest, ADamagedStateIsPutAsideAndTheOneBeforeItUsed) {
    Start();
    Command("lamp", "set", "value=1");
    Command("lamp", "set", "value=2");
    Kill();
    std::filesystem::resize_file(StoredFile(2), 20);
    Start();
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>1</value>"));
    EXPECT_THAT(Log(), HasSubstr(" 3 lamp the stored document " + StoredFile(2) + " is damaged"));
    EXPECT_TRUE(std::filesystem::exists(StoredFile(2) + ".damaged"));
    const HttpAnswer health = Ask("GET", "/health");
    EXPECT_EQ(health.status, 200);
    EXPECT_THAT(health.body, HasSubstr("<health>ok<warning>driver lamp: the stored document " +
                                       StoredFile(2) + " is damaged ("));
    EXPECT_EQ(Ask("GET", "/drivers/lamp/state/generations/2").status, 500);
    const std::string backup = Ask("GET", "/drivers/lamp/state/generations/1").body;
    EXPECT_EQ(Ask("PUT", "/drivers/lamp/state", backup).status, 204);
    EXPECT_EQ(Ask("GET", "/health").body, "<health>ok</health>");
}

TEST_F(TroubleTest, AStateThatEndsTheProcessIsNotWhatTheNextOneBeginsWith) {
    Start();
    Command("lamp", "set", "value=good");
    EXPECT_EQ(Ask("PUT", "/drivers/lamp/state", "<ProbeState><value>poison</value></ProbeState>").status,
              500);
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>good</value>"));
    EXPECT_THROW(Ask("PUT", "/drivers/lamp/state", "<ProbeState><value>fatal</value></ProbeState>"),
                 std::runtime_error);
    EXPECT_EQ(host_->WaitForEnd(), 99);
    Start();
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>good</value>"));
}

TEST_F(TroubleTest, AHeldThreadIsAnsweredForByTheWatchdog) {
    Start({"--held-time", "300"});
    const std::string letGo = folder_.Path() + "/let-go";
    std::thread held([&] {
        EXPECT_EQ(AskUntil(200, "POST", "/drivers/lamp/commands/holdUntil", "path=" + letGo).status, 200);
    });
    host_->WaitForLog(" 3 host driver lamp has held the driver thread in holdUntil for ");
    const HttpAnswer answer = AskUntil(503, "GET", "/drivers");
    EXPECT_EQ(answer.status, 503);
    EXPECT_THAT(answer.body, HasSubstr("driver lamp has held the driver thread in holdUntil for "));
    folder_.Write("let-go", "");
    held.join();
    EXPECT_EQ(AskUntil(200, "GET", "/drivers").status, 200);
    EXPECT_EQ(Stop(), 0);
}

TEST_F(TroubleTest, ASignalWhileManyTalkEndsInOrder) {
    Start();
    std::vector<std::thread> clients;
    for (int client = 0; client < 4; ++client) {
        clients.emplace_back([this] {
            try {
                HttpConnection connection(port_);
                for (int number = 0;; ++number)
                    connection.Ask("POST", "/drivers/lamp/commands/set", "value=" + std::to_string(number));
            } catch (const std::runtime_error&) {
                // the host has ended
            }
        });
    }
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(Stop(), 0);
    for (std::thread& client : clients)
        client.join();
}

}  // namespace
}  // namespace driverhost
