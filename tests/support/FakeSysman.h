// The system manager without a process: stands in for popen and pclose in every program that
// links test_sysman, records each command line and answers what the test sets.
#ifndef TESTS_SUPPORT_FAKESYSMAN_H
#define TESTS_SUPPORT_FAKESYSMAN_H

#include <cstdio>
#include <deque>
#include <optional>
#include <set>
#include <string>

#include "tests/support/Recorder.h"

namespace test {

/// At most one at a time. A popen while there is none, with a mode other than "r", and a stream
/// that is closed twice or never, are failures of the running test.
class FakeSysman {
public:
    explicit FakeSysman(Recorder& recorder);
    ~FakeSysman();
    FakeSysman(const FakeSysman&) = delete;
    FakeSysman& operator=(const FakeSysman&) = delete;

    /// What the next request without an answer prints. Without any, a request is answered by its
    /// own word on a line.
    void Reply(std::string output) { replies_.emplace_back(std::move(output)); }
    /// The next request without an answer cannot be started at all.
    void FailToOpen() { replies_.emplace_back(std::nullopt); }

    /// What pclose returns from now on.
    int exitStatus = 0;

    // Behind popen and pclose.
    std::FILE* Open(const std::string& commandLine, const std::string& mode);
    int Close(std::FILE* stream);

private:
    std::optional<std::string> NextReply(const std::string& commandLine);

    Recorder& recorder_;
    std::deque<std::optional<std::string>> replies_;
    std::set<std::FILE*> open_;
};

}  // namespace test

#endif
