#include "tests/telephony/support/Tap.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace test {
namespace {

constexpr std::size_t kIpHeader = 20;
constexpr std::size_t kUdpHeader = 8;
// What comes while a busy machine does not let this thread run.
constexpr int kBuffer = 32 << 20;

using Clock = std::chrono::system_clock;

Clock::time_point ArrivalOf(msghdr& message) {
    for (cmsghdr* head = CMSG_FIRSTHDR(&message); head; head = CMSG_NXTHDR(&message, head)) {
        if (head->cmsg_level != SOL_SOCKET || head->cmsg_type != SCM_TIMESTAMPNS) continue;
        timespec time{};
        std::memcpy(&time, CMSG_DATA(head), sizeof time);
        return Clock::time_point(std::chrono::duration_cast<Clock::duration>(
            std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec)));
    }
    return Clock::now();
}

}  // namespace

Tap::Tap(OnDatagram onDatagram)
    : onDatagram_(std::move(onDatagram)),
      socket_(socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, htons(ETH_P_IP))) {
    if (socket_ < 0) throw std::runtime_error("packets cannot be listened to");
    const int on = 1;
    setsockopt(socket_, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
    // Else each would come twice: as it is sent, and as it is received.
    setsockopt(socket_, SOL_PACKET, PACKET_IGNORE_OUTGOING, &on, sizeof on);
    setsockopt(socket_, SOL_SOCKET, SO_RCVBUFFORCE, &kBuffer, sizeof kBuffer);
    thread_ = std::thread([this] { Listen(); });
}

Tap::~Tap() {
    end_ = true;
    thread_.join();
    close(socket_);
}

unsigned Tap::Missed() {
    tpacket_stats counts{};
    socklen_t size = sizeof counts;
    getsockopt(socket_, SOL_PACKET, PACKET_STATISTICS, &counts, &size);
    return counts.tp_drops;
}

void Tap::Listen() {
    while (!end_) {
        pollfd ready{socket_, POLLIN, 0};
        if (poll(&ready, 1, 50) == 1) Read();
    }
}

void Tap::Read() {
    std::array<char, 65536> packet;
    alignas(cmsghdr) std::array<char, 128> control;
    sockaddr_ll source{};
    iovec part{packet.data(), packet.size()};
    msghdr message{&source, sizeof source, &part, 1, control.data(), control.size(), 0};
    const ssize_t size = recvmsg(socket_, &message, 0);
    constexpr std::size_t kHeaders = kIpHeader + kUdpHeader;
    if (size < static_cast<ssize_t>(kHeaders) || source.sll_pkttype == PACKET_OUTGOING ||
        packet[9] != IPPROTO_UDP)
        return;
    const auto number = [&](std::size_t at) {
        return static_cast<unsigned char>(packet[at]) << 8 | static_cast<unsigned char>(packet[at + 1]);
    };
    onDatagram_({ArrivalOf(message), number(kIpHeader), number(kIpHeader + 2),
                 std::string_view(packet.data() + kHeaders, static_cast<std::size_t>(size) - kHeaders)});
}

}  // namespace test
