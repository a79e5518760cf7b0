// Drivers and tools on the socket: what each is told, and those that do not keep to the rules.
#include <sys/stat.h>

#include "tests/telephony/callcontrol/RealCalls.h"

namespace test {
namespace {

TEST_F(RealCalls, ADriverLearnsOnlyOfItsOwnDevice) {
    const auto hallDriver = home_->Connect();
    const auto atticDriver = home_->Connect();
    hallDriver->Greet(R"([{"user":"hall"}])");
    atticDriver->Greet(R"([{"user":"attic"}])");
    Baresip hall(*home_, "hall", 6100, 440);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    EXPECT_EQ(hallDriver->Wait(EventKind::Registered).phone.user, "hall");
    EXPECT_EQ(hallDriver->Wait(EventKind::Ended).id, "1");
    Baresip attic(*home_, "attic", 6110, 660);
    EXPECT_EQ(atticDriver->WaitForAny().phone.user, "attic");
}

TEST_F(RealCalls, WhoConnectsAnewIsToldWhatIs) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    client_.reset();  // the host has ended; the call goes on
    client_ = home_->Connect();
    const Event snapshot = client_->Greet();
    EXPECT_EQ(snapshot.media, "up");
    EXPECT_EQ(snapshot.proxy, "up");
    EXPECT_EQ(snapshot.phones.size(), 2u);
    ASSERT_EQ(snapshot.calls.size(), 1u);
    EXPECT_EQ(snapshot.calls[0].state, "established");
    EXPECT_EQ(snapshot.calls[0].legs.at(1).state, telephony::LegState::Up);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    EXPECT_EQ(client_->Wait(EventKind::Ended).code, 200);
}

TEST_F(RealCalls, PhonesThatComeAndGoAreTold) {
    {
        Baresip hall(*home_, "hall", 6100, 440);
        const Event registered = client_->Wait(EventKind::Registered);
        EXPECT_EQ(registered.phone.user, "hall");
        EXPECT_NE(registered.phone.agent.find("baresip"), std::string::npos);
    }
    const Event lost = client_->Wait(EventKind::Lost);
    EXPECT_EQ(lost.phone.user, "hall");
    EXPECT_EQ(lost.reason, "unregistered");
}

TEST_F(RealCalls, GarbageIsRefusedLineByLineAndOthersAreServed) {
    const auto stranger = home_->Connect();
    stranger->SendRaw("garbage\n{\"cmd\":\"fly\"}\n\xff\xfe\n");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(stranger->Wait(EventKind::Refused).code, 488);
    stranger->Send(R"({"cmd":"status"})");
    EXPECT_EQ(stranger->Wait(EventKind::Refused).reason, "status: the first line must be a hello");
    stranger->Send(R"({"cmd":"hello","version":99})");
    EXPECT_EQ(stranger->Wait(EventKind::Refused).reason, "hello: this call control speaks version 1");
    client_->Send(R"({"cmd":"hangup","id":"none"})");
    EXPECT_EQ(client_->Wait(EventKind::Refused).reason, "hangup: there is no call \"none\"");
}

TEST_F(RealCalls, WhoSendsNothingButGarbageIsClosed) {
    const auto stranger = home_->Connect();
    for (int i = 0; i < 200; ++i)
        stranger->Send("garbage");
    EXPECT_TRUE(stranger->WaitForEnd());
    EXPECT_NE(home_->Log().find("sent 100 lines that are no commands"), std::string::npos);
}

TEST_F(RealCalls, ALineWithoutEndIsClosedAndAHalfLineIsSaid) {
    const auto endless = home_->Connect();
    endless->SendRaw(std::string(2 * telephony::kLongestLine, 'x'));
    EXPECT_TRUE(endless->WaitForEnd());
    EXPECT_NE(home_->Log().find("sent a line that does not end"), std::string::npos);
    home_->Connect()->SendRaw("{\"cmd\":\"hel");
    EXPECT_TRUE(
        WaitUntil([&] { return home_->Log().find("it broke off within a line") != std::string::npos; }));
}

TEST_F(RealCalls, AClientThatNeverReadsIsClosedAndHoldsNobodyUp) {
    const auto deaf = home_->Connect();
    deaf->Send(R"({"cmd":"hello","version":1,"all":true})");
    for (int i = 0; i < 60000; ++i)
        deaf->Send(R"({"cmd":"status"})");
    EXPECT_TRUE(
        WaitUntil([&] { return home_->Log().find("does not read what it is told") != std::string::npos; }));
    client_->Send(R"({"cmd":"status"})");
    EXPECT_EQ(client_->Wait(EventKind::Snapshot).media, "up");
}

TEST_F(RealCalls, TheSocketAndTheJournalAreThisUsersAlone) {
    struct stat status {};
    ASSERT_EQ(stat(home_->Socket().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
    ASSERT_EQ(stat((home_->Folder() / "journal").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0700u);
    Baresip hall(*home_, "hall", 6100, 440, {.answers = false});
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Ringing);
    for (const auto& file : std::filesystem::directory_iterator(home_->Folder() / "journal")) {
        ASSERT_EQ(stat(file.path().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777u, 0600u);
    }
}

TEST_F(RealCalls, NoSecretIsLoggedToldOrOnACommandLine) {
    Baresip hall(*home_, "hall", 6100, 440);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Ended);
    client_->Send(R"({"cmd":"status"})");
    client_->Wait(EventKind::Snapshot);
    const std::string process = "/proc/" + std::to_string(home_->CallControlId());
    for (const std::string& text :
         {home_->Log(), client_->Seen(), ReadFile(process + "/cmdline"), ReadFile(process + "/environ")})
        for (const char* secret : {"test-secret-of-the-proxy", "test-password-of-callcontrol"})
            EXPECT_EQ(text.find(secret), std::string::npos);
}

}  // namespace
}  // namespace test
