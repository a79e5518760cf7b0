#include "driverhost/runtime/HostLog.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "host/glue/Log.h"
#include "host/glue/Numbers.h"

namespace driverhost {
namespace {

std::atomic<unsigned int> highestLevel{dv::LOG_LEVEL_INFO};
std::atomic<LogForm> lineForm{LogForm::Plain};

std::string UtcToTheMillisecond(std::chrono::system_clock::time_point time) {
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
    std::array<char, 8> millis{};
    std::snprintf(millis.data(), millis.size(), ".%03d", static_cast<int>(sinceEpoch.count() % 1000));
    std::string text = dv::UtcText(sinceEpoch.count() / 1000);
    return text.insert(text.size() - 1, millis.data());  // before the Z
}

constexpr std::size_t kPieceBytes = PIPE_BUF;  // a pipe that is writable takes that much at once
constexpr int kPatience = 100;                 // in milliseconds, with a reader that has stopped reading

// Keeps the lines of several threads apart. If the reader of standard error stops reading, nobody waits for
// it: lines that find no room are lost, and counted.
class Output {
public:
    void Write(std::string_view line) {
        const std::lock_guard lock(mutex_);
        if (lost_ > 0 && !ReportLost()) {
            ++lost_;
        } else if (!Put(line)) {
            lost_ = 1;
        }
    }

    void WriteInNeed(std::string_view line) noexcept {
        const std::lock_guard lock(mutex_);
        static_cast<void>(Put(line));  // if it is lost, that cannot be counted either
    }

private:
    bool ReportLost() {
        const std::string line =
            FormatLogLine(lineForm, std::chrono::system_clock::now(), dv::LOG_LEVEL_ERROR, kHostName,
                          std::to_string(lost_) + " log lines were lost: nobody read standard error");
        if (!Put((cut_ ? "\n" : "") + line + "\n")) return false;
        lost_ = 0;
        return true;
    }

    // False when there was no room for all of it.
    bool Put(std::string_view text) noexcept {
        while (!text.empty()) {
            if (!HasRoom()) return false;
            const ssize_t written = write(STDERR_FILENO, text.data(), std::min(text.size(), kPieceBytes));
            if (written < 0 && errno == EINTR) continue;
            if (written < 0 && errno == EAGAIN) return false;
            if (written <= 0) return true;  // standard error is gone, and there is nowhere to say so
            text.remove_prefix(static_cast<std::size_t>(written));
            cut_ = !text.empty();
        }
        return true;
    }

    // Only the first line that finds no room waits for it.
    bool HasRoom() const noexcept {
        pollfd entry{STDERR_FILENO, POLLOUT, 0};
        return poll(&entry, 1, lost_ > 0 ? 0 : kPatience) > 0;
    }

    std::mutex mutex_;
    std::uint64_t lost_ = 0;
    bool cut_ = false;  // the last line was not written completely
};

Output output;

}  // namespace

std::string FormatLogLine(LogForm form, std::chrono::system_clock::time_point time, unsigned int level,
                          std::string_view name, std::string_view text) {
    const std::string number = std::to_string(level);
    std::string line =
        form == LogForm::Journal ? "<" + number + ">" : UtcToTheMillisecond(time) + " " + number + " ";
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
        output.Write(FormatLogLine(lineForm, std::chrono::system_clock::now(), level, name, text) + "\n");
    } catch (const std::exception&) {
        output.WriteInNeed("3 host a log line was lost: out of memory\n");
    }
}

}  // namespace driverhost
