#include "host/glue/Assert.h"

#include <algorithm>
#include <boost/stacktrace.hpp>
#include <memory>
#include <mutex>
#include <utility>

#include "host/glue/Log.h"

namespace dv {
namespace {

constexpr std::size_t kOwnFrames = 1;  // the constructor below
constexpr std::size_t kMaxFrames = 64;

std::mutex observerMutex;
std::shared_ptr<const AssertObserver> observer;

std::shared_ptr<const AssertObserver> GetObserver() {
    const std::lock_guard lock(observerMutex);
    return observer;
}

void LogLines(const std::string& text) {
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        LogXMessage(LOG_LEVEL_ERROR, "  %s", text.substr(start, end - start).c_str());
        start = end + 1;
    }
}

}  // namespace

StackTrace::StackTrace()
    : text_(boost::stacktrace::to_string(boost::stacktrace::stacktrace(kOwnFrames, kMaxFrames))) {}

void SetAssertObserver(AssertObserver newObserver) {
    std::shared_ptr<const AssertObserver> replacement;
    if (!newObserver.empty()) replacement = std::make_shared<const AssertObserver>(std::move(newObserver));
    const std::lock_guard lock(observerMutex);
    observer.swap(replacement);
}

void AssertWrite(const char* file, int line, const StackTrace& trace) {
    if (const auto current = GetObserver()) (*current)(file, line);
    LogXMessage(LOG_LEVEL_ERROR, "assertion failed at %s:%d", file, line);
    LogLines(trace.Text());
}

}  // namespace dv
