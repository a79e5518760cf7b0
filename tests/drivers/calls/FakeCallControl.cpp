#include "tests/drivers/calls/FakeCallControl.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/support/process/Patience.h"

namespace test {
namespace {

bool BecomesReadable(int descriptor, std::chrono::milliseconds most = kPatience) {
    pollfd ready{descriptor, POLLIN, 0};
    return poll(&ready, 1, static_cast<int>(most.count())) == 1;
}

}  // namespace

FakeCallControl::FakeCallControl(std::string path)
    : path_(std::move(path)), listening_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    snapshot.kind = telephony::EventKind::Snapshot;
    snapshot.proxy = snapshot.media = "up";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    unlink(path_.c_str());
    EXPECT_EQ(0, bind(listening_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    EXPECT_EQ(0, listen(listening_, 8));
}

FakeCallControl::~FakeCallControl() {
    Drop();
    close(listening_);
    unlink(path_.c_str());
}

bool FakeCallControl::Accept() {
    if (!BecomesReadable(listening_)) return false;
    connection_ = accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
    reader_.emplace();
    return connection_ >= 0;
}

void FakeCallControl::GreetWhoWaits() {
    if (!BecomesReadable(listening_, std::chrono::milliseconds(0))) return;
    Drop();
    Accept();
    Read();
    Send(snapshot);
}

bool FakeCallControl::Fill() {
    char piece[65536];
    if (!BecomesReadable(connection_)) return false;
    const ssize_t count = recv(connection_, piece, sizeof piece, 0);
    return count > 0 && reader_->Add({piece, static_cast<std::size_t>(count)});
}

nlohmann::json FakeCallControl::ReadAny() {
    while (true) {
        if (const auto line = reader_->Next()) return nlohmann::json::parse(*line);
        if (!Fill()) return nullptr;
    }
}

nlohmann::json FakeCallControl::Read() {
    while (true) {
        nlohmann::json command = ReadAny();
        if (command.is_null() || command.at("cmd") != "status") return command;
    }
}

std::vector<nlohmann::json> FakeCallControl::Attend() {
    GreetWhoWaits();
    if (connection_ >= 0 && BecomesReadable(connection_, std::chrono::milliseconds(0)) && !Fill()) Drop();
    std::vector<nlohmann::json> commands;
    while (const auto line = connection_ >= 0 ? reader_->Next() : std::nullopt) {
        const auto command = nlohmann::json::parse(*line);
        if (command.at("cmd") == "status")
            Send(snapshot);
        else
            commands.push_back(command);
    }
    return commands;
}

bool FakeCallControl::IsClosed() {
    while (Fill()) {
    }
    char piece;
    return recv(connection_, &piece, 1, MSG_DONTWAIT) == 0;
}

void FakeCallControl::SendRaw(const std::string& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count = send(connection_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) return;
        sent += static_cast<std::size_t>(count);
    }
}

void FakeCallControl::Drop() {
    if (connection_ >= 0) close(connection_);
    connection_ = -1;
}

}  // namespace test
