#include "telephony/report/Report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <stdexcept>

#include "tests/support/process/TempFolder.h"

namespace telephony {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Reporting : public testing::Test {
protected:
    std::unique_ptr<Report> NewReport(std::chrono::milliseconds interval) {
        return std::make_unique<Report>(
            folder_ / "reports", "phone", [this](const std::string& line) { said_.push_back(line); },
            interval);
    }
    static std::vector<Metric> Metrics() { return {Metric::Gauge("up", "Whether it is up", 1)}; }
    std::string Read(const char* name) const { return test::ReadFile(folder_ / "reports" / name); }
    bool IsThere(const char* name) const { return std::filesystem::exists(folder_ / "reports" / name); }

    test::TempFolder folder_;
    std::vector<std::string> said_;
};

TEST_F(Reporting, MetricsAndWarningsAreFilesOfTheirOwnerAlone) {
    const auto report = NewReport(0ms);
    Metric calls = Metric::Counter("calls_total", "Calls", 0);
    calls.samples = {{Label("kind", "a\"b\\c\n"), 3}, {Label("kind", "x") + "," + Label("outcome", "y"), 4}};
    report->Tell({"one", "two\nhalves"}, [&] { return std::vector<Metric>{calls, Metrics()[0]}; });
    EXPECT_EQ(Read("phone.prom"),
              "# HELP intercom_phone_calls_total Calls\n"
              "# TYPE intercom_phone_calls_total counter\n"
              "intercom_phone_calls_total{kind=\"a\\\"b\\\\c\\n\"} 3\n"
              "intercom_phone_calls_total{kind=\"x\",outcome=\"y\"} 4\n"
              "# HELP intercom_phone_up Whether it is up\n"
              "# TYPE intercom_phone_up gauge\n"
              "intercom_phone_up 1\n");
    EXPECT_EQ(Read("phone.warnings"), "one\ntwo?halves\n");
    for (const char* name : {"phone.prom", "phone.warnings", "."}) {
        struct stat status {};
        ASSERT_EQ(0, ::stat((folder_ / "reports" / name).c_str(), &status));
        EXPECT_EQ(0U, status.st_mode & 077U) << name;
    }
}

TEST_F(Reporting, ItIsWrittenAgainWhenAWarningComesOrGoesOrTheTimeIsOver) {
    int asked = 0;
    const auto metrics = [&asked] {
        ++asked;
        return Metrics();
    };
    const auto rare = NewReport(1h);
    rare->Tell({}, metrics);
    rare->Tell({}, metrics);
    EXPECT_EQ(asked, 1);
    rare->Tell({"trouble"}, metrics);
    rare->Tell({"trouble"}, metrics);
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(Read("phone.warnings"), "trouble\n");
    rare->Tell({}, metrics);
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(Read("phone.warnings"), "");
    const auto often = NewReport(0ms);
    often->Tell({}, metrics);
    often->Tell({}, metrics);
    EXPECT_EQ(asked, 5);
}

TEST_F(Reporting, AnOrderlyEndRemovesTheFilesAndAnExceptionLeavesThem) {
    NewReport(0ms)->Tell({}, &Metrics);
    EXPECT_FALSE(IsThere("phone.prom"));
    EXPECT_FALSE(IsThere("phone.warnings"));
    try {
        const auto report = NewReport(0ms);
        report->Tell({}, &Metrics);
        throw std::runtime_error("the program ends");
    } catch (const std::runtime_error&) {
    }
    EXPECT_TRUE(IsThere("phone.prom"));
}

TEST_F(Reporting, WhoHasWrittenNothingLeavesTheFilesOfAnotherProcess) {
    const auto running = NewReport(0ms);
    running->Tell({}, &Metrics);
    NewReport(0ms).reset();
    EXPECT_TRUE(IsThere("phone.prom"));
}

TEST_F(Reporting, WithoutAFolderNothingIsAskedOrWritten) {
    Report report(
        "", "phone", [](const std::string&) {}, 0ms);
    report.Tell({"trouble"}, []() -> std::vector<Metric> { throw std::runtime_error("asked"); });
}

TEST_F(Reporting, AFolderThatTakesNothingIsSaidOnceUntilItTakesSomething) {
    const auto report = NewReport(0ms);
    test::WriteFile(folder_ / "reports", "in the way");
    report->Tell({}, &Metrics);
    report->Tell({}, &Metrics);
    EXPECT_THAT(said_, ElementsAre(HasSubstr("the host cannot tell this program's metrics and warnings")));
    std::filesystem::remove(folder_ / "reports");
    report->Tell({}, &Metrics);
    EXPECT_EQ(said_.back(), "reports can be written again");
    EXPECT_TRUE(IsThere("phone.prom"));
}

}  // namespace
}  // namespace telephony
