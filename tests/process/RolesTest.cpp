// Roles on the real host with the real agent and tablets: the table of rights is gone through row by row, for
// every role, and what it does not name is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "driverhost/http/rights/Rights.h"
#include "tests/process/support/ProcessFixture.h"

namespace driverhost {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string kCommand = "POST /drivers/*/commands/*";
const std::string kAgent = "/drivers/agent/commands/";
const std::string kOrigin = "Origin: http://localhost\r\n";

// A row of the first table: its cells, without the marks of Markdown.
struct Row {
    std::string request, driver, command, household, tablet, stranger;
};

std::vector<std::string> CellsOf(const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream text(line.substr(1));
    for (std::string cell; std::getline(text, cell, '|');) {
        std::erase(cell, '`');
        const std::size_t begin = cell.find_first_not_of(' ');
        cells.push_back(
            begin == std::string::npos ? "" : cell.substr(begin, cell.find_last_not_of(' ') + 1 - begin));
    }
    return cells;
}

// The rows with so many cells, without the head.
std::vector<std::vector<std::string>> RowsOf(std::size_t count) {
    std::vector<std::vector<std::string>> rows;
    std::istringstream text(RightsText());
    for (std::string line; std::getline(text, line);)
        if (const auto cells = line.empty() ? std::vector<std::string>() : CellsOf(line);
            cells.size() == count)
            rows.push_back(cells);
    rows.erase(rows.begin(), rows.begin() + 2);
    return rows;
}

std::vector<Row> Requests() {
    std::vector<Row> rows;
    for (const auto& cells : RowsOf(6))
        rows.push_back({cells[0], cells[1], cells[2], cells[3], cells[4], cells[5]});
    return rows;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    if (const std::size_t at = text.find(from); at != std::string::npos) text.replace(at, from.size(), to);
    return text;
}

class RolesTest : public ProcessFixture {
protected:
    RolesTest() {
        const std::string buttons = "<buttons><button><id>1</id><name>Gate</name></button></buttons>";
        WriteHome(Driver(1, "agent", "intercom_agent") +
                  Driver(101, "hall", "panel", "<key>hall</key><name>Hall</name>" + buttons) +
                  Driver(104, "door", "phone",
                         "<key>door</key><password>pw</password><callControl>/nowhere</callControl>"
                         "<buttons><button><name>Open</name><info>9</info></button></buttons>") +
                  Driver(301, "kitchen", "tablet", "<key>kitchen</key><callControl>/nowhere</callControl>") +
                  Driver(302, "study", "tablet", "<key>study</key><callControl>/nowhere</callControl>"));
        WriteTokens("admin master\nhousehold family\ntablet kitchen cook\ntablet study read\n");
    }

    void WriteTokens(const std::string& text) const {
        const std::string next = folder_.Write("next", text);
        chmod(next.c_str(), 0600);
        std::filesystem::rename(next, tokens_);
    }

    void StartHome(std::vector<std::string> more = {}) {
        more.insert(more.end(), {"--token-file", tokens_});
        Start(more);
    }

    static std::string Bearer(const std::string& token) {
        return token.empty() ? "" : "Authorization: Bearer " + token + "\r\n";
    }

    /// The status alone, so that streams are answered, too.
    int StatusFor(const std::string& token, const std::string& method, const std::string& target,
                  const std::string& form = "") const {
        HttpConnection connection(port_);
        connection.Send(RequestText(method, target, form, Bearer(token)));
        return std::stoi(connection.ReadUntil("\r\n\r\n").substr(9, 3));
    }

    bool IsGranted(const std::string& token, const std::string& method, const std::string& target,
                   const std::string& form = "") const {
        const int status = StatusFor(token, method, target, form);
        EXPECT_NE(status, token.empty() ? 403 : 401) << target;
        return status != 401 && status != 403;
    }

    /// Asks as the table's cell says that it is granted or refused.
    void Check(const Row& row, const std::string& cell, const std::string& token,
               const std::string& own) const {
        const std::size_t space = row.request.find(' ');
        const std::string method = row.request.substr(0, space);
        const std::string driver = row.driver == "the agent"          ? "agent"
                                   : row.driver == "the tablet's own" ? own
                                                                      : "hall";
        const std::string command = row.command.empty()    ? "1"
                                    : row.command == "any" ? "tabletHello"
                                                           : row.command;
        const std::string target =
            Replaced(Replaced(row.request.substr(space + 1), "/*", "/" + driver), "/*", "/" + command);
        if (!cell.starts_with("if ")) {
            EXPECT_EQ(IsGranted(token, method, target), cell == "yes")
                << token << " " << row.request << " " << target;
            return;
        }
        const std::string parameter = cell.substr(3, cell.find(' ', 3) - 3);
        const std::string id = own == "kitchen" ? "301" : "302";
        const std::string other = own == "kitchen" ? "302" : "301";
        EXPECT_TRUE(IsGranted(token, method, target, parameter + "=" + id)) << target;
        for (const std::string& form : {std::string("x=1"), parameter + "=" + other, parameter + "=101",
                                        parameter + "=" + id + "&" + parameter + "=" + other})
            EXPECT_FALSE(IsGranted(token, method, target, form)) << target << " " << form;
    }

    std::string AsAdmin(const std::string& target, const std::string& form = "",
                        const std::string& method = "POST") {
        return Ask(method, target, form, Bearer("master")).body;
    }

    /// The cookie line of a new session.
    std::string SignIn(const std::string& token) {
        const HttpAnswer answer = Ask("POST", "/session", "token=" + token, kOrigin);
        EXPECT_EQ(answer.status, 200) << answer.body;
        const std::string line = answer.headers.at("set-cookie");
        return "Cookie: " + line.substr(0, line.find(';')) + "\r\n";
    }

    std::unique_ptr<HttpConnection> Follow(const std::string& target, const std::string& headers) const {
        auto reader = std::make_unique<HttpConnection>(port_);
        reader->Send(RequestText("GET", target, "", headers));
        EXPECT_THAT(reader->ReadUntil("\r\n\r\n"), StartsWith("HTTP/1.1 200 "));
        return reader;
    }

    void ReadTokensAgain(const std::string& text, const std::string& logged) {
        WriteTokens(text);
        host_->Signal(SIGHUP);
        host_->WaitForLog(logged);
    }

    /// Everything of which the agent tells user interfaces; the last is DeviceOrderChanged.
    void DoAll() {
        for (const char* command :
             {"addGroup?name=G", "copyGroup?groupId=1&name=H", "setGroupState?groupId=1&name=I&xml=<i/>",
              "deleteGroup?groupId=1", "addContact?contactId=5&displayName=C",
              "editContact?contactId=5&displayName=D", "deleteContact?contactId=5",
              "setPopupTimeout?timeout=9", "getIsExternal", "editService?name=P&host=h",
              "removeService?name=P", "addConfig?key=c", "addRoute?key=r", "addAcl?key=a",
              "eraseConfig?key=c", "eraseRoute?key=r", "eraseAcl?key=a",
              "addUser?key=u&user=phone&domain=secret.example&realm=r"}) {
            const std::string text = command;
            const std::size_t mark = std::min(text.find('?'), text.size());
            AsAdmin(kAgent + text.substr(0, mark), text.substr(std::min(mark + 1, text.size())));
        }
        for (int property = 0; property < 9; ++property) {
            const std::string number = std::to_string(property);
            AsAdmin("/drivers/hall/commands/notifyChanged", "property=" + number + "&id=99999");
        }
        AsAdmin(kAgent + "CUSTOM_BUTTON", "idDevice=104&button=Open");
        AsAdmin(kAgent + "eraseUser", "key=u");
        AsAdmin("/drivers/hall/commands/reportCall", "displayName=X");
        AsAdmin(kAgent + "deleteRecentContact", "id=0");
        AsAdmin(kAgent + "clearRecentContactList");
        AsAdmin(kAgent + "setDeviceOrder", "xml=<i><i>301</i><i>302</i><i>101</i></i>");
    }

    const std::string tokens_ = folder_.Path() + "/tokens";
};

// The names of the notifications, each once.
std::set<std::string> NamesIn(const std::string& stream) {
    std::set<std::string> names;
    const std::string mark = "\ndata: <";
    for (std::size_t at = stream.find("id: "); at != std::string::npos; at = stream.find("id: ", at + 1)) {
        const std::size_t begin = stream.find(mark, at) + mark.size();
        names.insert(stream.substr(begin, stream.find_first_of(" />", begin) - begin));
    }
    return names;
}

TEST_F(RolesTest, EveryRowOfTheTableHoldsForEveryRole) {
    StartHome();
    const auto rows = Requests();
    EXPECT_GT(rows.size(), 40U);
    for (const Row& row : rows) {
        if (row.request == "GET /sip/accounts") continue;  // not on the network
        // What others are granted of the same command stands in a row of its own.
        const bool isRest = row.command == "any other" || row.request == "GET /tablets/*/events";
        if (isRest && row.tablet.empty()) continue;
        Check(row, row.household, "family", "kitchen");
        Check(row, row.tablet, "cook", "kitchen");
        Check(row, row.tablet, "read", "study");
        Check(row, row.stranger, "", "kitchen");
    }
}

TEST_F(RolesTest, WhatIsTheAdminsIsRefusedToAllOthers) {
    StartHome();
    for (const char* request :
         {"POST /drivers/hall/commands/getOperations", "POST /drivers/hall/commands/tabletHello",
          "POST /drivers/study/commands/tabletHello", "GET /tablets/study/events", "GET /tablets/hall/events",
          "GET /drivers", "GET /drivers/agent/commands", "GET /drivers/kitchen/commands",
          "GET /drivers/agent/state", "PUT /drivers/agent/state", "GET /drivers/agent/state/generations",
          "GET /drivers/agent/state/generations/1", "POST /drivers/kitchen/restart", "POST /system-events/11",
          "GET /health", "GET /metrics"}) {
        const std::string text = request;
        const std::string method = text.substr(0, text.find(' '));
        const std::string target = text.substr(text.find(' ') + 1);
        EXPECT_EQ(StatusFor("family", method, target), 403) << request;
        EXPECT_EQ(StatusFor("cook", method, target), 403) << request;
        EXPECT_EQ(StatusFor("", method, target), 401) << request;
        EXPECT_NE(StatusFor("master", method, target), 403) << request;
    }
    for (const char* token : {"master", "family", "cook", ""})
        EXPECT_EQ(StatusFor(token, "GET", "/sip/accounts"), 404) << "not on the network";
}

TEST_F(RolesTest, TheTabletOfAHouseholdsSessionIsTheTabletsOnly) {
    StartHome();
    EXPECT_EQ(StatusFor("family", "GET", "/tablets/kitchen/events"), 403);
    EXPECT_EQ(StatusFor("family", "POST", "/drivers/kitchen/commands/tabletHello"), 403);
    EXPECT_EQ(StatusFor("cook", "GET", "/events"), 403);
}

// The list comes from the agent itself, so a command that is added later is refused until it has a row.
TEST_F(RolesTest, EveryCommandOfTheAgentThatIsNotInTheTableIsRefused) {
    StartHome();
    std::set<std::string> named;
    for (const Row& row : Requests())
        if (row.driver == "the agent") named.insert(row.command);
    std::set<std::string> known;
    const std::string list = AsAdmin("/drivers/agent/commands", "", "GET");
    for (std::size_t at = list.find("<name>"); at != std::string::npos; at = list.find("<name>", at + 1))
        known.insert(list.substr(at + 6, list.find('<', at + 6) - at - 6));
    EXPECT_GT(known.size(), 40U);
    EXPECT_TRUE(std::ranges::includes(known, named)) << "the table names commands that there are";
    for (const std::string& command : known) {
        if (named.contains(command)) continue;
        for (const char* token : {"family", "cook", "read"})
            EXPECT_EQ(StatusFor(token, "POST", kAgent + command, "source=301&idDevice=301"), 403) << command;
        EXPECT_EQ(StatusFor("", "POST", kAgent + command), 401) << command;
    }
}

TEST_F(RolesTest, EveryNotificationGoesToTheRolesOfItsRow) {
    StartHome();
    const auto admin = Follow("/events", Bearer("master"));
    const auto household = Follow("/events", Bearer("family"));
    const auto tablet = Follow("/tablets/kitchen/events", Bearer("cook"));
    DoAll();
    const std::string last = "<DeviceOrderChanged/>\n\n";
    const std::string all = admin->ReadUntil(last);
    const std::string home = household->ReadUntil(last);
    const std::string own = tablet->ReadUntil(last);
    std::set<std::string> expectedHome;
    std::set<std::string> expectedOwn;
    for (const auto& cells : RowsOf(3)) {
        if (cells[0] == "any other") continue;
        EXPECT_TRUE(NamesIn(all).contains(cells[0]))
            << cells[0] << " was not caused, so nothing is shown of it";
        if (cells[1] == "yes") expectedHome.insert(cells[0]);
        if (cells[2] == "yes") expectedOwn.insert(cells[0]);
    }
    EXPECT_EQ(NamesIn(home), expectedHome);
    EXPECT_EQ(NamesIn(own), expectedOwn);
    EXPECT_THAT(NamesIn(all), testing::IsSupersetOf({"ServiceChanged", "addAcl", "addConfig", "eraseRoute"}));
    EXPECT_THAT(all, HasSubstr("<domain>secret.example</domain>"));
    for (const std::string& text : {home, own})
        EXPECT_THAT(text, AllOf(HasSubstr("<user>phone</user>"), Not(HasSubstr("secret.example"))));
}

TEST_F(RolesTest, AResumedStreamTellsNoMoreThanALiveOne) {
    StartHome();
    AsAdmin(kAgent + "addConfig", "key=hidden");
    AsAdmin(kAgent + "addGroup", "name=G");
    const auto reader = Follow("/events", Bearer("family") + "Last-Event-ID: 0\r\n");
    const std::string told = reader->ReadUntil("<GroupAdded><id>1</id></GroupAdded>\n\n");
    EXPECT_THAT(told, Not(HasSubstr("hidden")));
}

TEST_F(RolesTest, RepliesTellNoAccountsToTheHome) {
    StartHome();
    for (const char* key : {"one", "two"})
        AsAdmin(kAgent + "addUser", "key=" + std::string(key) + "&user=phone&domain=d&realm=r&email=e");
    const auto listFor = [this](const std::string& token) {
        return Ask("POST", kAgent + "getDeviceList", "", Bearer(token)).body;
    };
    EXPECT_THAT(listFor("master"), HasSubstr("<domain>d</domain><realm>r</realm><email>e</email>"));
    for (const char* token : {"family", "cook"})
        EXPECT_THAT(listFor(token),
                    AllOf(HasSubstr("<key>two</key>"), HasSubstr("<user>phone</user>"),
                          Not(HasSubstr("<domain>")), Not(HasSubstr("<realm>")), Not(HasSubstr("<email>"))));
}

TEST_F(RolesTest, ATabletDoesAllThatItsPageDoes) {
    StartHome();
    const std::string cookie = SignIn("cook") + kOrigin;
    const auto page = Follow("/tablets/kitchen/events", cookie);
    const std::string opened = page->ReadUntil("/>\n\n");
    const std::string reader = opened.substr(opened.find('"') + 1, opened.rfind('"') - opened.find('"') - 1);
    const auto say = [&](const std::string& target, const std::string& form) {
        return Ask("POST", target, form, cookie);
    };
    EXPECT_EQ(say("/drivers/kitchen/commands/tabletHello", "version=1&reader=" + reader).body, "<success/>");
    EXPECT_THAT(page->ReadUntil("</welcome>"), HasSubstr("device=\"301\""));
    EXPECT_EQ(say(kAgent + "setDeviceState", "idDevice=301&dnd=true").body, "<success/>");
    EXPECT_THAT(page->ReadUntil("</DeviceDnDChanged>"), HasSubstr("<id>301</id><dnd>true</dnd>"));
    EXPECT_THAT(say(kAgent + "getCustomButtons", "idDevice=101").body, HasSubstr("Gate"));
    EXPECT_EQ(say(kAgent + "CUSTOM_BUTTON", "idDevice=101&button=1").status, 204) << "it opens the door";
    EXPECT_EQ(say(kAgent + "SIP_REGULAR_CALL", "source=301&destination=101&video=3&ring=1").status, 204);
    for (const char* command : {"getDeviceList", "getGroupList", "getContactList", "getRecentContactList",
                                "getIsExternal", "clearRecentContactList"})
        EXPECT_EQ(say(kAgent + command, "").status, 200) << command;
}

TEST_F(RolesTest, SessionsAreThereAfterAKillAndTheirFileIsTheOwnersAlone) {
    StartHome();
    const std::string cookie = SignIn("cook");
    Kill();
    StartHome();
    EXPECT_EQ(Ask("GET", "/session", "", cookie).body,
              "<session role=\"tablet\"><tablet name=\"kitchen\"/></session>");
    for (const auto& file : std::filesystem::directory_iterator(StateFolder() + "/.sessions")) {
        struct stat found {};
        ASSERT_EQ(stat(file.path().c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 0777U, 0600U) << file.path();
    }
}

TEST_F(RolesTest, ATokenThatIsTakenOutEndsItsSessionsAndTheirStreams) {
    StartHome();
    const std::string cookie = SignIn("cook");
    const auto bySession = Follow("/tablets/kitchen/events", cookie);
    const auto byToken = Follow("/tablets/kitchen/events", Bearer("cook"));
    const auto other = Follow("/tablets/study/events", Bearer("read"));
    ReadTokensAgain("admin master\ntablet study read\ntablet kitchen new\n",
                    "the token file was read again: 3 tokens");
    bySession->ReadToEnd();
    byToken->ReadToEnd();
    EXPECT_EQ(Ask("GET", "/session", "", cookie).status, 401);
    EXPECT_EQ(StatusFor("cook", "GET", "/session"), 401);
    EXPECT_EQ(StatusFor("new", "GET", "/session"), 200);
    AsAdmin(kAgent + "addGroup", "name=G");
    EXPECT_THAT(other->ReadUntil("</GroupAdded>"), HasSubstr("<GroupAdded>")) << "goes on";
}

TEST_F(RolesTest, WhoSignsOutReadsNoMore) {
    StartHome();
    const std::string cookie = SignIn("family");
    const auto reader = Follow("/events", cookie);
    EXPECT_EQ(Ask("DELETE", "/session", "", cookie + kOrigin).status, 204);
    reader->ReadToEnd();
}

TEST_F(RolesTest, AFaultyTokenFileChangesNothing) {
    StartHome();
    ReadTokensAgain("admin other\nhousehold\n", "line 2: expected TOKEN, admin TOKEN");
    EXPECT_THAT(Log(), HasSubstr("; the former tokens stay in use"));
    EXPECT_EQ(StatusFor("master", "GET", "/drivers"), 200);
    EXPECT_EQ(StatusFor("other", "GET", "/drivers"), 401);
    Kill();
    EXPECT_EQ(Run(Arguments({"--token-file", tokens_})), 2);
    EXPECT_THAT(Log(), Not(HasSubstr("other")));
}

TEST_F(RolesTest, ATokenForATabletThatIsNotInTheHomeIsReported) {
    WriteTokens("admin master\n# the attic\ntablet attic secret\n");
    StartHome();
    EXPECT_THAT(Log(), HasSubstr("line 3: the home file has no driver \"attic\""));
    EXPECT_THAT(Log(), Not(HasSubstr("secret")));
}

TEST_F(RolesTest, PagesAreForEverybodyAndLeadNowhereElse) {
    std::filesystem::create_directories(folder_.Path() + "/web/tablet");
    folder_.Write("web/index.html", "the start");
    folder_.Write("web/tablet/index.html", "the tablet");
    StartHome({"--web-dir", folder_.Path() + "/web"});
    EXPECT_EQ(Ask("GET", "/").body, "the start");
    for (const char* path : {"/tablet/kitchen", "/tablet/..%2Fdrivers"})
        EXPECT_EQ(Ask("GET", path).body, "the tablet") << "whatever its name";
    for (const char* path :
         {"/tablet/../drivers", "/%2e%2e/drivers", "//drivers", "/./drivers", "/drivers/", "/DRIVERS",
          "/session/", "/session/../drivers", "/session%2F..%2Fdrivers", "/tablets/kitchen/../../events",
          "/drivers/agent/state/", "/drivers%2Fagent%2Fstate", "/tablet/kitchen/../../drivers"})
        EXPECT_THAT(StatusFor("", "GET", path), testing::AnyOf(400, 401, 404)) << path;
    for (const char* path :
         {"/drivers/agent/commands/../../hall/restart", "/drivers/kitchen/commands/../restart",
          "/drivers/kitchen%2F..%2Fagent/commands/addUser", "/session/../drivers/hall/restart"})
        EXPECT_THAT(StatusFor("cook", "POST", path), testing::AnyOf(400, 403, 404)) << path;
}

TEST_F(RolesTest, AnswersDoNothingAsPagesOrInFrames) {
    StartHome();
    for (const char* token : {"", "cook", "master"}) {
        const auto headers = Ask("GET", "/session", "", Bearer(token)).headers;
        EXPECT_EQ(headers.at("content-security-policy"), "default-src 'none'; frame-ancestors 'none'");
        EXPECT_EQ(headers.at("x-content-type-options"), "nosniff");
        EXPECT_EQ(headers.at("cache-control"), "no-store");
    }
}

TEST_F(RolesTest, ForeignHostsAndOriginsReachNoSession) {
    StartHome();
    const auto statusFor = [this](const std::string& lines) {
        HttpConnection connection(port_);
        const std::string form = "token=cook";
        connection.Send("POST /session HTTP/1.1\r\n" + lines +
                        "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: 10\r\n\r\n" +
                        form);
        return connection.ReadAnswer().status;
    };
    EXPECT_EQ(statusFor("Host: localhost\r\nOrigin: http://localhost\r\n"), 200);
    EXPECT_EQ(statusFor("Host: evil.example\r\nOrigin: http://evil.example\r\n"), 403) << "a name of its own";
    EXPECT_EQ(statusFor("Host: localhost\r\nOrigin: http://evil.example\r\n"), 403);
    EXPECT_EQ(statusFor("Host: localhost\r\nOrigin: null\r\n"), 403);
    EXPECT_EQ(statusFor("Host: localhost\r\nHost: evil.example\r\n"), 400);
}

TEST_F(RolesTest, NoTokenStandsInTheLog) {
    StartHome({"--log-level", "7"});
    SignIn("cook");
    for (int guess = 0; guess < 12; ++guess)
        Ask("POST", "/session", "token=guesswork", kOrigin);
    EXPECT_THAT(Log(), HasSubstr("too many wrong tokens from 127.0.0.1"));
    for (const char* secret : {"cook", "guesswork", "master", "family"})
        EXPECT_THAT(Log(), Not(HasSubstr(secret)));
}

}  // namespace
}  // namespace driverhost
