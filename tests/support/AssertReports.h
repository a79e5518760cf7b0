// Keeps what is reported as a broken invariant, and what is logged by code without a driver,
// while it lives.
#ifndef TESTS_SUPPORT_ASSERTREPORTS_H
#define TESTS_SUPPORT_ASSERTREPORTS_H

#include <string>
#include <vector>

#include "host/glue/Assert.h"
#include "host/glue/Log.h"

namespace test {

/// At most one at a time.
class AssertReports {
public:
    AssertReports() {
        dv::SetAssertObserver([this](const char* file, int line) {
            reports.push_back(std::string(file) + ":" + std::to_string(line));
        });
        dv::SetLogSink([this](unsigned int level, const std::string& text) {
            lines.push_back(std::to_string(level) + " " + text);
        });
    }
    ~AssertReports() {
        dv::SetAssertObserver({});
        dv::SetLogSink({});
    }
    AssertReports(const AssertReports&) = delete;
    AssertReports& operator=(const AssertReports&) = delete;

    std::vector<std::string> reports;  // FILE:LINE of each
    std::vector<std::string> lines;    // LEVEL TEXT of each log line
};

}  // namespace test

#endif
