// call_figures FIGURE: measures it and prints JSON on standard output. {"not_run": "why"} where this machine
// does not let it.
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string_view>

#include "bench/calls/Figures.h"
#include "tests/telephony/support/CallHome.h"

namespace {

struct Figure {
    std::string_view name;
    nlohmann::json (*measure)();
};

constexpr std::array kFigures = {Figure{"sound-baresip", bench::BaresipSound},
                                 Figure{"sound-baresip-direct", bench::BaresipSoundDirect},
                                 Figure{"sound-linphone", bench::LinphoneSound},
                                 Figure{"sound-linphone-direct", bench::LinphoneSoundDirect},
                                 Figure{"doorbell", bench::Doorbell},
                                 Figure{"broadcast", bench::Broadcast},
                                 Figure{"proxy-restart", bench::ProxyRestart},
                                 Figure{"bare-restart", bench::BareRestart},
                                 Figure{"host-killed", bench::HostKilled},
                                 Figure{"fifty-calls", bench::FiftyCalls},
                                 Figure{"call-rate", bench::CallRate},
                                 Figure{"idle-memory", bench::IdleMemory}};

constexpr std::array kPrograms = {"/usr/sbin/kamailio", "/usr/bin/rtpengine", "/usr/bin/baresip",
                                  "/usr/bin/linphonec", "/usr/bin/sipp"};

std::string WhyNot() {
    for (const char* const program : kPrograms)
        if (access(program, X_OK) != 0) return std::string(program) + " is not installed";
    return test::EnterOwnNetwork();
}

int Measure(const Figure& figure) try {
    const std::string why = WhyNot();
    std::cout << (why.empty() ? figure.measure() : nlohmann::json{{"not_run", why}}) << std::endl;
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return 1;
}

pid_t ParentOf(pid_t process) {
    const std::string stat = test::ReadFile("/proc/" + std::to_string(process) + "/stat");
    const std::size_t name = stat.rfind(')');
    return name == std::string::npos ? 0 : std::stoi(stat.substr(name + 4));
}

// Orphans fall to this process, so when it has no child left there is nothing left of the home.
void KillAllChildren() {
    constexpr useconds_t kStep = 2000;
    for (pid_t ended = 0; ended >= 0 || errno != ECHILD; ended = waitpid(-1, nullptr, WNOHANG)) {
        std::error_code error;
        for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
             entry.increment(error)) {
            const pid_t process = std::atoi(entry->path().filename().c_str());
            if (process > 0 && ParentOf(process) == getpid()) kill(process, SIGKILL);
        }
        usleep(kStep);
    }
}

// sysman's programs outlive who asked for them. So one process measures, and another sees to it that nothing
// is left however the first ends, and when it is told to end itself.
int MeasureAndEndAll(const Figure& figure) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGCHLD})
        sigaddset(&signals, number);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t child = fork();
    if (child == 0) {
        sigprocmask(SIG_UNBLOCK, &signals, nullptr);
        _exit(Measure(figure));
    }
    int status = 1;
    for (bool isOver = child < 0; !isOver;) {
        int number = 0;
        sigwait(&signals, &number);
        if (number != SIGCHLD) break;
        for (pid_t ended; (ended = waitpid(-1, &status, WNOHANG)) > 0 && !isOver;)
            isOver = ended == child;
        if (isOver) status = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    }
    KillAllChildren();
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    for (const Figure& figure : kFigures)
        if (argc == 2 && figure.name == argv[1]) return MeasureAndEndAll(figure);
    std::cerr << "call_figures FIGURE, one of:\n";
    for (const Figure& figure : kFigures)
        std::cerr << "  " << figure.name << "\n";
    return 2;
}
