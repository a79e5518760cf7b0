// The program as users and scripts see it: its arguments, its outputs, its exit status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/client/TinyServer.h"
#include "tests/support/process/RunProgram.h"
#include "tests/support/process/TempFolder.h"

using test::TinyServer;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr char kNoContent[] = "HTTP/1.1 204 No Content\r\n\r\n";
constexpr char kStream[] = "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n";

test::ProgramResult Ctl(const std::string& url, std::vector<std::string> words) {
    words.insert(words.begin(), INTERCOMCTL_PROGRAM);
    return test::RunProgram(words, {{"INTERCOMCTL_URL", url}});
}

test::ProgramResult Ctl(const TinyServer& server, const std::vector<std::string>& words) {
    return Ctl(server.Url(), words);
}

}  // namespace

TEST(Intercomctl, SendsACommandAndPrintsTheReplyIndented) {
    const TinyServer server({TinyServer::Xml(200, "<group><groupId>1</groupId></group>")});
    const test::ProgramResult result = Ctl(server, {"addGroup", "name=Up & down", "x="});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("<group>\n  <groupId>1</groupId>\n</group>\n", result.output);
    EXPECT_EQ("", result.errors);
    EXPECT_THAT(server.Requests(),
                ElementsAre(AllOf(StartsWith("POST /drivers/agent/commands/addGroup HTTP/1.1\r\n"),
                                  HasSubstr("Content-Type: application/x-www-form-urlencoded\r\n"),
                                  HasSubstr("Host: " + server.Url().substr(7) + "\r\n"),
                                  HasSubstr("\r\n\r\nname=Up%20%26%20down&x="))));
}

TEST(Intercomctl, AddressesAnotherDriverByAnyName) {
    const TinyServer server({TinyServer::Xml(200, "<success/>")});
    EXPECT_EQ(0, Ctl(server, {"--driver", "my panel/2", "do it"}).status);
    EXPECT_THAT(server.Requests(),
                ElementsAre(StartsWith("POST /drivers/my%20panel%2F2/commands/do%20it HTTP/1.1")));
}

TEST(Intercomctl, RawPrintsTheBytesAsTheyCame) {
    const TinyServer server({TinyServer::Xml(200, "<a><b>1</b>\r\n</a>"), TinyServer::Xml(200, "<fail/>")});
    EXPECT_EQ("<a><b>1</b>\r\n</a>", Ctl(server, {"--raw", "x"}).output);
    const test::ProgramResult failed = Ctl(server, {"x", "--raw"});
    EXPECT_EQ(1, failed.status);
    EXPECT_EQ("<fail/>", failed.output);
}

TEST(Intercomctl, AnAnswerWithoutAnElementPrintsNothing) {
    const TinyServer server({kNoContent});
    const test::ProgramResult result = Ctl(server, {"SIP_REGULAR_CALL", "source=1"});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.output + result.errors);
}

TEST(Intercomctl, FailAndFailedAreStatus1AndPrinted) {
    const TinyServer server({TinyServer::Xml(200, "<fail>Key does not exist</fail>"),
                             TinyServer::Xml(200, "<failed/>"), TinyServer::Xml(200, "<failure/>")});
    const test::ProgramResult fail = Ctl(server, {"getRoute"});
    EXPECT_EQ(1, fail.status);
    EXPECT_EQ("<fail>Key does not exist</fail>\n", fail.output);
    EXPECT_EQ(1, Ctl(server, {"removeService"}).status);
    EXPECT_EQ(0, Ctl(server, {"other"}).status);
}

TEST(Intercomctl, ARefusalIsStatus3WithTheHostsWords) {
    const TinyServer server(
        {TinyServer::Xml(404, "<error>no driver 'x'</error>"), "HTTP/1.1 503 Y\r\n\r\nbusy"});
    const test::ProgramResult refused = Ctl(server, {"getX"});
    EXPECT_EQ(3, refused.status);
    EXPECT_EQ("", refused.output);
    EXPECT_EQ("intercomctl: no driver 'x' (HTTP 404)\n", refused.errors);
    EXPECT_EQ("intercomctl: the host refused (HTTP 503)\n", Ctl(server, {"getX"}).errors);
}

TEST(Intercomctl, AHostThatIsNotThereIsStatus3WithAHint) {
    std::string url;
    {
        const TinyServer ended({});
        url = ended.Url();
    }
    for (const char* const command : {"getDeviceList", "events", "state", "drivers", "help"}) {
        const test::ProgramResult result = Ctl(url, {command});
        EXPECT_EQ(3, result.status);
        EXPECT_EQ("intercomctl: cannot reach " + url + ": connection refused. Is driverhost running?\n",
                  result.errors);
    }
}

TEST(Intercomctl, AHostThatHangsUpWithoutAnAnswerIsStatus3) {
    const TinyServer server({});
    const test::ProgramResult result = Ctl(server, {"getX"});
    EXPECT_EQ(3, result.status);
    EXPECT_THAT(result.errors, HasSubstr("cannot reach " + server.Url() + ": "));
}

TEST(Intercomctl, AnAnswerThatBreaksOffIsStatus3) {
    const TinyServer server({"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n<a>"});
    const test::ProgramResult result = Ctl(server, {"getX"});
    EXPECT_EQ(3, result.status);
    EXPECT_EQ("", result.output);
}

TEST(Intercomctl, WrongUseIsStatus2AndAsksNobody) {
    const TinyServer server({});
    const std::vector<std::vector<std::string>> wrong = {{},
                                                         {"addGroup", "Upstairs"},
                                                         {"addGroup", "name=@/no/such/file"},
                                                         {"--bogus", "getX"},
                                                         {"--url", "nowhere", "getX"},
                                                         {"--token-file", "/no/such/file", "getX"},
                                                         {"--since", "0", "getX"},
                                                         {"events", "all"},
                                                         {"state", "all"},
                                                         {"state", "list", "3"},
                                                         {"state", "show"},
                                                         {"state", "show", "x"},
                                                         {"state", "restore", ""},
                                                         {"state", "restore", "1", "2"},
                                                         {"state", "save"},
                                                         {"state", "load", "/no/such/file"},
                                                         {"--overwrite", "state", "list"},
                                                         {"drivers", "all"},
                                                         {"help", "a", "b"}};
    for (const auto& words : wrong) {
        const test::ProgramResult result = Ctl(server, words);
        EXPECT_EQ(2, result.status);
        EXPECT_EQ("", result.output);
        EXPECT_THAT(result.errors, AllOf(StartsWith("intercomctl: "), HasSubstr("intercomctl --help")));
    }
    EXPECT_THAT(server.Requests(), IsEmpty());
}

TEST(Intercomctl, TheTokenIsShownWithEachRequest) {
    const test::TempFolder folder;
    test::WriteFile(folder / "token", "s3cret\n");
    const TinyServer server({kNoContent, kNoContent, TinyServer::Xml(401, "<error>no</error>")});
    const std::string file = folder / "token";
    Ctl(server, {"--token-file", file, "getX"});
    Ctl(server, {"--token-file", file, "state"});
    Ctl(server, {"--token-file", file, "events"});
    EXPECT_THAT(server.Requests(),
                AllOf(SizeIs(3), testing::Each(HasSubstr("Authorization: Bearer s3cret\r\n"))));
}

TEST(Intercomctl, WithoutATokenNoneIsShown) {
    const TinyServer server({kNoContent});
    Ctl(server, {"getX"});
    EXPECT_THAT(server.Requests(), ElementsAre(Not(HasSubstr("Authorization"))));
}

TEST(Intercomctl, StatePrintsTheDriversDocument) {
    const TinyServer server({TinyServer::Xml(200, "<IntercomState><a>1</a></IntercomState>"), kNoContent});
    EXPECT_EQ("<IntercomState>\n  <a>1</a>\n</IntercomState>\n", Ctl(server, {"state"}).output);
    const test::ProgramResult none = Ctl(server, {"--driver", "kitchen", "state"});
    EXPECT_EQ(0, none.status);
    EXPECT_EQ("", none.output);
    EXPECT_THAT(server.Requests(), ElementsAre(StartsWith("GET /drivers/agent/state HTTP/1.1"),
                                               StartsWith("GET /drivers/kitchen/state HTTP/1.1")));
}

TEST(Intercomctl, StateListShowsNumberTimeSizeAndChecksum) {
    const std::string list =
        "<generations><generation><number>3</number><time>2026-11-21T02:33:04Z</time><bytes>1234</bytes>"
        "<checksum>good</checksum></generation><generation><number>4</number>"
        "<time>2026-11-21T02:33:05Z</time><bytes>7</bytes><checksum>damaged</checksum>"
        "<fault>its checksum does not match</fault></generation></generations>";
    const TinyServer server({TinyServer::Xml(200, list), TinyServer::Xml(200, list),
                             TinyServer::Xml(200, "<generations/>"),
                             TinyServer::Xml(404, "<error>no driver 'x'</error>")});
    EXPECT_EQ(
        "    number  time                      bytes  checksum\n"
        "         3  2026-11-21T02:33:04Z       1234  good\n"
        "         4  2026-11-21T02:33:05Z          7  damaged: its checksum does not match\n",
        Ctl(server, {"state", "list"}).output);
    EXPECT_EQ(list, Ctl(server, {"--raw", "state", "list"}).output);
    EXPECT_EQ("Nothing of kitchen is stored yet.\n",
              Ctl(server, {"--driver", "kitchen", "state", "list"}).output);
    const test::ProgramResult none = Ctl(server, {"--driver", "x", "state", "list"});
    EXPECT_EQ(3, none.status);
    EXPECT_EQ("intercomctl: no driver 'x' (HTTP 404)\n", none.errors);
    EXPECT_THAT(server.Requests()[2], StartsWith("GET /drivers/kitchen/state/generations HTTP/1.1"));
}

TEST(Intercomctl, StateShowPrintsOneGeneration) {
    const TinyServer server({TinyServer::Xml(200, "<S><a>1</a></S>"), TinyServer::Xml(200, "<S><a>1</a></S>"),
                             TinyServer::Xml(500, "<error>generation 4 is damaged</error>")});
    EXPECT_EQ("<S>\n  <a>1</a>\n</S>\n", Ctl(server, {"state", "show", "3"}).output);
    EXPECT_EQ("<S><a>1</a></S>", Ctl(server, {"--raw", "state", "show", "3"}).output);
    const test::ProgramResult damaged = Ctl(server, {"state", "show", "4"});
    EXPECT_EQ(3, damaged.status);
    EXPECT_EQ("", damaged.output);
    EXPECT_EQ("intercomctl: generation 4 is damaged (HTTP 500)\n", damaged.errors);
    EXPECT_THAT(server.Requests()[0], StartsWith("GET /drivers/agent/state/generations/3 HTTP/1.1"));
}

TEST(Intercomctl, StateRestorePutsAGenerationBackAsItIs) {
    const TinyServer server({TinyServer::Xml(200, "<S><a> 1</a></S>"), kNoContent});
    const test::ProgramResult result = Ctl(server, {"state", "restore", "3"});
    EXPECT_EQ(0, result.status) << result.errors;
    EXPECT_EQ("agent is running with generation 3 again; its former state is kept as a generation.\n",
              result.output);
    EXPECT_THAT(server.Requests(), ElementsAre(StartsWith("GET /drivers/agent/state/generations/3 HTTP/1.1"),
                                               AllOf(StartsWith("PUT /drivers/agent/state HTTP/1.1"),
                                                     EndsWith("\r\n\r\n<S><a> 1</a></S>"))));
}

TEST(Intercomctl, StateRestoreOfNothingPutsNothing) {
    const TinyServer server({TinyServer::Xml(404, "<error>no generation 9</error>"),
                             TinyServer::Xml(200, "<S/>"), TinyServer::Xml(500, "<error>not today</error>")});
    EXPECT_EQ("intercomctl: no generation 9 (HTTP 404)\n", Ctl(server, {"state", "restore", "9"}).errors);
    const test::ProgramResult refused = Ctl(server, {"state", "restore", "3"});
    EXPECT_EQ(3, refused.status);
    EXPECT_EQ("", refused.output);
    EXPECT_EQ("intercomctl: not today (HTTP 500)\n", refused.errors);
    EXPECT_THAT(server.Requests(), SizeIs(3));
}

TEST(Intercomctl, StateSaveWritesABackupForItsOwnerOnly) {
    const test::TempFolder folder;
    const TinyServer server({TinyServer::Xml(200, "<S><a> 1</a></S>")});
    const std::string file = folder / "backup.xml";
    const test::ProgramResult result = Ctl(server, {"state", "save", file});
    EXPECT_EQ(0, result.status) << result.errors;
    EXPECT_EQ("The state of agent is saved in " + file + " (16 bytes).\n", result.output);
    EXPECT_EQ("<S><a> 1</a></S>", test::ReadFile(file));
    EXPECT_EQ(std::filesystem::perms(0600), std::filesystem::status(file).permissions());
}

TEST(Intercomctl, StateSaveReplacesAFileOnlyWhenToldTo) {
    const test::TempFolder folder;
    test::WriteFile(folder / "backup.xml", "precious");
    const TinyServer server({TinyServer::Xml(200, "<S/>")});
    const std::string file = folder / "backup.xml";
    const test::ProgramResult refused = Ctl(server, {"state", "save", file});
    EXPECT_EQ(2, refused.status);
    EXPECT_THAT(refused.errors, HasSubstr(file + " exists already and is left as it is"));
    EXPECT_EQ("precious", test::ReadFile(file));
    EXPECT_THAT(server.Requests(), IsEmpty());
    EXPECT_EQ(0, Ctl(server, {"state", "save", file, "--overwrite"}).status);
    EXPECT_EQ("<S/>", test::ReadFile(file));
    EXPECT_EQ(std::filesystem::perms(0600), std::filesystem::status(file).permissions());
}

TEST(Intercomctl, AStateThatCannotBeSavedLeavesNothing) {
    const test::TempFolder folder;
    const std::string file = folder / "backup.xml";
    const TinyServer server({TinyServer::Xml(503, "<error>busy</error>"), kNoContent,
                             "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n<S>"});
    EXPECT_EQ("intercomctl: busy (HTTP 503)\n", Ctl(server, {"state", "save", file}).errors);
    const test::ProgramResult none = Ctl(server, {"state", "save", file});
    EXPECT_EQ(3, none.status);
    EXPECT_EQ("intercomctl: agent keeps no state; nothing was saved\n", none.errors);
    EXPECT_EQ(3, Ctl(server, {"state", "save", file}).status);
    const test::ProgramResult nowhere = Ctl(server, {"state", "save", "/no/such/folder/backup.xml"});
    EXPECT_EQ(2, nowhere.status);
    EXPECT_THAT(nowhere.errors, HasSubstr("cannot write /no/such/folder/backup.xml: No such file"));
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
    EXPECT_THAT(server.Requests(), SizeIs(3));
}

TEST(Intercomctl, StateLoadSendsTheFile) {
    const test::TempFolder folder;
    test::WriteFile(folder / "backup.xml", "<S><a> 1</a></S>\n");
    const TinyServer server({kNoContent, TinyServer::Xml(400, "<error>not XML</error>")});
    const std::string file = folder / "backup.xml";
    const test::ProgramResult result = Ctl(server, {"--driver", "kitchen", "state", "load", file});
    EXPECT_EQ(0, result.status) << result.errors;
    EXPECT_EQ(
        "kitchen is running with the state from " + file + "; its former state is kept as a generation.\n",
        result.output);
    EXPECT_THAT(server.Requests(), ElementsAre(AllOf(StartsWith("PUT /drivers/kitchen/state HTTP/1.1"),
                                                     EndsWith("\r\n\r\n<S><a> 1</a></S>\n"))));
    const test::ProgramResult refused = Ctl(server, {"state", "load", file});
    EXPECT_EQ(3, refused.status);
    EXPECT_EQ("intercomctl: not XML (HTTP 400)\n", refused.errors);
}

TEST(Intercomctl, DriversPrintsTheHostsDrivers) {
    const TinyServer server({TinyServer::Xml(200, "<drivers/>")});
    EXPECT_EQ("<drivers/>\n", Ctl(server, {"drivers"}).output);
    EXPECT_THAT(server.Requests(), ElementsAre(StartsWith("GET /drivers HTTP/1.1")));
}

namespace {

constexpr char kCommands[] =
    "<commands><command><name>addGroup</name><kind>ui</kind><help>new group</help></command>"
    "<command><name>SIP_CALL</name><kind>plain</kind><help>call one</help></command></commands>";

}  // namespace

TEST(Intercomctl, HelpListsTheDriversCommands) {
    const TinyServer server({TinyServer::Xml(200, kCommands), TinyServer::Xml(200, kCommands)});
    const std::string help = Ctl(server, {"help"}).output;
    EXPECT_THAT(help, StartsWith("Commands of agent:\n  addGroup  new group\n  SIP_CALL  call one; no reply\n"
                                 "Commands of the client:\n  intercomctl help"));
    EXPECT_THAT(help, HasSubstr("\n  intercomctl state restore N "));
    EXPECT_THAT(Ctl(server, {"--driver", "kitchen", "help"}).output,
                StartsWith("Commands of kitchen:\n  addGroup  new group\n  SIP_CALL  call one; no reply\n"));
    EXPECT_THAT(server.Requests(), ElementsAre(StartsWith("GET /drivers/agent/commands HTTP/1.1"),
                                               StartsWith("GET /drivers/kitchen/commands HTTP/1.1")));
}

TEST(Intercomctl, HelpOfOneCommandShowsThatOne) {
    const TinyServer server(
        {TinyServer::Xml(200, kCommands), TinyServer::Xml(200, kCommands), TinyServer::Xml(200, kCommands)});
    EXPECT_EQ("  SIP_CALL  call one; no reply\n", Ctl(server, {"help", "SIP_CALL"}).output);
    EXPECT_THAT(Ctl(server, {"help", "state"}).output,
                AllOf(StartsWith("  intercomctl state "), HasSubstr("\n  intercomctl state load FILE "),
                      Not(HasSubstr("events"))));
    const test::ProgramResult unknown = Ctl(server, {"help", "sip_call"});
    EXPECT_EQ(2, unknown.status);
    EXPECT_THAT(unknown.errors, HasSubstr("agent has no command \"sip_call\""));
}

TEST(Intercomctl, TheHelpOptionTellsTheUseAndAsksNobody) {
    const TinyServer server({});
    const test::ProgramResult result = Ctl(server, {"--help"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("usage: intercomctl"), HasSubstr("--driver"), HasSubstr("events")));
    EXPECT_THAT(server.Requests(), IsEmpty());
}

TEST(Intercomctl, EventsArePrintedAsTheyCome) {
    const TinyServer server(
        {std::string(kStream) + ": hello\n\nid: 5\ndata: <A><id>1</id></A>\n\nid: 6\ndata: <B/>\n\n",
         TinyServer::Xml(404, "<error>gone</error>")});
    const test::ProgramResult result = Ctl(server, {"events"});
    EXPECT_EQ(3, result.status);
    EXPECT_EQ("<A>\n  <id>1</id>\n</A>\n<B/>\n", result.output);
    EXPECT_THAT(result.errors, HasSubstr("gone (HTTP 404)"));
}

TEST(Intercomctl, AStreamThatBreaksIsTakenUpBehindTheLastEvent) {
    const TinyServer server({std::string(kStream) + "id: 5\ndata: <A/>\n\nid: 6\ndata: <half",
                             std::string(kStream) + "event: reset\ndata: <reset/>\n\n",
                             TinyServer::Xml(404, "<error>gone</error>")});
    const test::ProgramResult result = Ctl(server, {"events"});
    EXPECT_EQ("<A/>\n<reset/>\n", result.output);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("trying again"), HasSubstr("events were lost in between")));
    EXPECT_THAT(server.Requests(),
                ElementsAre(AllOf(StartsWith("GET /events HTTP/1.1"), Not(HasSubstr("Last-Event-ID"))),
                            HasSubstr("Last-Event-ID: 5\r\n"), HasSubstr("Last-Event-ID: 5\r\n")));
}

TEST(Intercomctl, SinceBeginsBehindAnEarlierEvent) {
    const TinyServer server({TinyServer::Xml(404, "<error>gone</error>")});
    Ctl(server, {"events", "--since", "0"});
    EXPECT_THAT(server.Requests(), ElementsAre(HasSubstr("Last-Event-ID: 0\r\n")));
}

TEST(Intercomctl, RawEventsAreTheBytesOfTheStream) {
    const std::string bytes = ": hello\n\nid: 5\ndata: <A><id>1</id></A>\n\n";
    const TinyServer server({"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n9\r\n" +
                                 bytes.substr(0, 9) + "\r\n" + "1F\r\n" + bytes.substr(9) + "\r\n0\r\n\r\n",
                             TinyServer::Xml(404, "<error>gone</error>")});
    ASSERT_EQ(9U + 0x1FU, bytes.size());
    const test::ProgramResult result = Ctl(server, {"--raw", "events"});
    EXPECT_EQ(3, result.status);
    EXPECT_EQ(bytes, result.output);
}

TEST(Intercomctl, AnAnswerThatIsNoXmlIsPrintedAsItIs) {
    const TinyServer server({"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello"});
    const test::ProgramResult result = Ctl(server, {"getX"});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("hello", result.output);
}

TEST(Intercomctl, AnAnswerThatCannotBeWrittenIsNotSaidToBeDone) {
    const TinyServer server(
        {TinyServer::Xml(200, "<success/>"), std::string(kStream) + "id: 5\ndata: <A/>\n\n"});
    for (const std::string command : {"addGroup", "events"}) {
        const test::ProgramResult result =
            test::RunProgram({"/bin/sh", "-c", "exec \"$0\" " + command + " >/dev/full", INTERCOMCTL_PROGRAM},
                             {{"INTERCOMCTL_URL", server.Url()}});
        EXPECT_EQ(3, result.status) << command;
        EXPECT_EQ("intercomctl: cannot write to standard output\n", result.errors);
    }
}
