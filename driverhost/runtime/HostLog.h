// The log of the process: one line per call on standard error, whole lines from any thread.
#ifndef DRIVERHOST_RUNTIME_HOSTLOG_H
#define DRIVERHOST_RUNTIME_HOSTLOG_H

#include <chrono>
#include <string>
#include <string_view>

namespace driverhost {

/// The name under which the host's own lines stand.
inline constexpr std::string_view kHostName = "host";

enum class LogForm {
    Plain,   // 2026-11-21T02:33:04.123Z 6 agent text
    Journal  // <6>agent text: the service manager adds the time
};

/// The line without its line feed, control characters escaped.
std::string FormatLogLine(LogForm form, std::chrono::system_clock::time_point time, unsigned int level,
                          std::string_view name, std::string_view text);

/// The form that fits where standard error leads.
LogForm DetectLogForm();

namespace HostLog {

/// Lets lines up to `level` through, in `form`, and takes over the log of the host library.
void Start(unsigned int level, LogForm form);

/// One line in a driver's or the host's name. [any thread]
void Write(unsigned int level, std::string_view name, std::string_view text) noexcept;

}  // namespace HostLog

}  // namespace driverhost

#endif
