// What intercomctl can do.
#ifndef CLIENT_COMMANDS_H
#define CLIENT_COMMANDS_H

#include "client/Connection.h"
#include "client/Failure.h"
#include "client/Options.h"

/// Carries the command out and prints its answer. Throws Failure.
ExitStatus RunCommand(const Options& options);

/// Throws Failure when standard output does not take what was printed.
void FlushOutput();

/// Throws Failure with the host's words unless the answer is one of success.
void CheckStatus(const Answer& answer);

/// Prints the answer, indented or as it came; the status tells an answer of "fail". Throws Failure like
/// CheckStatus.
ExitStatus PrintAnswer(const Answer& answer, bool raw);

#endif
