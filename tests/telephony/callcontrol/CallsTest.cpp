// Calls between real phones through the real proxy, with digest, and rtpengine.
#include <gtest/gtest.h>

#include "tests/telephony/callcontrol/RealCalls.h"

namespace test {
namespace {

TEST_F(RealCalls, TwoPhonesThatAreCalledHearEachOther) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    EXPECT_EQ(client_->Wait(EventKind::LegUp, "hall").codecs, "PCMA/8000");
    client_->Wait(EventKind::Established);
    const auto begin = std::chrono::steady_clock::now();
    Talk(hall, kitchen);
    const std::chrono::duration<double> talked = std::chrono::steady_clock::now() - begin;
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.code, 200);
    EXPECT_EQ(ended.by, "command");
    EXPECT_GT(ended.seconds, talked.count() - 0.1);
    EXPECT_GT(ended.call.legs.at(0).packetsReceived, 50);
    EXPECT_GT(ended.call.legs.at(1).packetsReceived, 50);
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(Hears(kitchen, 440));
    EXPECT_GT(hall.Recorded().SecondsOf(660), 0.5);
    EXPECT_GT(kitchen.Recorded().SecondsOf(440), 0.5);
    EXPECT_TRUE(WaitUntil([&] { return home_->Rooms() == 0; }));
}

TEST_F(RealCalls, PhonesOfTwoMakersHearEachOther) {
    Linphone hall(*home_, "hall", 6100, 600);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    for (const char* call : {R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})",
                             R"({"cmd":"call","id":"1","from":"kitchen","to":["hall"]})"}) {
        client_->Send(call);
        client_->Wait(EventKind::Established);
        Talk(hall, kitchen);
        client_->Send(R"({"cmd":"hangup","id":"1"})");
        const Event ended = client_->Wait(EventKind::Ended);
        EXPECT_GT(ended.call.legs.at(0).packetsReceived, 30);
        EXPECT_GT(ended.call.legs.at(1).packetsReceived, 30);
        EXPECT_TRUE(Hears(kitchen, 600));
    }
    EXPECT_TRUE(Hears(hall, 660));
}

TEST_F(RealCalls, APhoneThatKnowsNoReinviteIsCallerAndCallee) {
    Sipp rigid(*home_, "rigid", 6120, "rigid.xml");
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"rigid","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    Talk(kitchen);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    EXPECT_EQ(client_->Wait(EventKind::Ended).code, 200);
    EXPECT_EQ(rigid.Wait(), 0);
    EXPECT_TRUE(Hears(kitchen, 660));  // it sends back what it hears
}

TEST_F(RealCalls, TheCallerHearsTheRingingToneUntilTheOtherAnswers) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660, {.answers = false});
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Ringing, "kitchen");
    EXPECT_TRUE(WaitUntil([&] { return hall.Sent().SecondsOf(425) > 0.5; }));
    EXPECT_EQ(hall.Sent().SecondsOf(660), 0);
    kitchen.Do("accept");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(WaitUntil([&] { return hall.Sent().SecondsOf(660) > 0.5; }));
    const double rung = hall.Sent().SecondsOf(425);
    Talk(hall, kitchen);
    EXPECT_EQ(hall.Sent().SecondsOf(425), rung);
    EXPECT_TRUE(Hears(kitchen, 440));
}

TEST_F(RealCalls, WhoHangsUpAtThePhoneEndsTheCallForBoth) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    kitchen.Do("hangup");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.code, 200);
    EXPECT_EQ(ended.by, "kitchen");
    EXPECT_TRUE(WaitUntil([&] { return hall.Log().find("session closed") != std::string::npos; }));
}

TEST_F(RealCalls, ACallThatCannotBeMadeSaysWhyAndFreesTheCaller) {
    Baresip hall(*home_, "hall", 6100, 440);
    Sipp busy(*home_, "busy", 6120, "busy.xml");
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["nobody"]})");
    Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.code, 480);
    EXPECT_EQ(ended.by, "nobody");
    client_->Send(R"({"cmd":"call","id":"2","from":"hall","to":["busy"]})");
    ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.code, 486);
    EXPECT_EQ(ended.reason, "Busy Here");
    EXPECT_EQ(ended.call.legs.at(1).state, telephony::LegState::Down);
    client_->Send(R"({"cmd":"call","id":"3","from":"nobody","to":["hall"]})");
    ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.code, 480);
    EXPECT_EQ(ended.call.legs.at(1).state, telephony::LegState::Down);
    EXPECT_FALSE(ended.call.legs.at(1).answered);
    EXPECT_TRUE(WaitUntil([&] { return home_->Rooms() == 0; }));
}

TEST_F(RealCalls, ACallerWhosePhoneRefusesCallsNobody) {
    Sipp hall(*home_, "hall", 6100, "decline.xml");
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.code, 603);
    EXPECT_EQ(ended.by, "hall");
    EXPECT_EQ(kitchen.Log().find("Incoming call"), std::string::npos);
    EXPECT_TRUE(WaitUntil([&] { return home_->Rooms() == 0; }));
}

TEST_F(RealCalls, OnePhoneHasTwoCallsAtOnceAndTheyEndApart) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    Baresip office(*home_, "office", 6120, 880);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    EXPECT_EQ(client_->Wait(EventKind::Established).id, "1");
    client_->Send(R"({"cmd":"call","id":"2","from":"office","to":["kitchen"]})");
    EXPECT_EQ(client_->Wait(EventKind::Established).id, "2");
    EXPECT_TRUE(Hears(office, 660));
    client_->Send(R"({"cmd":"hangup","id":"2"})");
    EXPECT_EQ(client_->Wait(EventKind::Ended).id, "2");
    client_->Send(R"({"cmd":"status"})");
    const Event snapshot = client_->Wait(EventKind::Snapshot);
    ASSERT_EQ(snapshot.calls.size(), 1u);
    EXPECT_EQ(snapshot.calls[0].id, "1");
}

TEST_F(RealCalls, ACallIsHungUpFromOutsideWhileEitherEndRings) {
    Baresip hall(*home_, "hall", 6100, 440, {.answers = false});
    Baresip kitchen(*home_, "kitchen", 6110, 660, {.answers = false});
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Ringing, "hall");
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    EXPECT_FALSE(client_->Wait(EventKind::Ended).call.legs.at(0).answered);
    client_->Send(R"({"cmd":"call","id":"2","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Ringing, "hall");
    hall.Do("accept");
    client_->Wait(EventKind::Ringing, "kitchen");
    client_->Send(R"({"cmd":"hangup","id":"2"})");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_TRUE(ended.call.legs.at(0).answered);
    EXPECT_EQ(ended.call.legs.at(1).code, 487);
    EXPECT_TRUE(WaitUntil([&] { return kitchen.Log().find("session closed") != std::string::npos; }));
}

TEST_F(RealCalls, WhatIsSentBeforeTheAnswerIsHeardInsteadOfTheRingingTone) {
    Baresip hall(*home_, "hall", 6100, 440);
    Sipp early(*home_, "early", 6120, "early.xml");
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["early"]})");
    EXPECT_EQ(client_->Wait(EventKind::Ringing, "early").code, 183);
    Talk(hall);
    EXPECT_TRUE(Hears(hall, 440));  // it sends back what it hears
    client_->Send(R"({"cmd":"status"})");
    EXPECT_EQ(client_->Wait(EventKind::Snapshot).calls.at(0).state, "calling");
    client_->Wait(EventKind::Established);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    EXPECT_EQ(client_->Wait(EventKind::Ended).code, 200);
    EXPECT_EQ(early.Wait(), 0);
}

TEST_F(RealCalls, APhoneThatCallsHearsWhatIsSentBeforeTheAnswer) {
    Baresip hall(*home_, "hall", 6100, 440);
    Sipp early(*home_, "early", 6120, "early.xml");
    hall.Do("dial", "sip:early@intercom");
    client_->Wait(EventKind::Ringing, "early");
    client_->Wait(EventKind::Established);
    Talk(hall);
    EXPECT_TRUE(Hears(hall, 440));
    hall.Do("hangup");
    EXPECT_EQ(client_->Wait(EventKind::Ended).by, "hall");
}

TEST_F(RealCalls, PicturesPassBothWaysWhenTheCallIsOneWithVideo) {
    Baresip hall(*home_, "hall", 6100, 440, {.video = true});
    Baresip door(*home_, "door", 6110, 660, {.video = true});
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["door"],"video":"both"})");
    EXPECT_EQ(client_->Wait(EventKind::LegUp, "hall").codecs, "PCMA/8000 VP8/90000");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(WaitUntil([&] { return hall.Pictures() > 10 && door.Pictures() > 10; }));
    EXPECT_TRUE(Hears(hall, 660));
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    client_->Wait(EventKind::Ended);
}

TEST_F(RealCalls, PicturesPassAsH264Too) {
    Baresip hall(*home_, "hall", 6100, 440, {.video = true, .pictures = "avcodec"});
    Baresip door(*home_, "door", 6110, 660, {.video = true, .pictures = "avcodec"});
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["door"],"video":"both"})");
    EXPECT_EQ(client_->Wait(EventKind::LegUp, "hall").codecs, "PCMA/8000 H264/90000");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(WaitUntil([&] { return hall.Pictures() > 10 && door.Pictures() > 10; }));
}

TEST_F(RealCalls, APhoneWithoutVideoTalksToOneThatHasIt) {
    Baresip hall(*home_, "hall", 6100, 440, {.video = true});
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"],"video":"both"})");
    EXPECT_EQ(client_->Wait(EventKind::LegUp, "kitchen").codecs, "PCMA/8000");
    client_->Wait(EventKind::Established);
    Talk(hall, kitchen);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    client_->Wait(EventKind::Ended);
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(Hears(kitchen, 440));
    EXPECT_EQ(kitchen.Pictures(), 0);
}

TEST_F(RealCalls, AnAnswerThatIsTooLongEndsTheCallInsteadOfBeingCut) {
    Baresip hall(*home_, "hall", 6100, 440);
    Sipp huge(*home_, "huge", 6120, "huge.xml");
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["huge"]})");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.code, 488);
    EXPECT_EQ(ended.reason, "The description is too long");
    EXPECT_EQ(huge.Wait(), 0);  // it was told BYE
}

TEST_F(RealCalls, TwoCallsRunAtOnceAndEndApart) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    Baresip office(*home_, "office", 6120, 880);
    Baresip attic(*home_, "attic", 6130, 1100);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Send(R"({"cmd":"call","id":"2","from":"office","to":["attic"]})");
    client_->Wait(EventKind::Established);
    client_->Wait(EventKind::Established);
    Talk(hall, kitchen, office, attic);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    EXPECT_EQ(client_->Wait(EventKind::Ended).id, "1");
    client_->Send(R"({"cmd":"status"})");
    EXPECT_EQ(client_->Wait(EventKind::Snapshot).calls.at(0).id, "2");
    client_->Send(R"({"cmd":"hangup","id":"2"})");
    EXPECT_EQ(client_->Wait(EventKind::Ended).id, "2");
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(Hears(attic, 880));
}

}  // namespace
}  // namespace test
