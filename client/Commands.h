// What intercomctl can do. All throw Failure.
#ifndef CLIENT_COMMANDS_H
#define CLIENT_COMMANDS_H

#include "client/Connection.h"
#include "client/Failure.h"
#include "client/Options.h"

/// Carries the command out and prints its answer.
ExitStatus RunCommand(const Options& options);

/// intercomctl events: prints events until it is stopped. When the stream breaks it resumes after the last
/// event, until that has failed for a while or the host refuses.
[[noreturn]] void FollowEvents(const Connection& connection, const Options& options);

/// intercomctl state: a driver's state, its earlier generations, and backups in files.
ExitStatus RunState(const Options& options, const Connection& connection);

/// intercomctl phones, calls, hangup: these ask call control, not the host.
ExitStatus RunPhones(const Options& options, const Connection& connection);
ExitStatus RunCalls(const Options& options, const Connection& connection);
ExitStatus RunHangup(const Options& options, const Connection& connection);

#endif
