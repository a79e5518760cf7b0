#include "driverhost/runtime/HostLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "host/glue/Log.h"

namespace driverhost {
namespace {

using std::chrono::milliseconds;
using std::chrono::system_clock;

const system_clock::time_point kTime{milliseconds(1795228384123)};

class HostLogTest : public testing::Test {
protected:
    ~HostLogTest() override {
        HostLog::Start(dv::LOG_LEVEL_INFO, LogForm::Plain);
        dv::SetLogSink({});
    }
};

TEST_F(HostLogTest, ALineIsTimeLevelNameAndText) {
    EXPECT_EQ(FormatLogLine(LogForm::Plain, kTime, 6, "agent", "IntercomAgent enable sipproxy"),
              "2026-11-21T02:33:04.123Z 6 agent IntercomAgent enable sipproxy");
}

TEST_F(HostLogTest, TheServiceManagerGetsThePrefixForm) {
    EXPECT_EQ(FormatLogLine(LogForm::Journal, kTime, 3, "agent", "text"), "<3>agent text");
}

TEST_F(HostLogTest, ALineStaysOneLine) {
    EXPECT_EQ(FormatLogLine(LogForm::Journal, kTime, 6, "a", "one\ntwo\rthree\\ \x1b[0m\x7f"),
              "<6>a one\\ntwo\\rthree\\\\ \\x1B[0m\\x7F");
}

TEST_F(HostLogTest, LinesAboveTheLevelAreLeftOut) {
    HostLog::Start(dv::LOG_LEVEL_INFO, LogForm::Journal);
    testing::internal::CaptureStderr();
    HostLog::Write(3, "a", "error");
    HostLog::Write(6, "a", "information");
    HostLog::Write(7, "a", "debugging");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "<3>a error\n<6>a information\n");
}

TEST_F(HostLogTest, TheHostLibrarysLinesBearTheHostsName) {
    HostLog::Start(dv::LOG_LEVEL_INFO, LogForm::Journal);
    testing::internal::CaptureStderr();
    LogXMessage(dv::LOG_LEVEL_ERROR, "trouble with %s", "%s");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "<3>host trouble with %s\n");
}

TEST_F(HostLogTest, TheFormFollowsTheEnvironment) {
    unsetenv("JOURNAL_STREAM");
    EXPECT_EQ(DetectLogForm(), LogForm::Plain);
    setenv("JOURNAL_STREAM", "8:1234", 1);
    EXPECT_EQ(DetectLogForm(), LogForm::Journal);
    unsetenv("JOURNAL_STREAM");
}

}  // namespace
}  // namespace driverhost
