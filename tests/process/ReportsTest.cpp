// What other programs tell of themselves, in the host's metrics and health.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/process/support/ProcessFixture.h"
#include "tests/support/process/TempFolder.h"

using testing::HasSubstr;
using testing::Not;

namespace driverhost {
namespace {

class ReportsTest : public ProcessFixture {
protected:
    std::string Folder() const { return folder_.Path() + "/reports"; }
    void Report(const std::string& file, const std::string& text) const {
        test::WriteFile(Folder() + "/" + file, text);
    }
    void StartHome(const std::vector<std::string>& more) {
        WriteHome(Driver(101, "hall", "panel"));
        Start(more);
    }
};

TEST_F(ReportsTest, AreAddedToMetricsAndHealth) {
    StartHome({"--reports-dir", Folder()});
    EXPECT_EQ(Ask("GET", "/health").body, "<health>ok</health>");
    Report("sipproxy.prom", "# TYPE intercom_sipproxy_kamailio_up gauge\nintercom_sipproxy_kamailio_up 0\n");
    Report("sipproxy.warnings", "Kamailio does not run: it was killed\n");
    EXPECT_EQ(Metric("intercom_sipproxy_kamailio_up"), 0);
    EXPECT_THAT(Ask("GET", "/metrics").body, HasSubstr("# TYPE driverhost_connections gauge\n"));
    const HttpAnswer health = Ask("GET", "/health");
    EXPECT_EQ(health.status, 200) << "a warning is no reason to start the host anew";
    EXPECT_EQ(health.body,
              "<health>ok<warning>sipproxy: Kamailio does not run: it was killed</warning></health>");
}

TEST_F(ReportsTest, AProgramThatHasStoppedIsAWarningUntilItReportsAgain) {
    environment_["INTERCOM_REPORTS_DIR"] = Folder();
    StartHome({});
    Report("callcontrol.prom", "intercom_callcontrol_running_calls 1\n");
    const timespec longAgo[] = {{1700000000, 0}, {1700000000, 0}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (Folder() + "/callcontrol.prom").c_str(), longAgo, 0));
    EXPECT_THAT(Ask("GET", "/health").body, HasSubstr("<warning>callcontrol has not reported for "));
    EXPECT_THAT(Ask("GET", "/metrics").body, Not(HasSubstr("intercom_callcontrol")));
    Report("callcontrol.prom", "intercom_callcontrol_running_calls 2\n");
    EXPECT_EQ(Ask("GET", "/health").body, "<health>ok</health>");
    EXPECT_EQ(Metric("intercom_callcontrol_running_calls"), 2);
}

TEST_F(ReportsTest, TextsThatAttackStayTexts) {
    StartHome({"--reports-dir", Folder()});
    Report("x.prom", "driverhost_connections 99\nintercom_x_a{k=\"</health>\"} 1\n");
    Report("x.warnings", "</warning></health>&\x01\xff\n");
    EXPECT_THAT(Ask("GET", "/metrics").body, Not(HasSubstr("driverhost_connections 99")));
    EXPECT_EQ(Ask("GET", "/health").body,
              "<health>ok<warning>x: "
              "&lt;/warning&gt;&lt;/health&gt;&amp;\xEF\xBF\xBD\xEF\xBF\xBD</warning></health>");
    EXPECT_THAT(Log(),
                HasSubstr("a line of the metrics of x is none and is left out: driverhost_connections"));
}

// sysman, and so the proxy, is started by a driver.
TEST_F(ReportsTest, ProgramsThatDriversStartFindTheFolderInTheirEnvironment) {
    test::WriteFile(folder_.Path() + "/bin/sysman",
                    "#!/bin/sh\necho \"$INTERCOM_REPORTS_DIR\" >\"$SYSMAN_REQUESTS.folder\"\necho \"$1\"\n");
    ::chmod((folder_.Path() + "/bin/sysman").c_str(), 0700);
    WriteHome(Driver(1, "agent", "intercom_agent"));
    Start({"--reports-dir", Folder()});
    EXPECT_EQ(test::ReadFile(folder_.Path() + "/requests.folder"), Folder() + "\n");
}

}  // namespace
}  // namespace driverhost
