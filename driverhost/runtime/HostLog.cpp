#include "driverhost/runtime/HostLog.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "host/glue/Log.h"

namespace driverhost {
namespace {

std::atomic<unsigned int> highestLevel{dv::LOG_LEVEL_INFO};
std::atomic<LogForm> lineForm{LogForm::Plain};

std::string UtcTime(std::chrono::system_clock::time_point time) {
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
    const std::time_t seconds = sinceEpoch.count() / 1000;
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::array<char, 8> millis{};
    std::snprintf(millis.data(), millis.size(), ".%03dZ", static_cast<int>(sinceEpoch.count() % 1000));
    return std::string(date.data()) + millis.data();
}

// One write a line, so that lines of several threads do not mix.
void WriteLine(std::string_view line) {
    while (!line.empty()) {
        const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;  // standard error is gone: there is nowhere left to say so
        line.remove_prefix(static_cast<std::size_t>(written));
    }
}

}  // namespace

std::string FormatLogLine(LogForm form, std::chrono::system_clock::time_point time, unsigned int level,
                          std::string_view name, std::string_view text) {
    const std::string number = std::to_string(level);
    std::string line = form == LogForm::Journal ? "<" + number + ">" : UtcTime(time) + " " + number + " ";
    return line.append(name).append(" ").append(dv::EscapeLogText(text));
}

LogForm DetectLogForm() {
    return std::getenv("JOURNAL_STREAM") ? LogForm::Journal : LogForm::Plain;
}

void HostLog::Start(unsigned int level, LogForm form) {
    highestLevel = level;
    lineForm = form;
    dv::SetLogSink(
        [](unsigned int lineLevel, const std::string& text) { Write(lineLevel, kHostName, text); });
}

void HostLog::Write(unsigned int level, std::string_view name, std::string_view text) noexcept {
    if (level > highestLevel) return;
    try {
        WriteLine(FormatLogLine(lineForm, std::chrono::system_clock::now(), level, name, text) + "\n");
    } catch (const std::exception&) {
        WriteLine("3 host a log line was lost: out of memory\n");
    }
}

}  // namespace driverhost
