#include "driverhost/runtime/ProgramReports.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "driverhost/runtime/HostLog.h"
#include "host/glue/Log.h"
#include "tests/driverhost/support/TemporaryFolder.h"

namespace driverhost {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ProgramReportsTest : public testing::Test {
protected:
    ProgramReportsTest() { HostLog::Start(dv::LOG_LEVEL_INFO, LogForm::Journal); }
    ~ProgramReportsTest() override {
        HostLog::Start(dv::LOG_LEVEL_INFO, LogForm::Plain);
        dv::SetLogSink({});
    }

    // As if it had been written so long ago.
    void Age(const std::string& name, std::chrono::seconds age) {
        const timespec time{::time(nullptr) - age.count(), 0};
        const timespec times[] = {time, time};
        ASSERT_EQ(0, ::utimensat(AT_FDCWD, (folder_.Path() + "/" + name).c_str(), times, 0));
    }

    TemporaryFolder folder_;
    ProgramReports reports_{folder_.Path()};
};

std::string Lines(std::string_view text) {
    std::string dropped;
    return MetricLinesOf(text, "intercom_x_", dropped);
}

std::string Dropped(std::string_view text) {
    std::string dropped;
    MetricLinesOf(text, "intercom_x_", dropped);
    return dropped;
}

TEST_F(ProgramReportsTest, MetricsOfAllProgramsAreToldAsTheyAre) {
    const std::string first = "# HELP intercom_one_a A\n# TYPE intercom_one_a counter\nintercom_one_a 1\n";
    const std::string second = "intercom_two_b{kind=\"x\"} 2.5\n";
    folder_.Write("two.prom", second);
    folder_.Write("one.prom", first);
    folder_.Write("readme.txt", "intercom_three_c 3\n");
    EXPECT_EQ(reports_.MetricsText(), first + second);
    EXPECT_THAT(reports_.Warnings(), IsEmpty());
}

TEST_F(ProgramReportsTest, WarningsBearTheNameOfTheirProgram) {
    folder_.Write("sipproxy.prom", "");
    folder_.Write("sipproxy.warnings", "left out: route x: no\n\nKamailio does not run\n");
    EXPECT_THAT(reports_.Warnings(),
                ElementsAre("sipproxy: left out: route x: no", "sipproxy: Kamailio does not run"));
}

TEST_F(ProgramReportsTest, AProgramThatHasStoppedIsAWarningAndItsOwnReportsCountNoMore) {
    folder_.Write("sipproxy.prom", "intercom_sipproxy_up 1\n");
    folder_.Write("sipproxy.warnings", "of yesterday\n");
    Age("sipproxy.prom", std::chrono::seconds(100));
    EXPECT_EQ(reports_.MetricsText(), "");
    const auto warnings = reports_.Warnings();
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_THAT(warnings[0], testing::MatchesRegex("sipproxy has not reported for 10[0-9]+ s"));
}

TEST_F(ProgramReportsTest, AProgramThatHasRemovedItsFilesIsForgotten) {
    folder_.Write("sipproxy.prom", "intercom_sipproxy_up 1\n");
    EXPECT_NE(reports_.MetricsText(), "");
    ::unlink((folder_.Path() + "/sipproxy.prom").c_str());
    EXPECT_EQ(reports_.MetricsText(), "");
    EXPECT_THAT(reports_.Warnings(), IsEmpty());
}

TEST_F(ProgramReportsTest, ALineThatIsNoneIsLeftOutAndSaidOnceUntilAllIsWellAgain) {
    const std::string good = "intercom_one_a 1\n";
    folder_.Write("one.prom", good + "garbage\nintercom_two_a 1\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(reports_.MetricsText(), good);
    EXPECT_EQ(reports_.MetricsText(), good);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "<3>host a line of the metrics of one is none and is left out: garbage\n");
    folder_.Write("one.prom", good);
    reports_.MetricsText();
    folder_.Write("one.prom", "garbage\n");
    testing::internal::CaptureStderr();
    reports_.MetricsText();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("left out: garbage"));
}

TEST_F(ProgramReportsTest, AFileThatIsTooLargeIsAWarningAndNotTold) {
    folder_.Write("one.prom", "intercom_one_a 1\n" + std::string(kReportBytes, '\n'));
    folder_.Write("two.prom", "intercom_two_a 1\n");
    folder_.Write("two.warnings", std::string(kReportBytes + 1, 'x'));
    EXPECT_EQ(reports_.MetricsText(), "intercom_two_a 1\n");
    EXPECT_THAT(reports_.Warnings(),
                ElementsAre("one: its metrics cannot be read: it is larger than 1048576 bytes",
                            "two: its warnings cannot be read: it is larger than 1048576 bytes"));
}

TEST_F(ProgramReportsTest, PipesAndLinksAreNotFollowed) {
    ASSERT_EQ(0, ::mkfifo((folder_.Path() + "/pipe.prom").c_str(), 0600));
    folder_.Write("target", "intercom_link_a 1\n");
    ASSERT_EQ(0, ::symlink("target", (folder_.Path() + "/link.prom").c_str()));
    EXPECT_EQ(reports_.MetricsText(), "");
    EXPECT_THAT(reports_.Warnings(),
                ElementsAre("link: its metrics cannot be read: Too many levels of symbolic links",
                            "pipe: its metrics cannot be read: it is no file of this user"));
}

TEST_F(ProgramReportsTest, AnotherUsersFilesAreRefused) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can give files away";
    const std::string file = folder_.Write("one.prom", "intercom_one_a 1\n");
    ASSERT_EQ(0, ::chown(file.c_str(), 65534, 65534));
    EXPECT_EQ(reports_.MetricsText(), "");
    EXPECT_THAT(reports_.Warnings(), ElementsAre(HasSubstr("it is no file of this user")));
}

TEST_F(ProgramReportsTest, MoreProgramsThanAllowedAreSaid) {
    for (char letter = 'a'; letter < 'a' + static_cast<char>(kMostPrograms) + 2; ++letter)
        folder_.Write(std::string(1, letter) + ".prom", "intercom_" + std::string(1, letter) + "_up 1\n");
    EXPECT_THAT(reports_.Warnings(), ElementsAre(HasSubstr("more than 16 programs report in")));
    EXPECT_THAT(reports_.MetricsText(), HasSubstr("intercom_p_up 1\n"));
    EXPECT_THAT(reports_.MetricsText(), testing::Not(HasSubstr("intercom_q_up")));
}

TEST_F(ProgramReportsTest, TheFolderIsMadeAndWhenItCannotBeReadThatIsAWarning) {
    const std::string path = folder_.Path() + "/deep/er";
    ProgramReports deep(path);
    struct stat found {};
    ASSERT_EQ(0, ::stat(path.c_str(), &found));
    EXPECT_EQ(0700U, found.st_mode & 0777U);
    EXPECT_THAT(deep.Warnings(), IsEmpty());
    ::rmdir(path.c_str());
    EXPECT_THAT(deep.Warnings(),
                ElementsAre("the folder of reports " + path + " cannot be read: No such file or directory"));
}

TEST_F(ProgramReportsTest, WithoutAFolderThereAreNone) {
    ProgramReports none("");
    EXPECT_EQ(none.MetricsText(), "");
    EXPECT_THAT(none.Warnings(), IsEmpty());
}

TEST(MetricLines, EveryFormOfASampleIsTaken) {
    for (const char* line :
         {"intercom_x_a 1", "intercom_x_a{} 1", "intercom_x_a{k=\"\"} -1.5e-3", "intercom_x_a +Inf",
          "intercom_x_a NaN", "intercom_x_a{k=\"a b}\\\"\\\\\\n\",l=\"ü\",} 0",
          "# HELP intercom_x_a any text", "# HELP intercom_x_a ", "# TYPE intercom_x_a gauge"})
        EXPECT_EQ(Lines(std::string(line) + "\n"), std::string(line) + "\n");
}

TEST(MetricLines, WhatIsNoLineOfTheProgramIsLeftOut) {
    for (const char* line : {"x",
                             "intercom_y_a 1",
                             "intercom_x_ 1",
                             "intercom_x_a",
                             "intercom_x_a ",
                             "intercom_x_a one",
                             "intercom_x_a 1 1700000000",
                             "intercom_x_a  1",
                             "intercom_x_a +-1",
                             "intercom_x_a nan(1)",
                             "intercom_x_a{k=\"v\" 1",
                             "intercom_x_a{k=v} 1",
                             "intercom_x_a{k=\"\\t\"} 1",
                             "intercom_x_a{1=\"\"} 1",
                             "intercom_x_a{k=\"a\"l=\"b\"} 1",
                             "intercom_x_a{k=\"\xff\"} 1",
                             "intercom_x_a-b 1",
                             " intercom_x_a 1",
                             "# intercom_x_a",
                             "# TYPE intercom_x_a colour",
                             "# TYPE driverhost_commands_total counter",
                             "# HELP intercom_x_a",
                             "#TYPE intercom_x_a gauge",
                             "intercom_x_a 1\r"}) {
        EXPECT_EQ(Lines(std::string(line) + "\nintercom_x_b 2\n"), "intercom_x_b 2\n");
        EXPECT_EQ(Dropped(line), line);
    }
}

// Prometheus gives up the whole text at a second one.
TEST(MetricLines, ANameHasItsTypeAndItsHelpOnce) {
    EXPECT_EQ(Lines("# TYPE intercom_x_a gauge\n# HELP intercom_x_a A\n# TYPE intercom_x_a counter\n"
                    "# HELP intercom_x_a B\nintercom_x_a 1\n"),
              "# TYPE intercom_x_a gauge\n# HELP intercom_x_a A\nintercom_x_a 1\n");
}

TEST(MetricLines, ALastLineWithoutItsEndIsALine) {
    EXPECT_EQ(Lines("intercom_x_a 1"), "intercom_x_a 1\n");
}

}  // namespace
}  // namespace driverhost
