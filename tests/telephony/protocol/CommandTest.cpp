#include "telephony/protocol/Command.h"

#include <gtest/gtest.h>

namespace telephony {
namespace {

std::string ErrorOf(std::string_view line) {
    try {
        ParseCommand(line);
    } catch (const CommandError& error) {
        return error.what();
    }
    return "none";
}

TEST(Command, ACallSaysWhoAndHow) {
    const Command command = ParseCommand(
        R"({"cmd":"call","id":"7","kind":"monitor","from":"hall","to":["door"],"audio":"receive","video":"receive","ring":false})");
    EXPECT_EQ(command.kind, CommandKind::Call);
    EXPECT_EQ(command.id, "7");
    EXPECT_EQ(command.callKind, CallKind::Monitor);
    EXPECT_EQ(command.from, "hall");
    EXPECT_EQ(command.to, std::vector<std::string>{"door"});
    EXPECT_EQ(command.audio, Direction::Receive);
    EXPECT_EQ(command.video, Direction::Receive);
    EXPECT_FALSE(command.ring);
}

TEST(Command, ACallIsRegularWithSoundAndRingsUnlessItSaysOtherwise) {
    const Command command = ParseCommand(R"({"cmd":"call","id":"7","from":"hall","to":["kitchen"]})");
    EXPECT_EQ(command.callKind, CallKind::Regular);
    EXPECT_EQ(command.audio, Direction::Both);
    EXPECT_EQ(command.video, Direction::None);
    EXPECT_TRUE(command.ring);
}

TEST(Command, NobodyMayBeMonitoredWhoseDriverDoesNotSaySo) {
    const Command command = ParseCommand(
        R"({"cmd":"hello","version":1,"devices":[{"user":"hall"},{"user":"door","mayBeMonitored":true,"hold":"gate","answer":"call-info"}]})");
    ASSERT_EQ(command.devices.size(), 2u);
    EXPECT_FALSE(command.devices[0].mayBeMonitored);
    EXPECT_EQ(command.devices[0].hold, HoldStyle::Reinvite);
    EXPECT_TRUE(command.devices[1].mayBeMonitored);
    EXPECT_EQ(command.devices[1].hold, HoldStyle::Gate);
    EXPECT_EQ(command.devices[1].answer, AnswerStyle::CallInfo);
}

TEST(Command, EveryCommandReadsWhatItWrites) {
    for (
        const char* line :
        {R"({"cmd":"hello","version":1,"all":true,"devices":[{"user":"a","name":"A \"B\"","mayBeMonitored":true,"codecs":["opus","PCMU"]},{"user":"t","page":true}]})",
         R"({"cmd":"call","id":"1","from":"a","to":["b","c"],"kind":"broadcast","video":"send","ring":false,"called":"All"})",
         R"({"cmd":"hangup","id":"1"})", R"({"cmd":"hangup","id":"1","leg":"b"})",
         R"({"cmd":"hold","id":"1"})", R"({"cmd":"resume","id":"1"})",
         R"({"cmd":"dtmf","id":"1","leg":"b","digits":"12#"})",
         R"({"cmd":"dtmf","id":"1","digits":"1","by":"rfc4733"})", R"({"cmd":"status"})",
         R"({"cmd":"page-present","leg":"t","present":false})",
         R"({"cmd":"page-ringing","id":"1","leg":"t"})",
         R"({"cmd":"page-answer","id":"1","leg":"t","sdp":"v=0\r\n"})",
         R"({"cmd":"page-reject","id":"1","leg":"t","code":486,"reason":"Busy"})",
         R"({"cmd":"page-keyframe","id":"1","leg":"t"})"}) {
        const std::string once = ToLine(ParseCommand(line));
        EXPECT_EQ(ToLine(ParseCommand(once)), once);
        EXPECT_EQ(once.find('\n'), std::string::npos);
    }
}

TEST(Command, APagesDescriptionComesAsItWasWritten) {
    const Command command =
        ParseCommand(R"({"cmd":"page-answer","id":"7","leg":"tablet","sdp":"v=0\r\na=x \"y\"\r\n"})");
    EXPECT_EQ(command.kind, CommandKind::PageAnswer);
    EXPECT_EQ(command.id, "7");
    EXPECT_EQ(command.leg, "tablet");
    EXPECT_EQ(command.sdp, "v=0\r\na=x \"y\"\r\n");
}

TEST(Command, WhoSpeaksForPagesSaysWhoseWhatAndWhy) {
    EXPECT_TRUE(
        ParseCommand(R"({"cmd":"hello","version":1,"devices":[{"user":"t","page":true}]})").devices[0].page);
    EXPECT_TRUE(ParseCommand(R"({"cmd":"page-present","leg":"t","present":true})").present);
    EXPECT_EQ(ErrorOf(R"({"cmd":"page-present","leg":"t"})"), "command: the field \"present\" is missing");
    EXPECT_EQ(ErrorOf(R"({"cmd":"page-present","id":"1","leg":"t","present":true})"),
              "command: unknown field \"id\"");
    EXPECT_EQ(ErrorOf(R"({"cmd":"page-ringing","id":"1"})"), "command: the field \"leg\" is missing");
    EXPECT_EQ(ErrorOf(R"({"cmd":"page-answer","id":"1","leg":"t","sdp":""})"),
              "command: \"sdp\" must be a text that is not empty");
    for (const char* code : {"200", "700", "4.86", "\"486\"", "-1", "99999999999999999999"})
        EXPECT_EQ(ErrorOf(R"({"cmd":"page-reject","id":"1","leg":"t","code":)" + std::string(code) + "}"),
                  "command: \"code\" must be a whole number from 400 to 699");
    EXPECT_EQ(
        ErrorOf("{\"cmd\":\"page-reject\",\"id\":\"1\",\"leg\":\"t\",\"code\":486,\"reason\":\"a\\nb\"}"),
        "command: \"reason\" must not contain control characters");
}

TEST(Command, WhatIsNoObjectIsRefused) {
    for (const char* line : {"", "garbage", "{", "[]", "7", "\"call\"", "null", "\xff\xfe", "{\"cmd\":"})
        EXPECT_NE(ErrorOf(line), "none") << line;
    EXPECT_EQ(ErrorOf(R"({"cmd":"fly"})"),
              "command: \"cmd\" must be one of hello, call, hangup, hold, resume, dtmf, status, "
              "page-present, page-ringing, page-answer, page-reject, page-keyframe");
    EXPECT_EQ(ErrorOf("{}"), "command: the field \"cmd\" is missing");
}

TEST(Command, AMisspeltFieldIsRefusedRatherThanNotObeyed) {
    EXPECT_EQ(ErrorOf(R"({"cmd":"call","id":"1","from":"a","to":["b"],"vidio":"both"})"),
              "command: unknown field \"vidio\"");
    EXPECT_EQ(ErrorOf(R"({"cmd":"hello","version":1,"devices":[{"user":"a","mayBeMonitord":true}]})"),
              "device: unknown field \"mayBeMonitord\"");
}

TEST(Command, CodecsOfADeviceAreKnownOnesInAnyCaseAndOnce) {
    const auto hello = [](const std::string& codecs) {
        return R"({"cmd":"hello","version":1,"devices":[{"user":"a","codecs":)" + codecs + "}]}";
    };
    EXPECT_EQ(ParseCommand(hello(R"(["OPUS","g722"])")).devices[0].codecs,
              (std::vector<std::string>{"opus", "G722"}));
    EXPECT_EQ(ErrorOf(hello(R"(["G729"])")), "device: \"codecs\" must be of PCMA, PCMU, G722, opus");
    EXPECT_EQ(ErrorOf(hello(R"(["opus","OPUS"])")), "device: \"codecs\" names one twice");
    EXPECT_EQ(ErrorOf(hello(R"("opus")")), "device: \"codecs\" must be a list");
}

TEST(Command, NamesCannotEndALineOfSip) {
    EXPECT_EQ(ErrorOf("{\"cmd\":\"hangup\",\"id\":\"a\\r\\nX: y\"}"),
              "command: \"id\" must not contain control characters");
    EXPECT_EQ(ErrorOf(R"({"cmd":"call","id":"1","from":"","to":["b"]})"),
              "command: \"from\" must not be empty");
    EXPECT_EQ(ErrorOf(R"({"cmd":"hangup","id":")" + std::string(129, 'x') + "\"}"),
              "command: \"id\" is longer than 128 bytes");
}

TEST(Command, ACallHasOneToManyCalleesAndNotTheCaller) {
    EXPECT_EQ(ErrorOf(R"({"cmd":"call","id":"1","from":"a","to":[]})"),
              "command: \"to\" must be a list of 1 to 256 users");
    EXPECT_EQ(ErrorOf(R"({"cmd":"call","id":"1","from":"a","to":["a"]})"),
              "command: \"to\" names the caller");
    EXPECT_EQ(ErrorOf(R"({"cmd":"call","id":"1","from":"a","to":["b","b"]})"),
              "command: \"to\" names a user twice");
    EXPECT_EQ(ErrorOf(R"({"cmd":"call","id":"1","kind":"monitor","from":"a","to":["b","c"]})"),
              "command: \"to\" must name one user in a monitor call");
}

TEST(Command, OnlyKeysOfAPhoneAreDigits) {
    EXPECT_EQ(ErrorOf(R"({"cmd":"dtmf","id":"1","digits":"12x"})"),
              "command: \"digits\" must be at most 32 of 0-9 * # A-D");
    EXPECT_EQ(ErrorOf(R"({"cmd":"dtmf","id":"1"})"), "command: the field \"digits\" is missing");
    EXPECT_EQ(ErrorOf(R"({"cmd":"dtmf","id":"1","digits":"1","by":"hand"})"),
              "command: \"by\" must be one of info, rfc4733");
}

}  // namespace
}  // namespace telephony
