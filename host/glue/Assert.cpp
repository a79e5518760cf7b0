#include "host/glue/Assert.h"

#include <dlfcn.h>

#include <algorithm>
#include <boost/core/demangle.hpp>
#include <boost/stacktrace.hpp>
#include <memory>
#include <mutex>
#include <sstream>
#include <utility>

#include "host/glue/Log.h"

namespace dv {
namespace {

constexpr std::size_t kOwnFrames = 1;  // the constructor below
constexpr std::size_t kMaxFrames = 64;

// "MODULE+0xOFFSET NAME". The offset is what addr2line wants; the name is there for exported functions.
std::string Describe(const void* address) {
    Dl_info info{};
    std::ostringstream text;
    if (dladdr(address, &info) == 0 || !info.dli_fname) {
        text << address;
        return text.str();
    }
    text << info.dli_fname << "+0x" << std::hex
         << static_cast<const char*>(address) - static_cast<const char*>(info.dli_fbase);
    if (info.dli_sname) text << " " << boost::core::demangle(info.dli_sname);
    return text.str();
}

std::string Describe(const boost::stacktrace::stacktrace& trace) {
    std::string text;
    for (const boost::stacktrace::frame& frame : trace) {
        // An address to return to may lie behind the end of the function that made the call.
        text += Describe(static_cast<const char*>(frame.address()) - 1) + "\n";
    }
    return text;
}

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

StackTrace::StackTrace() : text_(Describe(boost::stacktrace::stacktrace(kOwnFrames, kMaxFrames))) {}

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
