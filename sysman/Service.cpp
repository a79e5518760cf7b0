#include "sysman/Service.h"

#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
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

// From an end to the next start.
constexpr std::chrono::milliseconds kFirstDelay{100};
constexpr std::chrono::milliseconds kLongestDelay{10000};
constexpr std::chrono::seconds kRunsWell{30};  // after which the next delay is the first again

void WaitForEnd(const ProcessIdentity& identity) {
    const std::optional<Process> process = Process::Find(identity);
    while (process && !process->WaitForEnd(std::chrono::hours(1))) {
    }
    ::waitpid(identity.id, nullptr, WNOHANG);  // it may be a child of ours
}

// Starts the program again, if it is the one that was noted and is still wanted. None when it is not.
std::optional<ProcessIdentity> StartAgain(const std::string& service, const std::string& program,
                                          const ProcessIdentity& ended) {
    StateFolder state;
    if (state.IsDisabled(service) || state.ReadProcess(service) != ended) return std::nullopt;
    std::ofstream(state.LogFile(service), std::ios::app)
        << "sysman: " << service << " has ended though it is wanted; it is started again" << std::endl;
    const ProcessIdentity started = StartProgram(program, state.LogFile(service), Log::GoesOn);
    state.NoteProcess(service, started);
    return started;
}

}  // namespace

Service::Service(StateFolder& state, std::string name, std::string program)
    : state_(state), name_(std::move(name)), program_(std::move(program)) {}

std::optional<Process> Service::FindProcess() const {
    const std::optional<ProcessIdentity> noted = state_.ReadProcess(name_);
    if (!noted) return std::nullopt;
    return Process::Find(*noted);
}

void Service::KeepRunning(const ProcessIdentity& started) const {
    LeaveBehind([this, running = started, log = state_.LogFile(name_)]() mutable {
        std::chrono::milliseconds delay = kFirstDelay;
        // Without its folder there is nobody left who wants it.
        while (std::filesystem::exists(log)) {
            const auto begin = std::chrono::steady_clock::now();
            WaitForEnd(running);
            if (std::chrono::steady_clock::now() - begin > kRunsWell) delay = kFirstDelay;
            std::this_thread::sleep_for(delay);
            delay = std::min(delay * 2, kLongestDelay);
            if (!std::filesystem::exists(log)) return;
            try {
                const std::optional<ProcessIdentity> again = StartAgain(name_, program_, running);
                if (!again) return;
                running = *again;
            } catch (const Failure&) {
                // Another request is being carried out, or the disk is full: later.
            }
        }
    });
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
    const ProcessIdentity started = StartProgram(program_, state_.LogFile(name_), Log::Anew);
    state_.NoteProcess(name_, started);
    KeepRunning(started);
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
