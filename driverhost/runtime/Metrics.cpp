#include "driverhost/runtime/Metrics.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace driverhost {
namespace {

struct DriverFamily {
    std::string_view name;
    std::string_view help;
    std::uint64_t DriverCounters::*value;
};

constexpr DriverFamily kDriverFamilies[] = {
    {"driverhost_driver_failures_total", "Calls into the driver that threw", &DriverCounters::failures},
    {"driverhost_state_marks_total", "Times the driver marked its state stale", &DriverCounters::stateMarks},
    {"driverhost_state_writes_total", "State documents put on disk", &DriverCounters::stateWrites},
    {"driverhost_state_write_failures_total", "State documents that could not be put on disk",
     &DriverCounters::stateWriteFailures},
    {"driverhost_ui_events_total", "Notifications to user interfaces", &DriverCounters::uiEvents},
};

std::string Number(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.9g", value);
    return text.data();
}

std::string Label(std::string_view name, std::string_view value) {
    std::string text = std::string(name) + "=\"";
    for (const char c : value) {
        if (c == '\\' || c == '"') text += '\\';
        if (c == '\n') {
            text += "\\n";
        } else {
            text += c;
        }
    }
    return text + "\"";
}

void AppendHead(std::string& text, std::string_view name, std::string_view help, std::string_view type) {
    text.append("# HELP ").append(name).append(" ").append(help).append("\n");
    text.append("# TYPE ").append(name).append(" ").append(type).append("\n");
}

void AppendSample(std::string& text, std::string_view name, const std::string& labels,
                  const std::string& value) {
    text.append(name);
    if (!labels.empty()) text.append("{").append(labels).append("}");
    text.append(" ").append(value).append("\n");
}

void AppendGauge(std::string& text, std::string_view name, std::string_view help, std::size_t value) {
    AppendHead(text, name, help, "gauge");
    AppendSample(text, name, "", std::to_string(value));
}

}  // namespace

void Histogram::Observe(double seconds) {
    const auto bucket = std::lower_bound(kBucketSeconds.begin(), kBucketSeconds.end(), seconds);
    if (bucket != kBucketSeconds.end()) ++buckets_[static_cast<std::size_t>(bucket - kBucketSeconds.begin())];
    ++count_;
    sum_ += seconds;
}

void Histogram::AppendTo(std::string& text, const std::string& name) const {
    std::uint64_t below = 0;
    for (std::size_t bucket = 0; bucket < buckets_.size(); ++bucket) {
        below += buckets_[bucket];
        AppendSample(text, name + "_bucket", Label("le", Number(kBucketSeconds[bucket])),
                     std::to_string(below));
    }
    AppendSample(text, name + "_bucket", Label("le", "+Inf"), std::to_string(count_));
    AppendSample(text, name + "_sum", "", Number(sum_));
    AppendSample(text, name + "_count", "", std::to_string(count_));
}

std::string Metrics::ToText(const Gauges& gauges) const {
    std::string text;
    AppendHead(text, "driverhost_commands_total", "Commands delivered", "counter");
    for (const auto& [driver, counters] : drivers_) {
        for (const auto& [command, count] : counters.commands) {
            AppendSample(text, "driverhost_commands_total",
                         Label("driver", driver) + "," + Label("command", command), std::to_string(count));
        }
    }
    for (const DriverFamily& family : kDriverFamilies) {
        AppendHead(text, family.name, family.help, "counter");
        for (const auto& [driver, counters] : drivers_)
            AppendSample(text, family.name, Label("driver", driver), std::to_string(counters.*family.value));
    }
    AppendHead(text, "driverhost_command_seconds", "Time that a command took in its driver", "histogram");
    commandSeconds.AppendTo(text, "driverhost_command_seconds");
    AppendHead(text, "driverhost_state_write_seconds", "Time that storing a document took", "histogram");
    stateWriteSeconds.AppendTo(text, "driverhost_state_write_seconds");
    AppendHead(text, "driverhost_http_responses_total", "Answers by status", "counter");
    for (const auto& [status, count] : responses_)
        AppendSample(text, "driverhost_http_responses_total", Label("status", std::to_string(status)),
                     std::to_string(count));
    AppendGauge(text, "driverhost_event_readers", "Readers of the event stream", gauges.eventReaders);
    AppendGauge(text, "driverhost_connections", "Open connections", gauges.connections);
    AppendGauge(text, "driverhost_request_body_bytes", "Bytes of request bodies over 16 KiB",
                gauges.requestBodyBytes);
    return text;
}

}  // namespace driverhost
