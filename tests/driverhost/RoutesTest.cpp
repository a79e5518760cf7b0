#include "driverhost/http/routes/Routes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/driverhost/support/HostFixture.h"

namespace driverhost {
namespace {

using testing::HasSubstr;

class RoutesTest : public HostFixture {
protected:
    void StartLamp() {
        Add("lamp", "probe");
        Start();
    }

    /// Begins a request. The reply comes while the loop runs.
    void Begin(const std::string& method, const std::string& target, const std::string& form,
               const Reply& reply) {
        HostFixture::Begin(MakeRequest(method, target, form), reply);
    }

    Response Put(const std::string& target, const std::string& document) {
        Request request = MakeRequest("PUT", target);
        request.body = document;
        return Ask(request);
    }
};

TEST_F(RoutesTest, ACommandGetsItsFieldsInOrder) {
    StartLamp();
    const Response response = Ask("POST", "/drivers/lamp/commands/echo", "b=1&a=%C3%BC&b=3");
    EXPECT_EQ(response.status, 200U);
    EXPECT_EQ(response.contentType, "application/xml");
    EXPECT_EQ(response.body, "<echo><b>1</b><a>ü</a><b>3</b></echo>");
}

TEST_F(RoutesTest, ADriverIsNamedByNameOrIdWithEscapes) {
    Add("front door", "probe");
    Start();
    EXPECT_EQ(Ask("POST", "/drivers/front%20door/commands/count").status, 200U);
    EXPECT_EQ(Ask("POST", "/drivers/1/commands/count").body, "<count>2</count>");
}

TEST_F(RoutesTest, ACommandWithoutReplyAndAPlainOneAnswer204) {
    StartLamp();
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/nothing").status, 204U);
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/plain", "value=x").status, 204U);
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>x</value><heard/></probe>");
}

TEST_F(RoutesTest, UnknownDriversCommandsAndPathsAnswer404) {
    StartLamp();
    const Response driver = Ask("POST", "/drivers/shutter/commands/count");
    EXPECT_EQ(driver.status, 404U);
    EXPECT_EQ(driver.body, "<error>no driver 'shutter'; GET /drivers lists them</error>");
    const Response command = Ask("POST", "/drivers/lamp/commands/Count");
    EXPECT_EQ(command.status, 404U);
    EXPECT_EQ(command.body,
              "<error>driver lamp has no command 'Count'; GET /drivers/lamp/commands lists them</error>");
    for (const char* path : {"/", "/driver", "/drivers/", "/drivers/lamp", "/drivers//commands/count",
                             "/drivers/lamp/commands/", "/drivers/lamp/commands/count/", "/events/", "*", ""})
        EXPECT_EQ(Ask("POST", path).status, 404U) << path;
}

TEST_F(RoutesTest, AKnownPathWithAnotherMethodAnswers405) {
    StartLamp();
    const auto allowed = [this](const char* path) {
        const Response response = Ask("DELETE", path);
        return std::to_string(response.status) + " " + response.headers;
    };
    EXPECT_EQ(allowed("/drivers"), "405 Allow: GET\r\n");
    EXPECT_EQ(allowed("/drivers/lamp/commands/count"), "405 Allow: POST\r\n");
    EXPECT_EQ(allowed("/drivers/lamp/state"), "405 Allow: GET, PUT\r\n");
    EXPECT_EQ(allowed("/drivers/none/state"), "405 Allow: GET, PUT\r\n");
    EXPECT_EQ(allowed("/health"), "405 Allow: GET\r\n");
}

TEST_F(RoutesTest, MalformedRequestsAnswer400) {
    StartLamp();
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/echo", "a=%").status, 400U);
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/echo", "a=%FF").status, 400U);
    EXPECT_EQ(Ask("POST", "/drivers/la%mp/commands/echo").status, 400U);
    EXPECT_EQ(Ask("POST", "/drivers/%FF/commands/echo").status, 400U);
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/%00").status, 400U);
}

TEST_F(RoutesTest, ParametersInTheAddressAreRefusedNotLost) {
    StartLamp();
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/echo?name=x").status, 400U);
    EXPECT_EQ(Ask("GET", "/drivers?").status, 200U);
}

TEST_F(RoutesTest, ADriverThatThrowsAnswers500AndGoesOn) {
    StartLamp();
    const Response response = Ask("POST", "/drivers/lamp/commands/throw");
    EXPECT_EQ(response.status, 500U);
    EXPECT_EQ(response.body, "<error>driver lamp threw in throw: on demand; the log says more</error>");
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/throwNumber").status, 500U);
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
    EXPECT_EQ(metrics_.OfDriver("lamp").failures, 2U);
}

TEST_F(RoutesTest, DriversAreListedWithTheirStatus) {
    Add("lamp", "probe");
    Add("a<b", "probe", "<config><fails>throw</fails></config>");
    Start();
    EXPECT_EQ(Ask("GET", "/drivers").body,
              "<drivers><driver><id>1</id><name>lamp</name><library>probe</library><status>running</status></"
              "driver>"
              "<driver><id>2</id><name>a&lt;b</name><library>probe</library><status>failed</status>"
              "<failure>driver a&lt;b threw in Initialize: not today</failure></driver>"
              "</drivers>");
}

TEST_F(RoutesTest, ADriverThatDoesNotRunAnswers503WithTheReason) {
    Add("lamp", "probe", "<config><fails>throw</fails></config>");
    Start();
    for (const char* path : {"/drivers/lamp/commands", "/drivers/lamp/state"}) {
        const Response response = Ask("GET", path);
        EXPECT_EQ(response.status, 503U);
        EXPECT_THAT(response.body,
                    HasSubstr("driver lamp does not run: driver lamp threw in Initialize: not today; "
                              "POST /drivers/lamp/restart tries again"));
    }
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/count").status, 503U);
    EXPECT_EQ(Ask("POST", "/drivers/lamp/restart").status, 500U);
}

TEST_F(RoutesTest, CommandsAreListedWithKindAndHelp) {
    StartLamp();
    const std::string list = Ask("GET", "/drivers/lamp/commands").body;
    EXPECT_THAT(list, testing::StartsWith("<commands><command><name>count</name><kind>ui</kind>"
                                          "<help>calls since the library was loaded</help></command>"));
    EXPECT_THAT(list, HasSubstr("<command><name>plain</name><kind>plain</kind><help/></command>"));
}

TEST_F(RoutesTest, TheStateIsAskedNow) {
    Add("lamp", "probe");
    Add("stateless", "probe", "<config><noState>1</noState></config>");
    Start();
    Command("lamp", "setQuietly", "value=dim");
    EXPECT_EQ(Ask("GET", "/drivers/lamp/state").body, "<ProbeState><value>dim</value></ProbeState>");
    EXPECT_EQ(Ask("GET", "/drivers/stateless/state").status, 204U);
    Command("lamp", "breakState");
    EXPECT_EQ(Ask("GET", "/drivers/lamp/state").status, 500U);
}

TEST_F(RoutesTest, WhatWasAnsweredIsStored) {
    StartLamp();
    for (const char* value : {"1", "2", "3"}) {
        EXPECT_EQ(Command("lamp", "set", std::string("value=") + value), "<success/>");
        EXPECT_EQ(StoredState("lamp"), "<ProbeState><value>" + std::string(value) + "</value></ProbeState>");
    }
}

TEST_F(RoutesTest, AChangeThatCannotBeStoredAnswers503AndIsKept) {
    StartLamp();
    disk_.FailAll(true);
    const Response response = Ask("POST", "/drivers/lamp/commands/set", "value=dim");
    EXPECT_EQ(response.status, 503U);
    EXPECT_THAT(response.body,
                HasSubstr("No space left on device; the change is kept in memory, and the host "
                          "keeps trying to store it"));
    EXPECT_EQ(Ask("GET", "/health").status, 503U);
    EXPECT_THAT(Ask("GET", "/health").body, HasSubstr("the state of driver lamp is not stored: cannot "));
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>dim</value>"));
    disk_.FailAll(false);
    TurnUntil([this] { return Ask("GET", "/health").status == 200; });
    EXPECT_EQ(StoredState("lamp"), "<ProbeState><value>dim</value></ProbeState>");
}

TEST_F(RoutesTest, APutStateRestartsTheDriverWithIt) {
    StartLamp();
    Command("lamp", "set", "value=old");
    Command("lamp", "count");
    EXPECT_EQ(
        Put("/drivers/lamp/state", "<?xml version='1.0'?><ProbeState><value>new</value></ProbeState>").status,
        204U);
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>new</value><heard/></probe>");
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
    EXPECT_EQ(StoredState("lamp"), "<ProbeState><value>new</value></ProbeState>");
    EXPECT_THAT(disk_.ContentOf("/state/lamp/0000000001.xml"), HasSubstr("<value>old</value>"));
}

TEST_F(RoutesTest, APutStateThatIsNotTheDriversIsRefused) {
    Add("lamp", "probe");
    Add("stateless", "probe", "<config><noState>1</noState></config>");
    Start();
    EXPECT_EQ(Put("/drivers/lamp/state", "").status, 400U);
    EXPECT_EQ(Put("/drivers/lamp/state", "<ProbeState>").status, 400U);
    const Response other = Put("/drivers/lamp/state", "<Other/>");
    EXPECT_EQ(other.status, 400U);
    EXPECT_EQ(other.body, "<error>the root element is 'Other'; driver lamp writes 'ProbeState'</error>");
    EXPECT_EQ(Put("/drivers/stateless/state", "<a/>").status, 400U);
    EXPECT_EQ(Put("/drivers/none/state", "<a/>").status, 404U);
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
}

TEST_F(RoutesTest, APutStateThatCannotBeStoredChangesNothing) {
    StartLamp();
    Command("lamp", "set", "value=old");
    disk_.FailAll(true);
    EXPECT_EQ(Put("/drivers/lamp/state", "<ProbeState><value>new</value></ProbeState>").status, 503U);
    disk_.FailAll(false);
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>old</value><heard/></probe>");
}

TEST_F(RoutesTest, ADriverThatDoesNotRunTakesOnlyItsKindOfState) {
    disk_.Plant("/state/lamp/0000000001.xml", SealDocument("<ProbeState/>", "probe"));
    Add("lamp", "probe", "<config><fails>throw</fails></config>");
    Start();
    EXPECT_EQ(Put("/drivers/lamp/state", "<Other/>").status, 400U);
    EXPECT_EQ(Put("/drivers/lamp/state", "<ProbeState><value>new</value></ProbeState>").status, 500U);
    EXPECT_EQ(StoredState("lamp"), "<ProbeState/>");
}

TEST_F(RoutesTest, APutStateThatTheDriverDoesNotStartWithGivesTheFormerOneBack) {
    StartLamp();
    Command("lamp", "set", "value=old");
    const Response refused = Put("/drivers/lamp/state", "<ProbeState><value>poison</value></ProbeState>");
    EXPECT_EQ(refused.status, 500U);
    EXPECT_EQ(refused.body,
              "<error>driver lamp goes on as before: driver lamp threw in Initialize: a bad value; it runs "
              "again with its former state</error>");
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>old</value><heard/></probe>");
    EXPECT_EQ(StoredState("lamp"), "<ProbeState><value>old</value></ProbeState>");
    EXPECT_FALSE(disk_.Has("/state/lamp/0000000002.xml")) << "the next process must not begin with it";
    EXPECT_EQ(Ask("GET", "/health").status, 200U);
}

TEST_F(RoutesTest, ARefusedPutStateStopsNothing) {
    StartLamp();
    Command("lamp", "count");
    std::string deep = "<ProbeState>";
    for (int depth = 0; depth < 200; ++depth)
        deep += "<a>";
    for (int depth = 0; depth < 200; ++depth)
        deep += "</a>";
    EXPECT_THAT(Put("/drivers/lamp/state", deep + "</ProbeState>").body,
                HasSubstr("<error>the document is not XML: "));
    EXPECT_EQ(Put("/drivers/lamp/state", "<ProbeState><value>x</ProbeState>").status, 400U);
    EXPECT_EQ(Put("/drivers/lamp/state", "<probestate/>").status, 400U);
    EXPECT_EQ(Command("lamp", "count"), "<count>2</count>") << "the library was loaded anew";
}

TEST_F(RoutesTest, TheStateSurvivesAPutThatCannotBeStored) {
    StartLamp();
    Command("lamp", "set", "value=old");
    disk_.FailAll(true);
    const Response refused = Put("/drivers/lamp/state", "<ProbeState><value>new</value></ProbeState>");
    EXPECT_EQ(refused.status, 503U);
    EXPECT_THAT(refused.body, HasSubstr("the state could not be stored, so driver lamp was left with what it "
                                        "had: cannot "));
    TurnUntil([this] { return Ask("GET", "/health").status == 503; });
    disk_.FailAll(false);
    TurnUntil([this] { return Ask("GET", "/health").status == 200; });
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>old</value><heard/></probe>");
    EXPECT_EQ(StoredState("lamp"), "<ProbeState><value>old</value></ProbeState>");
}

TEST_F(RoutesTest, APutStateEndsTheTroubleOfADriverThatCannotGiveItsOwn) {
    StartLamp();
    Command("lamp", "breakState");
    EXPECT_EQ(Put("/drivers/lamp/state", "<ProbeState><value>new</value></ProbeState>").status, 204U);
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>new</value><heard/></probe>");
    EXPECT_EQ(StoredState("lamp"), "<ProbeState><value>new</value></ProbeState>");
    EXPECT_EQ(Ask("GET", "/health").body, "<health>ok</health>");
}

TEST_F(RoutesTest, APutStateWhoseStoringFailsLateIsTakenBackOnDisk) {
    StartLamp();
    Command("lamp", "set", "value=old");
    disk_.FailAtStep(4);  // create, write, sync, rename; then the sync of the folder fails
    EXPECT_EQ(Put("/drivers/lamp/state", "<ProbeState><value>new</value></ProbeState>").status, 503U);
    TurnUntil([this] { return StoredState("lamp") == "<ProbeState><value>old</value></ProbeState>"; });
    EXPECT_THAT(disk_.ContentOf("/state/lamp/0000000002.xml"), HasSubstr("<value>new</value>"));
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>old</value><heard/></probe>");
}

TEST_F(RoutesTest, GenerationsAreListedOldestFirst) {
    StartLamp();
    Command("lamp", "set", "value=1");
    Command("lamp", "set", "value=2");
    EXPECT_EQ(Ask("GET", "/drivers/lamp/state/generations").body,
              "<generations>"
              "<generation><number>1</number><time>2026-01-01T00:00:01Z</time><bytes>41</bytes>"
              "<checksum>good</checksum></generation>"
              "<generation><number>2</number><time>2026-01-01T00:00:02Z</time><bytes>41</bytes>"
              "<checksum>good</checksum></generation></generations>");
    EXPECT_EQ(Ask("GET", "/drivers/none/state/generations").status, 404U);
}

TEST_F(RoutesTest, ADriverThatStoredNothingHasNoGenerations) {
    StartLamp();
    EXPECT_EQ(Ask("GET", "/drivers/lamp/state/generations").body, "<generations/>");
}

TEST_F(RoutesTest, AGenerationIsGivenAsItWasStored) {
    StartLamp();
    Command("lamp", "set", "value=1");
    Command("lamp", "set", "value=2");
    const Response first = Ask("GET", "/drivers/lamp/state/generations/1");
    EXPECT_EQ(first.status, 200U);
    EXPECT_EQ(first.body, "<ProbeState><value>1</value></ProbeState>");
    EXPECT_EQ(Ask("GET", "/drivers/lamp/state/generations/0000000002").body,
              "<ProbeState><value>2</value></ProbeState>");
    const Response none = Ask("GET", "/drivers/lamp/state/generations/3");
    EXPECT_EQ(none.status, 404U);
    EXPECT_EQ(none.body,
              "<error>driver lamp has no generation 3; GET /drivers/lamp/state/generations lists those that "
              "are kept</error>");
    EXPECT_EQ(Ask("GET", "/drivers/lamp/state/generations/0").status, 404U);
    for (const char* number : {"x", "-1", "1x", "18446744073709551616"})
        EXPECT_EQ(Ask("GET", std::string("/drivers/lamp/state/generations/") + number).status, 400U)
            << number;
}

TEST_F(RoutesTest, ADamagedGenerationIsListedAndItsDocumentRefused) {
    StartLamp();
    Command("lamp", "set", "value=1");
    Command("lamp", "set", "value=2");
    disk_.Plant("/state/lamp/0000000001.xml", "rubbish");
    disk_.Plant("/state/lamp/0000000007.xml.damaged", "worse");
    const std::string list = Ask("GET", "/drivers/lamp/state/generations").body;
    EXPECT_THAT(list, HasSubstr("<number>1</number>"));
    EXPECT_THAT(list, HasSubstr("<bytes>7</bytes><checksum>damaged</checksum>"
                                "<fault>its checksum line is missing</fault></generation>"));
    EXPECT_THAT(list, HasSubstr("<fault>its checksum line is missing; it was put aside as "
                                "/state/lamp/0000000007.xml.damaged</fault>"));
    const Response damaged = Ask("GET", "/drivers/lamp/state/generations/1");
    EXPECT_EQ(damaged.status, 500U);
    EXPECT_THAT(damaged.body, HasSubstr("<error>generation 1 of driver lamp is damaged: its checksum line is "
                                        "missing; GET "));
}

TEST_F(RoutesTest, GenerationsThatCannotBeLookedAtAnswer503) {
    StartLamp();
    Command("lamp", "set", "value=1");
    disk_.FailAll(true);
    EXPECT_EQ(Ask("GET", "/drivers/lamp/state/generations").status, 503U);
    EXPECT_EQ(Ask("GET", "/drivers/lamp/state/generations/1").status, 503U);
    disk_.FailAll(false);
    EXPECT_EQ(Ask("GET", "/health").status, 200U);
}

TEST_F(RoutesTest, LookingAtGenerationsWaitsForTheDiskAndNobodyForIt) {
    StartLamp();
    Command("lamp", "set", "value=1");
    disk_.Hold(true);
    bool listed = false;
    bool stored = false;
    Begin("POST", "/drivers/lamp/commands/set", "value=2", [&](const Response&) { stored = true; });
    Begin("GET", "/drivers/lamp/state/generations", "", [&](const Response& response) {
        EXPECT_TRUE(stored);
        EXPECT_THAT(response.body, HasSubstr("<number>2</number>"));
        listed = true;
    });
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>2</value>"));
    EXPECT_FALSE(listed);
    disk_.Hold(false);
    TurnUntil([&] { return listed; });
}

TEST_F(RoutesTest, CommandsDuringAWriteShareTheNextOneAndAreAnsweredBehindIt) {
    StartLamp();
    disk_.Hold(true);
    int answered = 0;
    for (int value = 1; value <= 10; ++value) {
        Begin("POST", "/drivers/lamp/commands/set", "value=" + std::to_string(value),
              [&, value](const Response& response) {
                  EXPECT_EQ(response.status, 200U);
                  EXPECT_EQ(disk_.Has("/state/lamp/0000000002.xml"), value > 1) << value;
                  ++answered;
              });
    }
    Turn();
    EXPECT_EQ(answered, 0);
    disk_.Hold(false);
    TurnUntil([&] { return answered == 10; });
    EXPECT_EQ(metrics_.OfDriver("lamp").stateWrites, 2U);
    EXPECT_EQ(StoredState("lamp"), "<ProbeState><value>10</value></ProbeState>");
}

TEST_F(RoutesTest, ADamagedStateIsAWarningOfHealthUntilABackupIsPutBack) {
    disk_.Plant("/state/lamp/0000000001.xml",
                SealDocument("<ProbeState><value>1</value></ProbeState>", "probe"));
    disk_.Plant("/state/lamp/0000000002.xml", "rubbish");
    StartLamp();
    const std::string warned =
        "<health>ok<warning>driver lamp: the stored document /state/lamp/0000000002.xml is damaged (its "
        "checksum line is missing): renamed to /state/lamp/0000000002.xml.damaged</warning></health>";
    EXPECT_EQ(Ask("GET", "/health").status, 200U);
    EXPECT_EQ(Ask("GET", "/health").body, warned);
    Command("lamp", "set", "value=2");
    EXPECT_EQ(Ask("POST", "/drivers/lamp/restart").status, 204U);
    EXPECT_EQ(Put("/drivers/lamp/state", "<Other/>").status, 400U);
    EXPECT_EQ(Ask("GET", "/health").body, warned);
    disk_.FailAll(true);
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/set", "value=3").status, 503U);
    const Response red = Ask("GET", "/health");
    EXPECT_EQ(red.status, 503U);
    EXPECT_THAT(red.body, HasSubstr("is not stored: cannot "));
    EXPECT_THAT(red.body, HasSubstr("; driver lamp: the stored document /state/lamp/0000000002.xml"));
    disk_.FailAll(false);
    TurnUntil([&] { return Ask("GET", "/health").body == warned; });
    EXPECT_EQ(Put("/drivers/lamp/state", "<ProbeState><value>4</value></ProbeState>").status, 204U);
    EXPECT_EQ(Ask("GET", "/health").body, "<health>ok</health>");
}

TEST_F(RoutesTest, AStateLostAltogetherIsAWarningToo) {
    disk_.Plant("/state/lamp/0000000001.xml", "rubbish");
    StartLamp();
    EXPECT_THAT(Ask("GET", "/health").body,
                HasSubstr("<warning>driver lamp: no stored document in /state/lamp is good: the driver "
                          "starts as new</warning>"));
}

TEST_F(RoutesTest, ARestartAnswers204) {
    StartLamp();
    Command("lamp", "count");
    EXPECT_EQ(Ask("POST", "/drivers/lamp/restart").status, 204U);
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
    EXPECT_EQ(Ask("POST", "/drivers/none/restart").status, 404U);
}

TEST_F(RoutesTest, ASystemEventHasItsNameAndItsOtherFieldsAsParameters) {
    StartLamp();
    EXPECT_EQ(Ask("POST", "/system-events/11", "iditem=42&name=OnItemMoved&iditem=+43+&name=x").status, 204U);
    EXPECT_EQ(Command("lamp", "get"),
              "<probe><value>new</value><heard>&lt;event&gt;&lt;name&gt;OnItemMoved&lt;/name&gt;"
              "&lt;param&gt;42&lt;name&gt;iditem&lt;/name&gt;&lt;/param&gt;"
              "&lt;param&gt; 43 &lt;name&gt;iditem&lt;/name&gt;&lt;/param&gt;"
              "&lt;param&gt;x&lt;name&gt;name&lt;/name&gt;&lt;/param&gt;&lt;/event&gt;</heard></probe>");
}

TEST_F(RoutesTest, ASystemEventWithoutNameHasAnEmptyOne) {
    StartLamp();
    EXPECT_EQ(Ask("POST", "/system-events/11").status, 204U);
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("&lt;event&gt;&lt;name/&gt;&lt;/event&gt;"));
}

TEST_F(RoutesTest, ASystemEventOfAClassWithoutListenersIsDeliveredToNobody) {
    StartLamp();
    EXPECT_EQ(Ask("POST", "/system-events/4294967295", "name=E").status, 204U);
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<heard/>"));
}

TEST_F(RoutesTest, AnEventClassThatIsNoNumberAnswers400) {
    StartLamp();
    for (const char* eventClass : {"x", "-1", "11x", "4294967296", "+1"})
        EXPECT_EQ(Ask("POST", std::string("/system-events/") + eventClass).status, 400U) << eventClass;
}

TEST_F(RoutesTest, AListenerThatThrowsIsNamed) {
    StartLamp();
    const Response response = Ask("POST", "/system-events/11", "name=Throw");
    EXPECT_EQ(response.status, 500U);
    EXPECT_EQ(response.body, "<error>driver lamp threw in OnSystemEvent: will not hear</error>");
}

TEST_F(RoutesTest, WhatASystemEventMarkedIsStoredWhenItIsAnswered) {
    StartLamp();
    Command("lamp", "setQuietly", "value=dim");
    EXPECT_EQ(Ask("POST", "/system-events/11", "name=Mark").status, 204U);
    EXPECT_EQ(StoredState("lamp"), "<ProbeState><value>dim</value></ProbeState>");
}

TEST_F(RoutesTest, OnlyCommandsThatExistAreCounted) {
    StartLamp();
    Command("lamp", "count");
    Command("lamp", "count");
    Command("lamp", "unknown");
    const std::string text = Ask("GET", "/metrics").body;
    EXPECT_THAT(text, HasSubstr("driverhost_commands_total{driver=\"lamp\",command=\"count\"} 2\n"));
    EXPECT_THAT(text, testing::Not(HasSubstr("unknown")));
    EXPECT_THAT(text, HasSubstr("driverhost_command_seconds_count 2\n"));
}

TEST_F(RoutesTest, WorkPostedFromAnotherThreadIsStoredAndTold) {
    StartLamp();
    Command("lamp", "post", "value=dim");
    TurnUntil([this] { return StoredState("lamp") == "<ProbeState><value>dim</value></ProbeState>"; });
    EXPECT_THAT(uiEvents_, testing::ElementsAre("<Posted>dim</Posted>"));
}

TEST_F(RoutesTest, AnEventStreamBeginsWhereTheReaderSays) {
    StartLamp();
    Request request = MakeRequest("GET", "/events");
    request.lastEventId = "0";
    Command("lamp", "event", "text=x&times=2");
    HostFixture::Begin(request, [](const Response& response) {
        EXPECT_EQ(response.contentType, "text/event-stream");
        ASSERT_TRUE(response.stream);
        EXPECT_EQ(response.stream->next, 1U);
        EXPECT_FALSE(response.stream->reset);
    });
}

}  // namespace
}  // namespace driverhost
