// What the process arranges with the operating system before it does anything else.
#ifndef DRIVERHOST_PROCESSSETUP_H
#define DRIVERHOST_PROCESSSETUP_H

#include "driverhost/runtime/Fault.h"

namespace driverhost {

struct Limits;

/// Opens /dev/null in place of each standard stream that is closed. Otherwise the next file or socket would
/// get its number, and the log would be written into that.
void KeepStandardStreams();

/// Lets a write to a closed pipe, or beyond the largest file size, fail with an error. By default the signals
/// that announce it (SIGPIPE, SIGXFSZ) end the process.
void SurviveWriteSignals();

/// Restores the default for SIGCHLD. A starter may have left it ignored, which is inherited, and then the
/// exit status of a child process is lost.
void RestoreChildSignal();

/// Raises the process's limit of open files as far as possible, and lowers the bound on connections if the
/// limit is still too low. Says so then.
Fault FitToDescriptors(Limits& limits);

/// Blocks the signals that ask the process to end: it is ending, and they must not cut that short.
void IgnoreEndSignals();

}  // namespace driverhost

#endif
