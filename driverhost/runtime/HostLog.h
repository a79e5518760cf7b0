// The log of the process: each call writes one line on standard error, from any thread.
#ifndef DRIVERHOST_RUNTIME_HOSTLOG_H
#define DRIVERHOST_RUNTIME_HOSTLOG_H

#include <chrono>
#include <string>
#include <string_view>

namespace driverhost {

/// The name in the host's own lines.
inline constexpr std::string_view kHostName = "host";

enum class LogForm {
    Plain,   // 2026-11-21T02:33:04.123Z 6 agent text
    Journal  // <6>agent text: the service manager adds the time
};

/// The line, with control characters escaped and without its line feed.
std::string FormatLogLine(LogForm form, std::chrono::system_clock::time_point time, unsigned int level,
                          std::string_view name, std::string_view text);

/// The form that the reader of standard error expects.
LogForm DetectLogForm();

namespace HostLog {

/// Writes lines up to `level` in `form` from now on, and those of the host library as well.
void Start(unsigned int level, LogForm form);

/// Writes one line in the name of a driver or of the host. [any thread]
void Write(unsigned int level, std::string_view name, std::string_view text) noexcept;

}  // namespace HostLog

}  // namespace driverhost

#endif
