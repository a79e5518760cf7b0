// intercomctl state: a driver's state, its earlier generations, and backups in files.
#ifndef CLIENT_STATECOMMANDS_H
#define CLIENT_STATECOMMANDS_H

#include "client/Connection.h"
#include "client/Failure.h"
#include "client/Options.h"

/// state, state list, state show N, state restore N, state save FILE, state load FILE. Throws Failure.
ExitStatus RunState(const Options& options, const Connection& connection);

#endif
