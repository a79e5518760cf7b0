// A program run to its end, with its output and errors apart.
#ifndef TESTS_SUPPORT_PROCESS_RUNPROGRAM_H
#define TESTS_SUPPORT_PROCESS_RUNPROGRAM_H

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "tests/support/process/Patience.h"

namespace test {

struct ProgramResult {
    int status = 0;  // 128 and the signal's number when a signal ended it
    std::string output;
    std::string errors;
};

/// Returns when the program has ended and nobody holds its outputs any more, as popen does. After
/// `most` the program is killed. Variables of the environment come on top of the test's own; an empty
/// value is set, not removed. Throws std::runtime_error when there can be no process.
ProgramResult RunProgram(const std::vector<std::string>& words,
                         const std::map<std::string, std::string>& environment = {},
                         std::chrono::milliseconds most = kPatience);

}  // namespace test

#endif
