// Programs of the home that die in a call, and what the people who talk notice of it.
#include <nlohmann/json.hpp>

#include "tests/support/process/RunProgram.h"
#include "tests/telephony/home/House.h"

namespace test {
namespace {

class Survival : public House {
protected:
    void SetUp() override {
        House::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        hall_ = std::make_unique<Baresip>(*home_, "hall", 6100, 440);
        kitchen_ = std::make_unique<Baresip>(*home_, "kitchen", 6110, 660);
        ASSERT_TRUE(StateBecomes(101, 0));
        ASSERT_TRUE(StateBecomes(102, 0));
    }

    void TearDown() override {
        hall_.reset();
        kitchen_.reset();
        House::TearDown();
    }

    void StartTalking() const {
        Call(101, 102);
        ASSERT_TRUE(StateBecomes(101, 3));
        ASSERT_TRUE(StateBecomes(102, 3));
        Talk(*hall_, *kitchen_);
    }

    /// Sound that was made since this was asked.
    void ExpectBothHearEachOther() const {
        Talk(*hall_, *kitchen_);
        EXPECT_TRUE(Hears(*hall_, 660));
        EXPECT_TRUE(Hears(*kitchen_, 440));
    }

    static bool HasEnded(const Baresip& phone) {
        return WaitUntil([&] { return phone.Log().find("session closed") != std::string::npos; });
    }

    /// Another than the process that was asked for before.
    bool KamailioStartsAgain(pid_t before) const {
        return WaitUntil([&] {
            const std::vector<pid_t> now = Kamailios();
            return !now.empty() && now.front() != before && Snapshot().proxy == "up";
        });
    }

    bool IsRegisteredByTcp(const std::string& user) const {
        for (const auto& phone : Snapshot().phones)
            if (phone.user == user) return phone.contact.find(";transport=tcp") != std::string::npos;
        return false;
    }
    /// When the registration of its phone runs out, as the proxy has noted it; 0 when there is none.
    double EndOfRegistration(const std::string& user) const {
        const auto status = nlohmann::json::parse(
            RunProgram({BIN_FOLDER "/sipproxy", "--status", "--json"}, Environment()).output, nullptr, false);
        if (!status.is_object()) return 0;
        for (const auto& phone : status["registrations"])
            if (phone["user"] == user) return std::stod(phone["expires"].get<std::string>());
        return 0;
    }

    pid_t SipproxyId() const { return std::stoi(ReadFile(folder_ / "sysman/sipproxy.process")); }

    void ExpectACallOutlivesAKill(pid_t killed) const {
        StartTalking();
        const pid_t before = Kamailios().front();
        kill(killed, SIGKILL);
        EXPECT_TRUE(KamailioStartsAgain(before));
        ExpectBothHearEachOther();
        hall_->Do("hangup");
        EXPECT_TRUE(StateBecomes(101, 0));
        EXPECT_TRUE(StateBecomes(102, 0));
    }

    void ExpectWhoRingsIsConnectedAfterAKill(pid_t killed) {
        hall_.reset();
        Baresip attic(*home_, "attic", 6120, 880, {.answers = false});
        EXPECT_TRUE(StateBecomes(103, 0));
        Call(102, 103);
        EXPECT_TRUE(StateBecomes(103, 2));
        const pid_t before = Kamailios().front();
        kill(killed, SIGKILL);
        EXPECT_TRUE(KamailioStartsAgain(before));
        attic.Do("accept");
        EXPECT_TRUE(StateBecomes(103, 3));
        EXPECT_TRUE(StateBecomes(102, 3));
        Talk(attic);
        EXPECT_TRUE(Hears(attic, 660));
    }

    std::unique_ptr<Baresip> hall_, kitchen_;
};

TEST_F(Survival, ACallAndTheRegistrationsOutliveTheProxysNewRecords) {
    StartTalking();
    const pid_t before = Kamailios().front();
    Command("applySIPProxyChanges");
    EXPECT_TRUE(KamailioStartsAgain(before));
    ExpectBothHearEachOther();
    hall_->Do("hangup");
    EXPECT_TRUE(StateBecomes(102, 0));
    EXPECT_TRUE(StateBecomes(101, 0));
    Call(102, 101);
    EXPECT_TRUE(StateBecomes(101, 3));
    EXPECT_EQ(hall_->Log().find("reg: 401"), std::string::npos);
}

// Its connection ends with Kamailio, which makes one to the phone's own port, until it comes by another.
TEST_F(Survival, APhoneByTcpCallsAndIsCalledAndAfterNewRecordsAgain) {
    hall_.reset();
    Baresip attic(*home_, "attic", 6120, 880, {.transport = "tcp"});
    EXPECT_TRUE(StateBecomes(103, 0));
    EXPECT_TRUE(IsRegisteredByTcp("attic"));
    attic.Do("dial", "sip:kitchen@127.0.0.1");
    EXPECT_TRUE(StateBecomes(103, 3));
    Talk(attic, *kitchen_);
    attic.Do("hangup");
    EXPECT_TRUE(StateBecomes(102, 0));
    Call(102, 103);
    EXPECT_TRUE(StateBecomes(103, 3));
    const pid_t before = Kamailios().front();
    Command("applySIPProxyChanges");
    EXPECT_TRUE(KamailioStartsAgain(before));
    const double end = EndOfRegistration("attic");
    Talk(attic, *kitchen_);
    EXPECT_TRUE(Hears(attic, 660));
    EXPECT_TRUE(Hears(*kitchen_, 880));
    attic.Do("hangup");
    EXPECT_TRUE(StateBecomes(102, 0));
    EXPECT_TRUE(StateBecomes(103, 0));
    Call(102, 103);
    EXPECT_TRUE(StateBecomes(103, 3));
    HangUp(103);
    EXPECT_TRUE(WaitUntil([&] { return EndOfRegistration("attic") > end; }));
    EXPECT_TRUE(StateBecomes(103, 0));
    Call(102, 103);
    EXPECT_TRUE(StateBecomes(103, 3));
    Talk(attic);
    EXPECT_TRUE(Hears(attic, 660));
}

TEST_F(Survival, KamailioKilledWhileAPhoneRingsDoesNotStopTheCall) {
    ExpectWhoRingsIsConnectedAfterAKill(Kamailios().front());
}

TEST_F(Survival, KamailioKilledInACallComesBackAndTheCallGoesOn) {
    ExpectACallOutlivesAKill(Kamailios().front());
}

TEST_F(Survival, RtpengineKilledWhileItRingsIsNotNoticedByWhoAnswers) {
    kitchen_.reset();
    Baresip attic(*home_, "attic", 6120, 880, {.answers = false});
    EXPECT_TRUE(StateBecomes(103, 0));
    const auto ring = [&](const std::function<void()>& call) {
        call();
        EXPECT_TRUE(StateBecomes(103, 2));
        home_->KillMedia();
        home_->StartMedia();
        attic.Do("accept");
        EXPECT_TRUE(StateBecomes(103, 3));
        Talk(*hall_, attic);
        EXPECT_TRUE(Hears(*hall_, 880));
        EXPECT_TRUE(Hears(attic, 440));
        HangUp(101);
        EXPECT_TRUE(StateBecomes(103, 0));
        EXPECT_TRUE(StateBecomes(101, 0));
    };
    ring([&] { Call(101, 103); });
    ring([&] { hall_->Do("dial", "sip:attic@127.0.0.1"); });
}

TEST_F(Survival, AHostKilledWhileItRingsFindsTheCallAndWhoAnswersIsConnected) {
    kitchen_.reset();
    Baresip attic(*home_, "attic", 6120, 880, {.answers = false});
    EXPECT_TRUE(StateBecomes(103, 0));
    Call(101, 103);
    EXPECT_TRUE(StateBecomes(103, 2));
    KillHost();
    StartHost();
    EXPECT_TRUE(StateBecomes(103, 2));
    attic.Do("accept");
    EXPECT_TRUE(StateBecomes(103, 3));
    EXPECT_TRUE(StateBecomes(101, 3));
    Talk(*hall_, attic);
    EXPECT_TRUE(Hears(*hall_, 880));
}

TEST_F(Survival, SipproxyKilledWhileAPhoneRingsDoesNotStopTheCall) {
    ExpectWhoRingsIsConnectedAfterAKill(SipproxyId());
}

TEST_F(Survival, SipproxyKilledInACallComesBackAndTheCallGoesOn) {
    ExpectACallOutlivesAKill(SipproxyId());
}

TEST_F(Survival, AKilledHostFindsItsCallsAgain) {
    StartTalking();
    KillHost();
    StartHost();
    EXPECT_TRUE(StateBecomes(101, 3));
    EXPECT_TRUE(StateBecomes(102, 3));
    ExpectBothHearEachOther();
    HangUp(101);
    EXPECT_TRUE(StateBecomes(102, 0));
    EXPECT_TRUE(HasEnded(*hall_));
    EXPECT_TRUE(HasEnded(*kitchen_));
}

TEST_F(Survival, AfterCallControlWasKilledNoPhoneHangsAndTheNextCallWorks) {
    StartTalking();
    home_->KillCallControl();
    home_->StartCallControl();
    EXPECT_TRUE(HasEnded(*hall_));
    EXPECT_TRUE(HasEnded(*kitchen_));
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_TRUE(StateBecomes(102, 0));
    StartTalking();
    ExpectBothHearEachOther();
}

TEST_F(Survival, CallControlKilledWhileAPhonesOwnCallRingsLeavesNobodyRinging) {
    kitchen_.reset();
    Baresip attic(*home_, "attic", 6120, 880, {.answers = false});
    EXPECT_TRUE(StateBecomes(103, 0));
    hall_->Do("dial", "sip:attic@127.0.0.1");
    EXPECT_TRUE(StateBecomes(103, 2));
    home_->KillCallControl();
    EXPECT_TRUE(HasEnded(*hall_));
    home_->StartCallControl();
    EXPECT_TRUE(HasEnded(attic));
    EXPECT_TRUE(StateBecomes(103, 0));
}

TEST_F(Survival, APhoneThatRingsForLongIsStillConnected) {
    kitchen_.reset();
    Baresip attic(*home_, "attic", 6120, 880, {.answers = false});
    EXPECT_TRUE(StateBecomes(103, 0));
    hall_->Do("dial", "sip:attic@127.0.0.1");
    EXPECT_TRUE(StateBecomes(103, 2));
    std::this_thread::sleep_for(std::chrono::seconds(13));  // longer than the proxy waits without a word
    attic.Do("accept");
    EXPECT_TRUE(StateBecomes(103, 3));
    Talk(attic);
    EXPECT_TRUE(Hears(attic, 440));
}

TEST_F(Survival, CallsThatEndWithCallControlAreAmongTheRecentOnes) {
    StartTalking();
    EXPECT_EQ(home_->StopCallControl(), 0);
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_TRUE(StateBecomes(102, 0));
    EXPECT_NE(Command("getRecentContactList").find("<aor>kitchen</aor>"), std::string::npos);
}

TEST_F(Survival, ACallIsHeardAgainAfterRtpengineWasKilled) {
    StartTalking();
    home_->KillMedia();
    home_->StartMedia();
    EXPECT_TRUE(WaitUntil([this] { return home_->Rooms() == 1; }));
    ExpectBothHearEachOther();
    EXPECT_TRUE(StateBecomes(101, 3));
}

TEST_F(Survival, APhoneThatIsPulledOutFreesTheOther) {
    StartTalking();
    kitchen_->Program().Signal(SIGSTOP);
    EXPECT_TRUE(HasEnded(*hall_));
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_TRUE(StateBecomes(102, 4));
    kitchen_->Program().Signal(SIGCONT);
    EXPECT_TRUE(StateBecomes(102, 0));
}

}  // namespace
}  // namespace test
