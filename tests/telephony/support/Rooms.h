// Many phones of sipp, which take little of the machine: their registrations, and the programs that answer.
#ifndef TESTS_TELEPHONY_SUPPORT_ROOMS_H
#define TESTS_TELEPHONY_SUPPORT_ROOMS_H

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/telephony/support/CallHome.h"

namespace test {

/// An account, and the port of SIP of its phone.
struct Room {
    std::string user;
    int port = 0;
};

/// Rooms with users "room1" and so on. With one port all are at the same phone.
std::vector<Room> MakeRooms(unsigned count, int firstPort, bool onePort);
/// Drivers for them; the first has id 201.
std::string RoomDrivers(unsigned count, const std::string& more = "");
unsigned RoomId(unsigned number);

/// Registers all rooms, and again before a registration runs out.
class Registrations {
public:
    /// Throws std::runtime_error when one is refused.
    Registrations(CallHome& home, const std::vector<Room>& rooms);
    ~Registrations();
    Registrations(const Registrations&) = delete;
    Registrations& operator=(const Registrations&) = delete;

    /// While this lives none is registered again; each was just before. Throws std::runtime_error when one
    /// was refused.
    [[nodiscard]] std::unique_lock<std::mutex> Pause();

private:
    /// Once, now. What went wrong.
    std::string Refresh() const;

    const std::filesystem::path file_;
    const std::size_t count_;
    std::mutex mutex_;
    std::atomic<bool> end_ = false;
    std::thread thread_;
};

/// A program that takes all calls to one port.
class RoomPhone {
public:
    /// What it does when it is called.
    enum class Kind { Rings, Answers, Echoes, Talks };

    RoomPhone(CallHome& home, Kind kind, int port, int soundPort);

private:
    std::unique_ptr<Process> process_;
};

}  // namespace test

#endif
