// What the process arranges with the system before it does anything else.
#ifndef DRIVERHOST_PROCESSSETUP_H
#define DRIVERHOST_PROCESSSETUP_H

#include <string>

namespace driverhost {

struct Limits;

/// Standard streams that are closed lead to /dev/null from now on: else the next file or socket
/// that is opened takes their number, and the log is written into it.
void KeepStandardStreams();

/// Makes a closed standard error and a file too large errors of that write, not the end.
void SurviveWriteSignals();

/// Some starters leave the end of child processes ignored, which is inherited: nobody would learn then how
/// a program ended that was started here.
void HearOfChildren();

/// Raises the limit of open files as far as it goes, and lowers the bound of connections to what it
/// allows. What to tell about that; empty when all of them fit.
std::string FitToDescriptors(Limits& limits);

/// The process ends: signals that ask it to cannot cut that short.
void IgnoreEndSignals();

}  // namespace driverhost

#endif
