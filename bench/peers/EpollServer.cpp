// The least that an answer over HTTP costs: one epoll loop, one read and one write an answer, nothing looked
// at.
//
//     epoll_server FILE    answers every piece that arrives with the bytes of FILE; prints its port
//
// A client that sends one whole request at a time, in one piece, gets one answer for each.
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace {

constexpr int kBacklog = 4096;
constexpr std::size_t kReadBytes = 16 * 1024;
constexpr int kEventsAtOnce = 256;

int Checked(int result, const char* what) {
    if (result < 0) throw std::runtime_error(std::string("epoll_server: cannot ") + what);
    return result;
}

int Listen() {
    const int listening = Checked(socket(AF_INET, SOCK_STREAM, 0), "make a socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Checked(bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
    Checked(listen(listening, kBacklog), "listen");
    socklen_t length = sizeof address;
    Checked(getsockname(listening, reinterpret_cast<sockaddr*>(&address), &length), "ask for the port");
    std::printf("%d\n", ntohs(address.sin_port));
    std::fflush(stdout);
    return listening;
}

void Watch(int epoll, int socket) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = socket;
    Checked(epoll_ctl(epoll, EPOLL_CTL_ADD, socket, &event), "watch a socket");
}

void Admit(int epoll, int listening) {
    const int client = Checked(accept4(listening, nullptr, nullptr, SOCK_NONBLOCK), "accept");
    const int on = 1;
    setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    Watch(epoll, client);
}

void Answer(int client, const std::string& answer) {
    static std::array<char, kReadBytes> request;
    if (recv(client, request.data(), request.size(), 0) > 0 &&
        send(client, answer.data(), answer.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(answer.size())) {
        return;
    }
    close(client);
}

void Serve(const std::string& answer) {
    const int listening = Listen();
    const int epoll = Checked(epoll_create1(0), "make an epoll");
    Watch(epoll, listening);
    std::array<epoll_event, kEventsAtOnce> events;
    for (;;) {
        const int count = Checked(epoll_wait(epoll, events.data(), kEventsAtOnce, -1), "wait");
        for (int at = 0; at < count; ++at) {
            const int socket = events[static_cast<std::size_t>(at)].data.fd;
            socket == listening ? Admit(epoll, listening) : Answer(socket, answer);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: epoll_server FILE\n", stderr);
        return 2;
    }
    try {
        std::ifstream file(argv[1], std::ios::binary);
        const std::string answer{std::istreambuf_iterator<char>(file), {}};
        if (answer.empty()) throw std::runtime_error("epoll_server: the file has no answer");
        Serve(answer);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
