// Passwords and the token are told to whoever may ask for them, and nowhere else: not in the log at
// its highest level, not in errors, metrics or health.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/process/support/ProcessFixture.h"

namespace driverhost {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string kPassword = "hush4711";
const std::string kToken = "token0815";

class SecretsTest : public ProcessFixture {
protected:
    SecretsTest() {
        WriteHome(Driver(1, "agent", "intercom_agent") +
                  Driver(101, "door", "panel", "<key>door</key><name>Door</name>"));
        token_ = folder_.Write("token", kToken + "\n");
        chmod(token_.c_str(), 0600);
    }

    void StartLoud(const std::vector<std::string>& more = {}) {
        std::vector<std::string> options = {"--log-level", "7", "--token-file", token_};
        options.insert(options.end(), more.begin(), more.end());
        Start(options);
    }

    HttpAnswer AskWith(const std::string& method, const std::string& target, const std::string& body = "",
                       const std::string& token = kToken) {
        HttpAnswer answer = Ask(method, target, body, "Authorization: Bearer " + token + "\r\n");
        said_ += answer.body + "\n";
        return answer;
    }

    int Run(const std::string& command, const std::string& form) {
        return AskWith("POST", "/drivers/agent/commands/" + command, form).status;
    }

    /// Looks at everything that was said since the start.
    void ExpectHushed() {
        AskWith("GET", "/metrics");
        AskWith("GET", "/health");
        AskWith("GET", "/drivers");
        for (const std::string& secret : {kPassword, kToken}) {
            EXPECT_THAT(said_, Not(HasSubstr(secret)));
            EXPECT_THAT(Log(), Not(HasSubstr(secret)));
        }
    }

    std::string NewestState() const {
        std::string newest;
        for (const auto& file : std::filesystem::directory_iterator(StateFolder() + "/agent"))
            newest = std::max(newest, file.path().string());
        return newest;
    }

    std::string token_;
    std::string said_;  // answers that must hold no secret
};

TEST_F(SecretsTest, CommandsThatTakeAPasswordKeepIt) {
    StartLoud();
    EXPECT_EQ(Run("addUser", "key=phone&user=u&domain=d&realm=r&name=n&password=" + kPassword), 200);
    EXPECT_EQ(Run("getUser", "key=phone"), 200);
    EXPECT_EQ(Run("eraseUser", "key=phone"), 200);
    EXPECT_EQ(Run("editService", "name=Provider&host=h&username=u&password=" + kPassword), 200);
    EXPECT_EQ(Run("removeService", "name=Provider"), 200);
    ExpectHushed();
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(Log(), Not(HasSubstr(kPassword)));
}

TEST_F(SecretsTest, WhatFailsTellsNoPassword) {
    StartLoud({"--body-bytes", "2000", "--form-fields", "20"});
    const std::string secret = "password=" + kPassword;
    EXPECT_EQ(Run("addUsr", "key=phone&" + secret), 404);
    EXPECT_EQ(Run("editService", secret), 200);
    EXPECT_EQ(Run("eraseUser", "key=none&" + secret), 200);
    EXPECT_EQ(Run("addUser", secret + "&key=%"), 400);
    EXPECT_EQ(Run("addUser", secret + "%FF"), 400);
    EXPECT_EQ(Run("addUser", secret + std::string(3000, 'x')), 413);
    std::string many = secret;
    for (int field = 0; field < 30; ++field)
        many += "&a=b";
    EXPECT_EQ(Run("addUser", many), 413);
    EXPECT_EQ(AskWith("POST", "/drivers/agent/commands/addUser?" + secret).status, 400);
    EXPECT_EQ(AskWith("POST", "/drivers/nobody/commands/addUser", secret).status, 404);
    EXPECT_EQ(AskWith("GET", "/drivers/agent/commands/addUser", secret).status, 405);
    for (const char* command : {"setDeviceOrder", "addContact", "editContact", "SIP_BROADCAST_CALL"})
        for (const char* parameter : {"xml", "phoneType", "destinations"})
            EXPECT_THAT(Run(command, "source=101&contactId=1&displayName=n&" + std::string(parameter) +
                                         "=<password>" + kPassword + "</pass"),
                        testing::AnyOf(200, 204));
    ExpectHushed();
}

TEST_F(SecretsTest, StatesThatAreRefusedOrDamagedTellNoPassword) {
    StartLoud();
    EXPECT_EQ(
        Ask("POST", "/drivers/agent/commands/editService", "name=P&host=h&username=u&password=" + kPassword,
            "Authorization: Bearer " + kToken + "\r\n")
            .status,
        200);
    EXPECT_EQ(
        AskWith("PUT", "/drivers/agent/state", "<IntercomAgent><password>" + kPassword + "</IntercomAgent>")
            .status,
        400);
    EXPECT_EQ(AskWith("PUT", "/drivers/agent/state", "<Other><password>" + kPassword + "</password></Other>")
                  .status,
              400);
    EXPECT_EQ(AskWith("POST", "/drivers/agent/restart").status, 204);
    Kill();
    EXPECT_THAT(Log(), Not(HasSubstr(kPassword)));
    const std::string newest = NewestState();
    EXPECT_THAT(test::ReadFile(newest), HasSubstr(kPassword)) << "the test would show nothing";
    std::filesystem::resize_file(newest, std::filesystem::file_size(newest) - 5);
    StartLoud();
    EXPECT_THAT(Log(), HasSubstr("is damaged"));
    ExpectHushed();
    EXPECT_EQ(Stop(), 0);
}

TEST_F(SecretsTest, DisksThatFailTellNoPassword) {
    StartLoud();
    BlockState("agent");
    EXPECT_EQ(Run("editService", "name=P&host=h&username=u&password=" + kPassword), 503);
    ExpectHushed();
}

TEST_F(SecretsTest, TheTokenIsToldToNobody) {
    StartLoud();
    for (const std::string& wrong : {std::string(), kToken.substr(1), kToken + "x", kPassword})
        EXPECT_EQ(AskWith("GET", "/drivers", "", wrong).status, 401);
    EXPECT_EQ(AskWith("GET", "/drivers").status, 200);
    EXPECT_THAT(ReadFile("log1"), Not(HasSubstr(kToken)));
    const std::string line = test::ReadFile("/proc/" + std::to_string(host_->Id()) + "/cmdline");
    EXPECT_THAT(line, Not(HasSubstr(kToken)));
    ExpectHushed();
}

}  // namespace
}  // namespace driverhost
