#include "telephony/protocol/Event.h"

#include <gtest/gtest.h>

namespace telephony {
namespace {

TEST(Event, OnlyWhatSaysSomethingIsSent) {
    Event event;
    event.kind = EventKind::Ringing;
    event.id = "7";
    event.leg = "kitchen";
    event.code = 180;
    EXPECT_EQ(ToLine(event), R"({"code":180,"event":"ringing","id":"7","leg":"kitchen"})");
}

TEST(Event, AnEndedCallTellsWhatBecameOfEveryLeg) {
    Event event;
    event.kind = EventKind::Ended;
    event.id = "7";
    event.code = 486;
    event.reason = "Busy Here";
    event.by = "kitchen";
    event.call = {"7",   CallKind::Regular,
                  false, "calling",
                  0,     {{"kitchen", LegRole::Callee, LegState::Down, 486, "Busy Here"}}};
    const Event read = ParseEvent(ToLine(event));
    ASSERT_EQ(read.call.legs.size(), 1u);
    EXPECT_EQ(read.call.legs[0].user, "kitchen");
    EXPECT_EQ(read.call.legs[0].code, 486);
    EXPECT_EQ(read.call.legs[0].packetsLost, -1);
    EXPECT_EQ(ToLine(read), ToLine(event));
}

TEST(Event, ASnapshotHoldsPhonesAndCalls) {
    Event event;
    event.proxy = "up";
    event.media = "lost";
    event.phones = {{"hall", "sip:hall@192.0.2.1", "Phone \"X\"", 1700000000}};
    event.away = {{"attic", "", "", 1700000001, "Attic", "expired"}};
    event.calls = {
        {"7", CallKind::Broadcast, false, "established", 12.5, {{"hall", LegRole::Caller, LegState::Up}}}};
    const Event read = ParseEvent(ToLine(event));
    EXPECT_EQ(read.phones.at(0).agent, "Phone \"X\"");
    EXPECT_EQ(read.away.at(0).name, "Attic");
    EXPECT_EQ(read.away.at(0).reason, "expired");
    EXPECT_EQ(read.calls.at(0).kind, CallKind::Broadcast);
    EXPECT_EQ(read.media, "lost");
    EXPECT_EQ(ToLine(read), ToLine(event));
}

TEST(Event, APageIsToldAllThatItShowsAndNeeds) {
    Event event;
    event.kind = EventKind::PageInvite;
    event.id = "7";
    event.leg = "tablet";
    event.sdp = "v=0\r\n";
    event.page = {CallKind::Monitor, Direction::Send, Direction::None, true,
                  LegRole::Callee,   "hall",          "Hall \"1\"",    "Everybody"};
    const std::string line = ToLine(event);
    EXPECT_EQ(
        line,
        R"({"answers":true,"audio":"send","called":"Everybody","event":"page-invite","from":"hall","id":"7","kind":"monitor","leg":"tablet","name":"Hall \"1\"","role":"callee","sdp":"v=0\r\n","video":"none"})");
    EXPECT_EQ(ToLine(ParseEvent(line)), line);
}

TEST(Event, OnlyAnInviteNeedsMoreThanTheDescription) {
    const Event offer = ParseEvent(R"({"event":"page-offer","id":"7","leg":"tablet","sdp":"v=0\r\n"})");
    EXPECT_EQ(offer.kind, EventKind::PageOffer);
    EXPECT_EQ(offer.sdp, "v=0\r\n");
    EXPECT_EQ(ParseEvent(R"({"event":"page-keyframe","id":"7","leg":"tablet"})").leg, "tablet");
    EXPECT_THROW(ParseEvent(R"({"event":"page-invite","id":"7","leg":"tablet","sdp":"v=0\r\n"})"),
                 std::runtime_error);
}

TEST(Event, ATextOfAPhoneThatIsNoUtf8StaysALine) {
    Event event;
    event.kind = EventKind::LegDown;
    event.reason = "Bus\xff\ny";
    const std::string line = ToLine(event);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    EXPECT_EQ(ParseEvent(line).reason, "Bus\xef\xbf\xbd\ny");
}

TEST(Event, WhatIsMoreIsPassedOver) {
    EXPECT_EQ(ParseEvent(R"({"event":"leg-up","id":"7","colour":"red"})").id, "7");
}

TEST(Event, WhatIsUnknownOrBrokenIsRefused) {
    for (const char* line : {"", "{}", "[]", R"({"event":"flown"})", R"({"event":"ended","id":"7"})",
                             R"({"event":"leg-up","id":7})"})
        EXPECT_THROW(ParseEvent(line), std::runtime_error) << line;
}

}  // namespace
}  // namespace telephony
