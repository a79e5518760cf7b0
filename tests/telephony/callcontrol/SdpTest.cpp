#include "telephony/callcontrol/Sdp.h"

#include <gtest/gtest.h>

#include "telephony/callcontrol/Dialog.h"
#include "telephony/callcontrol/ProxyLink.h"

namespace telephony {
namespace {

constexpr char kPhone[] =
    "v=0\r\no=phone 5 9 IN IP4 192.0.2.1\r\ns=-\r\nc=IN IP4 192.0.2.1\r\nt=0 0\r\n"
    "m=audio 4000 RTP/AVP 8 101\r\na=rtpmap:101 telephone-event/8000\r\na=sendonly\r\n"
    "m=video 4002 RTP/AVP 99\r\na=rtpmap:99 H264/90000\r\na=recvonly\r\n";

TEST(Sdp, ThePlaceholderHasARealAddressAndADeadPort) {
    const std::string sdp = PlaceholderSdp("192.0.2.7", {"PCMA", "PCMU"}, Direction::Send, Direction::None);
    EXPECT_EQ(ReceivesAt(sdp), "192.0.2.7:9");
    EXPECT_EQ(DirectionOf(sdp), Direction::Send);
    EXPECT_EQ(sdp.find("m=video"), std::string::npos);
    EXPECT_NE(
        PlaceholderSdp("192.0.2.7", {"PCMA", "PCMU"}, Direction::Both, Direction::Both).find("m=video 9 "),
        std::string::npos);
}

TEST(Sdp, CodecsAreThoseOfMediaThatAreNotRefused) {
    EXPECT_EQ(CodecsOf(kPhone), "PCMA/8000 H264/90000");
    EXPECT_EQ(CodecsOf("m=audio 4000 RTP/AVP 0\nm=video 0 RTP/AVP 99\n"), "PCMU/8000");
    EXPECT_EQ(CodecsOf("garbage"), "");
}

TEST(Sdp, TheDirectionIsThatOfAllMedia) {
    EXPECT_EQ(DirectionOf(kPhone), Direction::Both);
    EXPECT_EQ(DirectionOf("a=inactive\r\nm=audio 1 RTP/AVP 0\r\n"), Direction::None);
    EXPECT_EQ(DirectionOf("m=audio 1 RTP/AVP 0\r\n"), Direction::Both);
    EXPECT_EQ(DirectionOf("m=audio 0 RTP/AVP 0\r\n"), Direction::None);
}

TEST(Sdp, AnotherDirectionReplacesWhatStandsThere) {
    const std::string held = WithDirection(kPhone, Direction::None);
    EXPECT_EQ(DirectionOf(held), Direction::None);
    EXPECT_EQ(held.find("sendonly"), std::string::npos);
    EXPECT_NE(held.find("m=video 4002 RTP/AVP 99\r\na=rtpmap:99 H264/90000\r\na=inactive\r\n"),
              std::string::npos);
}

TEST(Sdp, TheOriginBecomesOurs) {
    const std::string own = WithOrigin(kPhone, 77, 3, "192.0.2.9");
    EXPECT_NE(own.find("o=- 77 3 IN IP4 192.0.2.9\r\n"), std::string::npos);
    EXPECT_NE(own.find("c=IN IP4 192.0.2.1\r\n"), std::string::npos);
}

TEST(Sdp, WhatOneEndSendsTheOtherReceives) {
    EXPECT_EQ(Mirrored(Direction::Send), Direction::Receive);
    EXPECT_EQ(Mirrored(Direction::Both), Direction::Both);
    EXPECT_EQ(Common(Direction::Both, Direction::Send), Direction::Send);
    EXPECT_EQ(Common(Direction::Receive, Direction::Send), Direction::None);
}

TEST(Uri, AnyUserIsLegalAndComesBack) {
    for (const char* user : {"hall", "Front door", "a@b", "100%", "\"x\"", "T\xc3\xbcr", "a;b<c>"}) {
        const std::string part = UserPart(user);
        EXPECT_EQ(part.find_first_of(" @\"<>"), std::string::npos) << part;
        EXPECT_EQ(UserOf(part), user);
    }
    EXPECT_EQ(UserOf("50%"), "50%");
    EXPECT_EQ(UserOf("%4"), "%4");
    EXPECT_EQ(UserOf("%41"), "A");
}

TEST(Uri, ANameBetweenQuotesEndsThere) {
    EXPECT_EQ(Quoted("a\"b\\c"), "\"a\\\"b\\\\c\"");
}

TEST(Uri, TheAddressStandsBetweenBrackets) {
    EXPECT_EQ(AddressIn("\"A <b> \\\" <c>\" <sip:a@b;lr>;tag=1"), "sip:a@b;lr");
    EXPECT_EQ(AddressIn("\"open <sip:a@b>"), "\"open <sip:a@b>");
    EXPECT_EQ(AddressIn("<sip:a@b;lr>;tag=1"), "sip:a@b;lr");
    EXPECT_EQ(AddressIn("sip:a@b;tag=1"), "sip:a@b");
}

TEST(Netstrings, ComeWholeHoweverTheyArrive) {
    NetstringReader reader;
    std::vector<std::string> seen;
    for (const char byte : std::string("3:abc,0:,5:{\"a\"},")) {
        reader.Add(std::string(1, byte));
        while (auto message = reader.Next())
            seen.push_back(*message);
    }
    EXPECT_EQ(seen, (std::vector<std::string>{"abc", "", "{\"a\"}"}));
}

TEST(Netstrings, AStreamThatIsNoneIsRefused) {
    for (const char* text : {"abcdefghijkl", "x:abc,", "3:abcd", "99999999:", "-1:,"}) {
        NetstringReader reader;
        reader.Add(text);
        EXPECT_THROW(reader.Next(), std::runtime_error) << text;
    }
}

TEST(Sdp, ThePlaceholderHasTheCodecsInTheirOrderAndKeys) {
    EXPECT_NE(PlaceholderSdp("192.0.2.7", {"opus", "PCMU"}, Direction::Both, Direction::None)
                  .find("m=audio 9 RTP/AVP 96 0 101\r\na=rtpmap:96 opus/48000/2\r\na=rtpmap:0 PCMU/8000\r\n"
                        "a=rtpmap:101 telephone-event/8000\r\n"),
              std::string::npos);
}

TEST(Sdp, CodecsThatAPhoneDoesNotPreferAreLeftOutOfItsSoundOnly) {
    const std::string head = "v=0\r\nc=IN IP4 192.0.2.1\r\n";
    const std::string video = "m=video 6 RTP/AVP 96\r\na=rtpmap:96 VP8/90000\r\n";
    const std::string sdp = head +
                            "m=audio 4 RTP/AVP 0 8 107 9 101\r\na=rtpmap:8 PCMA/8000\r\n"
                            "a=rtpmap:107 OPUS/48000/2\r\na=fmtp:107 stereo=1\r\n"
                            "a=rtpmap:101 telephone-event/8000\r\na=sendonly\r\n" +
                            video;
    EXPECT_EQ(telephony::WithCodecs(sdp, {"G722", "PCMA"}),
              head +
                  "m=audio 4 RTP/AVP 9 8 101\r\na=rtpmap:8 PCMA/8000\r\n"
                  "a=rtpmap:101 telephone-event/8000\r\na=sendonly\r\n" +
                  video);
    EXPECT_NE(telephony::WithCodecs(sdp, {"opus"}).find("m=audio 4 RTP/AVP 107 101\r\n"), std::string::npos);
    EXPECT_EQ(telephony::WithCodecs(sdp, {}), sdp);
    EXPECT_EQ(telephony::WithCodecs(video, {"PCMA"}), video);
    const std::string foreign = "m=audio 4 RTP/AVP 18\r\n";
    EXPECT_EQ(telephony::WithCodecs(foreign, {"PCMA"}), foreign);
}

}  // namespace
}  // namespace telephony
