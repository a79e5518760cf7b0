#include "host/glue/Log.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace dv {
namespace {

void WriteAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;  // standard error is gone: there is nowhere left to say so
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

// One write a line, so that lines of several threads do not mix.
void WriteToStandardError(unsigned int level, const std::string& text) {
    WriteAll(STDERR_FILENO, std::to_string(level) + " " + EscapeLogText(text) + "\n");
}

class SinkHolder {
public:
    // Never destroyed: what runs at the end of the process may still log.
    static SinkHolder& Get() {
        static auto* holder = new SinkHolder;
        return *holder;
    }

    void Set(LogSink sink) {
        if (sink.empty()) sink = &WriteToStandardError;
        auto replacement = std::make_shared<const LogSink>(std::move(sink));
        const std::lock_guard lock(mutex_);
        sink_.swap(replacement);
    }

    // The sink runs outside the lock, so that it may log or be replaced meanwhile.
    void Write(unsigned int level, const std::string& text) {
        std::unique_lock lock(mutex_);
        const std::shared_ptr<const LogSink> sink = sink_;
        lock.unlock();
        (*sink)(level, text);
    }

private:
    std::mutex mutex_;
    std::shared_ptr<const LogSink> sink_ = std::make_shared<const LogSink>(&WriteToStandardError);
};

void AppendEscaped(std::string& out, char c) {
    constexpr char digits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    switch (c) {
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\\':
            out += "\\\\";
            return;
        default:
            break;
    }
    if (byte >= 0x20 && byte != 0x7F) {
        out += c;
    } else {
        out.append("\\x").append(1, digits[byte >> 4]).append(1, digits[byte & 0xF]);
    }
}

}  // namespace

void SetLogSink(LogSink sink) {
    SinkHolder::Get().Set(std::move(sink));
}

std::string FormatText(const char* format, std::va_list arguments) {
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    if (length < 0) return format;  // an argument that cannot be printed; the words still tell
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

std::string EscapeLogText(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text)
        AppendEscaped(out, c);
    return out;
}

}  // namespace dv

void LogXMessage(unsigned int level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = dv::FormatText(format, arguments);
    va_end(arguments);
    dv::SinkHolder::Get().Write(level, text);
}
