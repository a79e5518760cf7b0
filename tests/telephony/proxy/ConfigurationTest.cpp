// What Kamailio reads.
#include "telephony/proxy/Configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "telephony/proxy/Files.h"
#include "tests/support/process/RunProgram.h"
#include "tests/support/process/TempFolder.h"
#include "tests/telephony/proxy/support/SampleRecords.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace proxy {
namespace {

constexpr char kHome[] = "127.9.9.9";

class Configuring : public testing::Test {
protected:
    Configuring() { MakePrivateFolder(run); }

    static Plan PlanOf(const Records& records) {
        return MakePlan(records, [](const std::string& address) { return address == kHome; });
    }
    void Write(const Records& records) { WriteConfiguration(PlanOf(records), secrets, run); }

    test::TempFolder folder;
    const std::string run = folder / "run";
    const Secrets secrets = Secrets::Make();
};

// The property: whatever texts there are, the script is the one that harmless records give, but for the
// ports.
TEST_F(Configuring, NoTextOfARecordStandsInTheScript) {
    std::mt19937 random(11);
    for (int round = 0; round < 200; ++round) {
        const Plan hostile = PlanOf(HostileHome(kHome, random));
        Plan harmless = PlanOf(SampleHome(kHome));
        harmless.listen = hostile.listen;
        for (const Endpoint& endpoint : hostile.listen)
            ASSERT_EQ(kHome, endpoint.address);
        ASSERT_EQ(Script(harmless, run), Script(hostile, run)) << "round " << round;
    }
}

TEST_F(Configuring, KamailioTakesTheScriptOfHostileRecords) {
    std::mt19937 random(12);
    for (int round = 0; round < HostileRounds(20); ++round) {
        Write(HostileHome(kHome, random));
        const test::ProgramResult result =
            test::RunProgram({"/usr/sbin/kamailio", "-c", "-Y", run, "-f", ScriptFile(run)});
        ASSERT_EQ(0, result.status) << "round " << round << "\n" << result.errors;
        ASSERT_THAT(result.errors, HasSubstr("config file ok"));
        ASSERT_THAT(result.errors, Not(HasSubstr("ERROR")));
    }
}

TEST_F(Configuring, EveryFileIsItsOwnersAlone) {
    Write(SampleHome(kHome));
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(run)) {
        struct stat found {};
        ASSERT_EQ(0, ::stat(entry.path().c_str(), &found));
        EXPECT_EQ(0600U, found.st_mode & 0777U) << entry.path();
        ++files;
    }
    EXPECT_EQ(4, files);
}

TEST_F(Configuring, NoPasswordIsWritten) {
    Write(SampleHome(kHome));
    for (const auto& entry : std::filesystem::directory_iterator(run))
        EXPECT_THAT(test::ReadFile(entry.path()), Not(HasSubstr("hall-password"))) << entry.path();
}

TEST_F(Configuring, SecretsAreOthersEachTime) {
    const Secrets others = Secrets::Make();
    EXPECT_NE(secrets.header, secrets.password);
    EXPECT_NE(secrets.header, others.header);
    EXPECT_NE(secrets.password, others.password);
    EXPECT_EQ(32U, others.header.size());
}

TEST_F(Configuring, CallControlLearnsWhereAndHow) {
    Write(SampleHome(kHome));
    EXPECT_EQ(R"({
 "callcontrol": "127.9.9.9:5070",
 "domain": "127.9.9.9",
 "events": "127.9.9.9:5061",
 "header": "X-Intercom-Secret",
 "password": ")" + secrets.password +
                  R"(",
 "proxy": "127.9.9.9:5060",
 "realm": "intercom",
 "secret": ")" + secrets.header +
                  R"(",
 "user": "callcontrol"
}
)",
              test::ReadFile(SecretsFile(run)));
}

TEST_F(Configuring, AFolderThatOthersMayReadIsRefused) {
    ::chmod(run.c_str(), 0755);
    EXPECT_THROW(MakePrivateFolder(run), Failure);
    EXPECT_THROW(MakePrivateFolder(folder / "with \"quotes\""), Failure);
    EXPECT_THROW(MakePrivateFolder("relative"), Failure);
}

}  // namespace
}  // namespace proxy
