// How a run of the program ends.
#ifndef CLIENT_FAILURE_H
#define CLIENT_FAILURE_H

#include <stdexcept>
#include <string>

/// The exit statuses.
enum ExitStatus : int {
    EXIT_DONE = 0,
    EXIT_ANSWER_FAIL = 1,  // the answer was <fail> or <failed>
    EXIT_WRONG_USE = 2,
    EXIT_NO_ANSWER = 3  // the host could not be reached, or refused
};

struct Failure : std::runtime_error {
    Failure(ExitStatus exitStatus, const std::string& text) : std::runtime_error(text), status(exitStatus) {}
    ExitStatus status;
};

struct WrongUse : Failure {
    explicit WrongUse(const std::string& text) : Failure(EXIT_WRONG_USE, text) {}
};

/// There is no connection, or it broke. Another attempt may succeed.
struct Unreachable : Failure {
    explicit Unreachable(const std::string& text) : Failure(EXIT_NO_ANSWER, text) {}
};

#endif
