// A household's day: an agent and panels in one host, used over HTTP only.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "tests/process/support/ProcessFixture.h"

namespace driverhost {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class HouseholdTest : public ProcessFixture {
protected:
    HouseholdTest() {
        WriteHome(Driver(1, "agent", "intercom_agent") + Panel(101, "frontdoor", "Door") +
                  Panel(102, "kitchen", "Kitchen") + Panel(103, "hall", "Hall"));
    }

    static std::string Panel(int id, const std::string& name, const std::string& intercomName) {
        return Driver(
            id, name, "panel",
            "<key>" + name + "</key><name>" + intercomName +
                "</name><simulateCalls>false</simulateCalls><camera>true</camera><display>true</display>"
                "<answerWithVideo>true</answerWithVideo>");
    }

    HttpAnswer Call(const std::string& command, const std::string& form) {
        return Ask("POST", "/drivers/agent/commands/" + command, form);
    }

    /// What the panel was told since the last look.
    std::string Operations(const std::string& panel) {
        const std::string operations = Command(panel, "getOperations");
        EXPECT_EQ(Command(panel, "clearOperations"), "<success/>");
        return operations;
    }
};

TEST_F(HouseholdTest, CallsReachThePanelsAndChangesOutliveAKilledHost) {
    Start();
    Command("agent", "setSipProxyIP", "address=10.0.0.2");
    Command("kitchen", "clearOperations");

    EXPECT_EQ(Call("SIP_REGULAR_CALL", "source=102&destination=101&video=1&ring=1").status, 204);
    EXPECT_EQ(Operations("kitchen"),
              "<operations><StartSipCall><audio>0</audio><video>0</video>"
              "<address>Door@10.0.0.2</address></StartSipCall></operations>");
    EXPECT_EQ(Call("SIP_MONITOR_CALL", "source=102&destination=103&video=0").status, 204);
    EXPECT_EQ(Operations("kitchen"),
              "<operations><StartSipMonitor><audio>0</audio><video>2</video>"
              "<address>Hall@10.0.0.2</address></StartSipMonitor></operations>");
    const std::string list = "%3Cids%3E%3Cid%3E101%3C/id%3E%3Cid%3E103%3C/id%3E%3C/ids%3E";
    EXPECT_EQ(Call("SIP_BROADCAST_CALL", "source=102&video=0&destinations=" + list).status, 204);
    EXPECT_EQ(
        Operations("kitchen"),
        "<operations><StartSipBroadcast><audio>1</audio><video>1</video><address>Door@10.0.0.2</address>"
        "<address>Hall@10.0.0.2</address></StartSipBroadcast></operations>");
    EXPECT_EQ(Call("SIP_EXTERNAL_CALL", "source=102&destination=aunt%40example.org&video=3").status, 204);
    EXPECT_EQ(Operations("kitchen"),
              "<operations><StartSipCall><audio>0</audio><video>2</video>"
              "<address>aunt@example.org</address></StartSipCall></operations>");

    const std::string group = Command("agent", "addGroup", "name=Ground+floor");
    EXPECT_EQ(group, "<group><groupId>1</groupId><name>Ground floor</name></group>");
    Kill();
    Start();
    EXPECT_EQ(Command("agent", "getGroup", "groupId=1"), group);
    EXPECT_THAT(Command("agent", "getDeviceList"), HasSubstr("<name>Hall</name>"));
}

TEST_F(HouseholdTest, WhatWasAnsweredIsStoredWheneverTheHostIsKilled) {
    constexpr int kClients = 4;
    std::vector<std::string> answered;
    for (int round = 0; round < 3; ++round) {
        Start();
        std::mutex mutex;
        std::vector<std::thread> clients;
        for (int client = 0; client < kClients; ++client) {
            clients.emplace_back([&, client] {
                try {
                    HttpConnection connection(port_);
                    for (int number = 0;; ++number) {
                        const std::string name = "g" + std::to_string(round) + "-" + std::to_string(client) +
                                                 "-" + std::to_string(number);
                        const HttpAnswer answer =
                            connection.Ask("POST", "/drivers/agent/commands/addGroup", "name=" + name);
                        const std::lock_guard lock(mutex);
                        if (answer.status == 200) answered.push_back(name);
                    }
                } catch (const std::runtime_error&) {
                    // the host was killed
                }
            });
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200 + 37 * round));
        const std::size_t some = 5 * (static_cast<std::size_t>(round) + 1);
        EXPECT_TRUE(test::Eventually([&] {  // on a busy machine that takes longer
            const std::lock_guard lock(mutex);
            return answered.size() >= some;
        }));
        Kill();
        for (std::thread& client : clients)
            client.join();
    }
    Start();
    const std::string groups = Command("agent", "getGroupList");
    for (const std::string& name : answered)
        EXPECT_THAT(groups, HasSubstr("<name>" + name + "</name>"));
}

TEST_F(HouseholdTest, EventsTellWhatHappens) {
    Start();
    HttpConnection reader(port_);
    reader.Send(RequestText("GET", "/events"));
    reader.ReadUntil("\r\n\r\n");
    Command("agent", "addGroup", "name=Garden");
    EXPECT_THAT(reader.ReadUntil("\n\n"), HasSubstr("\ndata: <GroupAdded><id>1</id></GroupAdded>\n\n"));
    EXPECT_EQ(Ask("POST", "/system-events/11", "name=OnItemRemoved&iditem=102").status, 204);
    EXPECT_THAT(reader.ReadUntil("\n\n"),
                HasSubstr("\ndata: <DeviceRemoved><id>102</id></DeviceRemoved>\n\n"));
}

TEST_F(HouseholdTest, EventIdsGrowFromOneProcessToTheNext) {
    const auto firstId = [this] {
        HttpConnection reader(port_);
        reader.Send(RequestText("GET", "/events", "", "Last-Event-ID: 0\r\n"));
        reader.ReadUntil("\r\n\r\nid: ");
        return std::stoull(reader.ReadUntil("\n"));
    };
    Start();
    const auto before = firstId();
    Kill();
    Start();
    EXPECT_GT(firstId(), before + 1000);
}

TEST_F(HouseholdTest, AnOrderlyEndStoresAllAndEndsTheAgentFirst) {
    Start();
    EXPECT_EQ(Command("agent", "setPopupTimeout", "timeout=45"), "<success/>");  // marks nothing
    Command("kitchen", "clearOperations");
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(SysmanRequests(), testing::EndsWith("disable sipproxy\n"));
    Start();
    EXPECT_EQ(Command("agent", "getPopupTimeout"), "<timeout>45</timeout>");
}

TEST_F(HouseholdTest, InterruptEndsInOrderToo) {
    Start();
    host_->Signal(SIGINT);
    EXPECT_EQ(host_->WaitForEnd(), 0);
}

TEST_F(HouseholdTest, ARestartedAgentFindsThePanelsAgain) {
    Start();
    const std::string devices = Command("agent", "getDeviceList");
    EXPECT_THAT(devices, HasSubstr("<id>103</id>"));
    EXPECT_EQ(Ask("POST", "/drivers/agent/restart").status, 204);
    EXPECT_EQ(Command("agent", "getDeviceList"), devices);
}

TEST_F(HouseholdTest, ABackupIsPutBack) {
    Start();
    Command("agent", "addGroup", "name=Kept");
    const std::string backup = Ask("GET", "/drivers/agent/state").body;
    Command("agent", "deleteGroup", "groupId=1");
    EXPECT_EQ(Ask("PUT", "/drivers/agent/state", backup).status, 204);
    EXPECT_THAT(Command("agent", "getGroup", "groupId=1"), HasSubstr("<name>Kept</name>"));
    EXPECT_EQ(Ask("PUT", "/drivers/agent/state", "<Other/>").status, 400);
    Kill();
    Start();
    EXPECT_EQ(Ask("GET", "/drivers/agent/state").body, backup);
}

TEST_F(HouseholdTest, ProgramsThatDriversStartInheritNoConnections) {
    Start();
    const HttpConnection open(port_);
    Command("agent", "applySIPProxyChanges");
    const std::string files = ReadFile("requests.files");
    EXPECT_THAT(files, HasSubstr("pipe:"));
    EXPECT_THAT(files, testing::Not(HasSubstr("socket:")));
}

}  // namespace
}  // namespace driverhost
