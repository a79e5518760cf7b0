// What sipproxy tells about itself: `--check` and `--status`. Nothing secret stands in either.
#ifndef TELEPHONY_PROXY_REPORT_H
#define TELEPHONY_PROXY_REPORT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "telephony/proxy/Configuration.h"
#include "telephony/proxy/Plan.h"
#include "telephony/report/Report.h"

namespace proxy {

inline constexpr char kRunning[] = "running";
inline constexpr char kNotRunning[] = "not running: ";
inline constexpr char kConnected[] = "connected";

/// What a running sipproxy leaves in its folder for `--status`.
struct State {
    std::string kamailio;     // kRunning, "starting", or kNotRunning and the reason
    int process = 0;          // Kamailio's main process
    std::string host;         // kConnected, "away"
    bool newRecords = false;  // the agent has other records than those that Kamailio was started with
    std::vector<std::string> accounts;  // users that can register
    std::vector<Fault> faults;
};

std::string ToJson(const State& state);
/// Throws std::runtime_error when the text is none.
State StateFromJson(const std::string& text);
std::string StateFile(const std::string& folder);

std::string StatusText(const State& state, const std::vector<Registration>& registrations);
std::string StatusJson(const State& state, const std::vector<Registration>& registrations);

/// What a running sipproxy has counted.
struct Counts {
    std::uint64_t starts = 0;     // of Kamailio
    std::uint64_t takenOver = 0;  // changes of accounts and groups
};
std::vector<telephony::Metric> MetricsOf(const State& state, const Counts& counts,
                                         std::optional<std::size_t> registered);

/// What the household should put right. `troubles`: what is in the way of the records; empty texts are none.
std::vector<std::string> WarningsOf(const State& state, const std::vector<std::string>& troubles);

/// A record's text without control characters, which would make one line look like several.
std::string OneLine(const std::string& text);

/// The plan for people.
std::string CheckText(const Plan& plan);

}  // namespace proxy

#endif
