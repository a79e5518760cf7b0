// Log lines. A driver logs through DvBaseDriver::LogXMessage, which knows its name; code without
// a driver logs through the function here.
#ifndef HOST_GLUE_LOG_H
#define HOST_GLUE_LOG_H

#include <boost/function.hpp>
#include <cstdarg>
#include <string>
#include <string_view>

#include "host/interfaces/Export.h"

namespace dv {

/// The levels in use, which are syslog's (RFC 5424, section 6.2.1).
enum LogLevel : unsigned int { LOG_LEVEL_ERROR = 3, LOG_LEVEL_INFO = 6, LOG_LEVEL_DEBUG = 7 };

/// Receives level and text of a line. The text is as it was formatted: a sink that writes lines
/// escapes it (EscapeLogText). [any thread]
using LogSink = boost::function<void(unsigned int level, const std::string& text)>;

/// Replaces the process's sink; an empty one restores the first: plain lines on standard error.
DVHOST_API void SetLogSink(LogSink sink);

/// printf-style text of any length.
DVHOST_API std::string FormatText(const char* format, std::va_list arguments)
    __attribute__((format(printf, 1, 0)));

/// The text on one line: \n, \r, \\ and \xNN for a line feed, a carriage return, a backslash and
/// other control characters.
DVHOST_API std::string EscapeLogText(std::string_view text);

}  // namespace dv

/// Writes one line to the process's sink. User text is an argument, never the format. [any thread]
DVHOST_API void LogXMessage(unsigned int level, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

#endif
