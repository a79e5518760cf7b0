#include "tests/support/process/RunProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <stdexcept>

namespace test {

namespace {

using std::chrono::steady_clock;

struct Pipe {
    Pipe() {
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    }
    ~Pipe() {
        for (const int end : ends)
            if (end >= 0) ::close(end);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void CloseWriteEnd() {
        ::close(ends[1]);
        ends[1] = -1;
    }

    std::array<int, 2> ends{-1, -1};
};

// env(1) sets the variables, so that the program's words are all there is to pass.
pid_t Spawn(const std::vector<std::string>& words, const std::map<std::string, std::string>& environment,
            const Pipe& output, const Pipe& errors) {
    std::vector<std::string> all = {"env"};
    for (const auto& [name, value] : environment)
        all.push_back(name + "=" + value);
    all.insert(all.end(), words.begin(), words.end());
    std::vector<char*> pointers;
    for (std::string& word : all)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, errors.ends[1], STDERR_FILENO);
    pid_t id = 0;
    const int error = ::posix_spawnp(&id, "env", &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::runtime_error(std::string("posix_spawn: ") + std::strerror(error));
    return id;
}

// False at the end of the stream.
bool ReadInto(std::string& text, int end) {
    std::array<char, 4096> piece;
    const ssize_t count = ::read(end, piece.data(), piece.size());
    if (count <= 0) return false;
    text.append(piece.data(), static_cast<std::size_t>(count));
    return true;
}

}  // namespace

ProgramResult RunProgram(const std::vector<std::string>& words,
                         const std::map<std::string, std::string>& environment,
                         std::chrono::milliseconds most) {
    Pipe output;
    Pipe errors;
    const pid_t id = Spawn(words, environment, output, errors);
    output.CloseWriteEnd();
    errors.CloseWriteEnd();
    ProgramResult result;
    std::array<pollfd, 2> streams = {pollfd{output.ends[0], POLLIN, 0}, pollfd{errors.ends[0], POLLIN, 0}};
    const auto end = steady_clock::now() + most;
    while (streams[0].fd >= 0 || streams[1].fd >= 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - steady_clock::now());
        if (left.count() <= 0 ||
            ::poll(streams.data(), streams.size(), static_cast<int>(left.count())) == 0) {
            ::kill(id, SIGKILL);
            break;
        }
        if (streams[0].revents != 0 && !ReadInto(result.output, streams[0].fd)) streams[0].fd = -1;
        if (streams[1].revents != 0 && !ReadInto(result.errors, streams[1].fd)) streams[1].fd = -1;
    }
    int status = 0;
    ::waitpid(id, &status, 0);
    result.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    return result;
}

}  // namespace test
