#include "driverhost/runtime/Metrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace driverhost {
namespace {

using testing::HasSubstr;

TEST(Metrics, CommandsAreCountedByDriverAndCommand) {
    Metrics metrics;
    metrics.OfDriver("agent").commands["addGroup"] = 2;
    metrics.OfDriver("a\"b\\c").commands["get"] = 1;
    const std::string text = metrics.ToText({});
    EXPECT_THAT(text, HasSubstr("# TYPE driverhost_commands_total counter\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_commands_total{driver=\"agent\",command=\"addGroup\"} 2\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_commands_total{driver=\"a\\\"b\\\\c\",command=\"get\"} 1\n"));
}

TEST(Metrics, EachDriverHasItsCountersFromTheBeginning) {
    Metrics metrics;
    metrics.OfDriver("agent").stateMarks = 3;
    metrics.OfDriver("lamp");
    const std::string text = metrics.ToText({});
    EXPECT_THAT(text, HasSubstr("driverhost_state_marks_total{driver=\"agent\"} 3\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_state_marks_total{driver=\"lamp\"} 0\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_state_writes_total{driver=\"lamp\"} 0\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_ui_events_total{driver=\"lamp\"} 0\n"));
}

TEST(Metrics, BucketsHoldWhatIsAtOrBelowTheirBound) {
    Metrics metrics;
    for (const double seconds : {0.000001, 0.00005, 0.5, 100.0})
        metrics.commandSeconds.Observe(seconds);
    const std::string text = metrics.ToText({});
    EXPECT_THAT(text, HasSubstr("# TYPE driverhost_command_seconds histogram\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_command_seconds_bucket{le=\"1e-06\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_command_seconds_bucket{le=\"0.0001\"} 2\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_command_seconds_bucket{le=\"10\"} 3\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_command_seconds_bucket{le=\"+Inf\"} 4\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_command_seconds_count 4\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_command_seconds_sum 100.500051\n"));
}

TEST(Metrics, GaugesTellWhatIsTrueNow) {
    Metrics metrics;
    metrics.CountResponse(404);
    const std::string text = metrics.ToText({.eventReaders = 3, .connections = 5, .requestBodyBytes = 7});
    EXPECT_THAT(text, HasSubstr("driverhost_event_readers 3\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_connections 5\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_request_body_bytes 7\n"));
    EXPECT_THAT(text, HasSubstr("driverhost_http_responses_total{status=\"404\"} 1\n"));
}

}  // namespace
}  // namespace driverhost
