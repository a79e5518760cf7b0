// phones, calls and hangup, against a call control that says prepared lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/algorithm/string/replace.hpp>
#include <thread>

#include "tests/support/process/RunProgram.h"
#include "tests/support/process/TempFolder.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr char kEmpty[] =
    R"({"event":"snapshot","version":1,"proxy":"up","media":"up","phones":[],"away":[],"calls":[]})";

std::string SnapshotWith(const std::string& list, const std::string& content) {
    return boost::replace_first_copy(std::string(kEmpty), "\"" + list + "\":[]",
                                     "\"" + list + "\":[" + content + "]");
}

/// Takes one connection, and answers each line that comes with the next of its own.
class PreparedCallControl {
public:
    explicit PreparedCallControl(std::vector<std::string> answers) : answers_(std::move(answers)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        Path().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(0, ::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        EXPECT_EQ(0, ::listen(listener_, 1));
        thread_ = std::thread([this] { Serve(); });
    }
    ~PreparedCallControl() {
        ::shutdown(listener_, SHUT_RDWR);
        thread_.join();
        ::close(listener_);
    }
    PreparedCallControl(const PreparedCallControl&) = delete;
    PreparedCallControl& operator=(const PreparedCallControl&) = delete;

    std::string Path() const { return folder_ / "calls.sock"; }

    test::ProgramResult Ask(std::vector<std::string> words) const {
        words.insert(words.begin(), INTERCOMCTL_PROGRAM);
        return test::RunProgram(words, {{"INTERCOM_CALLCONTROL_SOCKET", Path()}});
    }
    /// All that was heard; to be called when the program has ended.
    std::string Heard() {
        ::shutdown(listener_, SHUT_RDWR);  // in case that nobody has come
        thread_.join();
        thread_ = std::thread([] {});
        return heard_;
    }

private:
    void Serve() {
        const int connection = ::accept(listener_, nullptr, nullptr);
        if (connection < 0) return;
        std::size_t answered = 0;
        char bytes[4096];
        for (ssize_t count = 0; (count = ::recv(connection, bytes, sizeof bytes, 0)) > 0;) {
            heard_.append(bytes, static_cast<std::size_t>(count));
            const auto lines = static_cast<std::size_t>(std::ranges::count(heard_, '\n'));
            for (; answered < std::min(lines, answers_.size()); ++answered) {
                const std::string line = answers_[answered] + "\n";
                static_cast<void>(::send(connection, line.data(), line.size(), MSG_NOSIGNAL));
            }
            if (lines > 0 && answers_.empty()) break;
        }
        ::close(connection);
    }

    const test::TempFolder folder_;
    const std::vector<std::string> answers_;
    const int listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string heard_;
    std::thread thread_;
};

test::ProgramResult Ctl(std::vector<std::string> words) {
    words.insert(words.begin(), INTERCOMCTL_PROGRAM);
    return test::RunProgram(words, {{"INTERCOM_CALLCONTROL_SOCKET", ""}});
}

}  // namespace

TEST(CallCommands, PhonesAreListedByUserWithThoseThatAreAway) {
    PreparedCallControl callControl({boost::replace_first_copy(
        SnapshotWith("phones",
                     R"({"user":"kitchen","name":"Küche","contact":"<sip:kitchen@192.0.2.7:5060;ob>",)"
                     R"("agent":"Phone 1.0 (x) y","since":1700000000},)"
                     R"({"user":"attic","contact":"sip:[2001:db8::1]:5062","agent":"","since":1700000001})"),
        "\"away\":[]",
        R"("away":[{"user":"hall","name":"Hall","contact":"sip:hall@192.0.2.8","agent":"P","since":1700000002,)"
        R"("reason":"expired"},{"user":"study","name":"Study","contact":"","agent":"","since":0}])")});
    const test::ProgramResult result = callControl.Ask({"phones"});
    EXPECT_EQ(0, result.status) << result.errors;
    EXPECT_EQ(
        "user     name   state          since                 address             agent\n"
        "attic    -      registered     2023-11-14T22:13:21Z  [2001:db8::1]:5062  -\n"
        "hall     Hall   away, expired  2023-11-14T22:13:22Z  192.0.2.8           P\n"
        "kitchen  Küche  registered     2023-11-14T22:13:20Z  192.0.2.7:5060      Phone 1.0 (x) y\n"
        "study    Study  away           -                     -                   -\n",
        result.output);
    EXPECT_EQ("", result.errors);
    EXPECT_EQ("{\"all\":true,\"cmd\":\"hello\",\"version\":1}\n", callControl.Heard());
}

TEST(CallCommands, WhatAPhoneCallsItselfCannotMoveTheCursor) {
    PreparedCallControl callControl({SnapshotWith(
        "phones", R"({"user":"hall","contact":"sip:a@b","agent":"\u001b[2J\nx\u007f","since":1})")});
    EXPECT_THAT(callControl.Ask({"phones"}).output, EndsWith("  b        ?[2J?x?\n"));
}

TEST(CallCommands, CallsAreListedWithALineForEachPhone) {
    const std::string call =
        R"({"id":"phone-1","kind":"regular","byPhone":true,"state":"established","seconds":3725.9,"legs":[)"
        R"({"user":"hall","role":"caller","state":"up","code":0,"reason":"","answered":true,)"
        R"("codecs":"PCMA/8000 VP8/90000","packetsReceived":612,"packetsLost":3,"jitter":4},)"
        R"({"user":"kitchen","role":"callee","state":"up","code":0,"reason":"","answered":true,)"
        R"("codecs":"PCMA/8000","packetsReceived":600,"packetsLost":-1}]},)"
        R"({"id":"7","kind":"monitor","byPhone":false,"state":"calling","seconds":0,"legs":[)"
        R"({"user":"attic","role":"caller","state":"ringing","code":0,"reason":"","answered":false,)"
        R"("codecs":"","packetsReceived":0,"packetsLost":-1}]})";
    PreparedCallControl callControl({SnapshotWith("calls", call)});
    const test::ProgramResult result = callControl.Ask({"calls"});
    EXPECT_EQ(0, result.status) << result.errors;
    EXPECT_EQ(
        "call     kind     state        duration  user     role    leg      codecs               received  "
        "lost  jitter\n"
        "phone-1  regular  established  1:02:05   hall     caller  up       PCMA/8000,VP8/90000  612       "
        "3     4 ms\n"
        "phone-1  regular  established  1:02:05   kitchen  callee  up       PCMA/8000            600       "
        "-     -\n"
        "7        monitor  calling      -         attic    caller  ringing  -                    0         "
        "-     -\n",
        result.output);
}

TEST(CallCommands, WhereThereIsNothingThatIsSaid) {
    for (const auto& [command, text] : {std::pair("phones", "No phone is registered, and none is known.\n"),
                                        std::pair("calls", "No call is running.\n")}) {
        PreparedCallControl callControl({kEmpty});
        EXPECT_EQ(text, callControl.Ask({command}).output);
    }
}

TEST(CallCommands, WhatIsAwayIsSaidBesideTheList) {
    const std::string away = boost::replace_all_copy(std::string(kEmpty), "\":\"up\"", "\":\"lost\"");
    PreparedCallControl first({away});
    const test::ProgramResult phones = first.Ask({"phones"});
    EXPECT_EQ(0, phones.status);
    EXPECT_EQ("intercomctl: the SIP proxy is away; this is what was known before\n", phones.errors);
    PreparedCallControl second({away});
    EXPECT_EQ("intercomctl: rtpengine does not answer; the calls have no sound\n",
              second.Ask({"calls"}).errors);
}

TEST(CallCommands, RawPrintsTheLineAsItCame) {
    PreparedCallControl callControl({kEmpty});
    EXPECT_EQ(std::string(kEmpty) + "\n", callControl.Ask({"--raw", "calls"}).output);
}

TEST(CallCommands, HangupWaitsForTheEndOfThatCall) {
    const std::string ended =
        R"({"event":"ended","id":"1","code":200,"call":{"id":"1","kind":"regular","byPhone":false,)"
        R"("state":"established","seconds":1,"legs":[]}})";
    PreparedCallControl callControl(
        {kEmpty, boost::replace_all_copy(ended, "\"1\"", "\"2\"") + "\n" + ended});
    const test::ProgramResult result = callControl.Ask({"hangup", "1"});
    EXPECT_EQ(0, result.status) << result.errors;
    EXPECT_EQ("Call 1 has ended.\n", result.output);
    EXPECT_THAT(callControl.Heard(), EndsWith("\n{\"cmd\":\"hangup\",\"id\":\"1\"}\n"));
}

TEST(CallCommands, HangupOfACallThatIsNotThereIsStatus3) {
    PreparedCallControl callControl(
        {kEmpty, R"({"event":"refused","id":"9","code":481,"reason":"hangup: there is no call \"9\""})"});
    const test::ProgramResult result = callControl.Ask({"hangup", "9"});
    EXPECT_EQ(3, result.status);
    EXPECT_EQ("", result.output);
    EXPECT_EQ("intercomctl: hangup: there is no call \"9\"; intercomctl calls lists them\n", result.errors);
}

TEST(CallCommands, WithoutAPathItIsSaidHowToGiveOne) {
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"phones"}, {"calls"}, {"hangup", "1"}}) {
        const test::ProgramResult result = Ctl(words);
        EXPECT_EQ(2, result.status);
        EXPECT_THAT(result.errors, StartsWith("intercomctl: where call control is, is not known: give "
                                              "--call-control PATH, or set INTERCOM_CALLCONTROL_SOCKET, to "
                                              "the path of its socket\n"));
    }
}

TEST(CallCommands, WrongUseIsStatus2) {
    const std::string longest(200, 'x');
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"phones", "all"},
                                               {"calls", "1"},
                                               {"hangup"},
                                               {"hangup", "1", "2"},
                                               {"--call-control", longest, "calls"}})
        EXPECT_EQ(2, Ctl(words).status) << testing::PrintToString(words);
}

TEST(CallCommands, ACallControlThatIsNotThereIsStatus3WithAHint) {
    const test::ProgramResult result = Ctl({"--call-control", "/no/such/socket", "calls"});
    EXPECT_EQ(3, result.status);
    EXPECT_EQ(
        "intercomctl: cannot reach call control at /no/such/socket: No such file or directory. Is "
        "callcontrol running?\n",
        result.errors);
}

TEST(CallCommands, ACallControlThatHangsIsGivenUpAfter5Seconds) {
    PreparedCallControl callControl({"{\"event\":\"media\",\"state\":\"up\"}"});
    const auto start = std::chrono::steady_clock::now();
    const test::ProgramResult result = callControl.Ask({"calls"});
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(3, result.status);
    EXPECT_EQ("intercomctl: cannot reach call control at " + callControl.Path() + ": no answer within 5 s\n",
              result.errors);
}

TEST(CallCommands, WhatIsNoCallControlIsNamed) {
    PreparedCallControl other({"HTTP/1.1 400 Bad Request"});
    const test::ProgramResult garbage = other.Ask({"calls"});
    EXPECT_EQ(3, garbage.status);
    EXPECT_THAT(garbage.errors, HasSubstr("what it says makes no sense: event: "));
    PreparedCallControl closing({});
    const test::ProgramResult closed = closing.Ask({"calls"});
    EXPECT_EQ(3, closed.status);
    EXPECT_THAT(closed.errors, HasSubstr("it closed the connection; it lets in programs of its own user"));
    PreparedCallControl newer(
        {R"({"event":"refused","code":488,"reason":"this call control speaks version 2"})"});
    const test::ProgramResult refused = newer.Ask({"calls"});
    EXPECT_EQ(3, refused.status);
    EXPECT_EQ("intercomctl: this call control speaks version 2\n", refused.errors);
}
