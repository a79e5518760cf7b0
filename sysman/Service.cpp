#include "sysman/Service.h"

#include <csignal>
#include <cstdlib>
#include <utility>

namespace {

// The time that a disabled program gets for an orderly end, unless SYSMAN_GRACE_SECONDS sets another.
constexpr std::chrono::seconds kDefaultGrace{5};
constexpr long kMostGrace = 3600;  // in seconds

std::chrono::seconds Grace() {
    const char* const text = std::getenv("SYSMAN_GRACE_SECONDS");
    if (!text || !*text) return kDefaultGrace;
    char* end = nullptr;
    const long seconds = std::strtol(text, &end, 10);
    if (*end != '\0' || seconds < 0 || seconds > kMostGrace)
        throw Failure("SYSMAN_GRACE_SECONDS must be a number from 0 to " + std::to_string(kMostGrace) +
                      ", not \"" + text + "\"");
    return std::chrono::seconds(seconds);
}

}  // namespace

Service::Service(StateFolder& state, std::string name, std::string program)
    : state_(state), name_(std::move(name)), program_(std::move(program)) {}

std::optional<Process> Service::FindProcess() const {
    const std::optional<ProcessIdentity> noted = state_.ReadProcess(name_);
    if (!noted) return std::nullopt;
    return Process::Find(*noted);
}

bool Service::End(const Process& process) {
    process.Signal(SIGKILL);
    const bool ended = process.WaitForEnd(kLongestStep);
    if (ended) state_.ForgetProcess(name_);
    return ended;
}

std::string Service::Enable() {
    const bool wasEnding = state_.IsDisabled(name_);
    state_.NoteWanted(name_, true);
    if (program_.empty()) return "noted as wanted; no program is configured (SIPPROXY_PROGRAM)";
    if (const std::optional<Process> process = FindProcess()) {
        if (!wasEnding) return "is running already";
        if (!End(*process)) throw Failure("the disabled program has been killed, but does not end");
    }
    const ProcessIdentity started = StartProgram(program_, state_.LogFile(name_));
    state_.NoteProcess(name_, started);
    return "started " + program_ + " as process " + std::to_string(started.id);
}

std::string Service::Disable() {
    const std::chrono::seconds grace = Grace();
    state_.NoteWanted(name_, false);
    const std::optional<Process> process = FindProcess();
    if (!process) {
        state_.ForgetProcess(name_);
        return "noted as not wanted; no program is running";
    }
    process->Signal(SIGTERM);
    process->KillLater(grace);
    return "asked the program to end; it will be killed after " + std::to_string(grace.count()) + " s";
}

std::string Service::Kill() {
    const std::optional<Process> process = FindProcess();
    if (!process) {
        state_.ForgetProcess(name_);
        return "no program is running";
    }
    return End(*process) ? "killed the program" : "killed the program, which has not ended yet";
}
