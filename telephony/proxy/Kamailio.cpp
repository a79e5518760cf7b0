#include "telephony/proxy/Kamailio.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

#include "telephony/proxy/Configuration.h"
#include "telephony/proxy/Files.h"
#include "telephony/proxy/Keeper.h"

// This C library's header does not say that its functions are C.
extern "C" {
#include <sys/pidfd.h>
}

namespace proxy {

namespace {

constexpr std::chrono::milliseconds kStep{2};

// Kamailio's processes all have the command line of the first, and the script's path in it is ours alone.
bool RunsScript(pid_t process, const std::string& script) {
    const std::optional<std::string> words = ReadWholeFile("/proc/" + std::to_string(process) + "/cmdline");
    return words && words->find(std::string(1, '\0') + script + std::string(1, '\0')) != std::string::npos;
}

std::vector<pid_t> ProcessesOf(const std::string& script) {
    std::vector<pid_t> found;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        const pid_t process = std::atoi(entry->path().filename().c_str());
        if (process > 0 && RunsScript(process, script)) found.push_back(process);
    }
    return found;
}

// The handle is taken before the second look, so that nobody else can have got the number meanwhile.
void KillIfRunsScript(pid_t process, const std::string& script) {
    const int handle = ::pidfd_open(process, 0);
    if (handle < 0) return;
    if (RunsScript(process, script)) ::pidfd_send_signal(handle, SIGKILL, nullptr, 0);
    ::close(handle);
}

std::string Words(int status) {
    if (WIFSIGNALED(status)) return "was ended by signal " + std::to_string(WTERMSIG(status));
    return "ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

int Kamailio::KillLeftOver(const std::string& folder) {
    const std::string script = ScriptFile(folder);
    const std::vector<pid_t> first = ProcessesOf(script);
    // What is dead loses its command line, also while nobody collects it.
    for (std::vector<pid_t> left = first; !left.empty(); left = ProcessesOf(script)) {
        for (const pid_t process : left)
            KillIfRunsScript(process, script);
        std::this_thread::sleep_for(kStep);
    }
    return static_cast<int>(first.size());
}

Kamailio::Kamailio(std::string program, std::string folder)
    : program_(std::move(program)), folder_(std::move(folder)) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
}

Kamailio::~Kamailio() {
    if (!IsRunning()) return;
    ::shutdown(connection_, SHUT_RDWR);  // the keeper ends all
    Finish();
}

void Kamailio::Start() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        throw SystemFailure("cannot start " + program_, errno);
    const pid_t child = ::fork();
    if (child < 0) {
        const int error = errno;
        ::close(ends[0]);
        ::close(ends[1]);
        throw SystemFailure("cannot start " + program_, error);
    }
    if (child == 0) {
        ::close(ends[0]);
        Keep(program_, folder_, ends[1]);
    }
    ::close(ends[1]);
    ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    connection_ = ends[0];
    keeper_ = child;
    main_ = 0;
    told_.clear();
    lastEnd_ = "was killed with its keeper";
}

void Kamailio::AskToEnd() {
    if (IsRunning()) ::send(connection_, &kAskToEnd, 1, MSG_NOSIGNAL);
}

bool Kamailio::Collect() {
    if (!IsRunning()) return true;
    char bytes[64];
    for (;;) {
        const ssize_t size = ::recv(connection_, bytes, sizeof bytes, 0);
        if (size > 0) {
            told_.append(bytes, static_cast<std::size_t>(size));
            continue;
        }
        if (size < 0 && (errno == EAGAIN || errno == EINTR)) break;
        Finish();
        return true;
    }
    if (told_.find('\n') != std::string::npos) main_ = std::atoi(told_.c_str());
    return false;
}

// The keeper is gone or going. What it did not get to end has fallen to this process.
void Kamailio::Finish() {
    int status = 0;
    ::waitpid(keeper_, &status, 0);
    const std::size_t line = told_.find('\n');
    if (line != std::string::npos) main_ = std::atoi(told_.c_str());
    if (line != std::string::npos && line + 1 < told_.size())
        lastEnd_ = Words(std::atoi(told_.c_str() + line + 1));
    else
        KillLeftOver(folder_);
    while (::waitpid(-1, nullptr, WNOHANG) > 0) {
    }
    ::close(connection_);
    connection_ = -1;
    keeper_ = main_ = 0;
}

}  // namespace proxy
