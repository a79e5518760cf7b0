// intercomctl events.
#ifndef CLIENT_EVENTS_H
#define CLIENT_EVENTS_H

#include "client/Connection.h"
#include "client/Options.h"

/// Prints events until it is stopped. A stream that breaks is taken up again behind the last event
/// that came; when that fails for long, or the host refuses, it throws Failure.
[[noreturn]] void FollowEvents(const Connection& connection, const Options& options);

#endif
