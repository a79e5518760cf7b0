// What sipproxy tells about itself: `--check` and `--status`. Nothing secret stands in either.
#ifndef TELEPHONY_PROXY_REPORT_H
#define TELEPHONY_PROXY_REPORT_H

#include <string>
#include <vector>

#include "telephony/proxy/Configuration.h"
#include "telephony/proxy/Plan.h"

namespace proxy {

/// What a running sipproxy leaves in its folder for `--status`.
struct State {
    std::string kamailio;     // "running", "starting", "not running: REASON"
    int process = 0;          // Kamailio's main process
    std::string host;         // "connected", "away"
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

/// A record's text without control characters, which would make one line look like several.
std::string OneLine(const std::string& text);

/// The plan for people.
std::string CheckText(const Plan& plan);

}  // namespace proxy

#endif
