// As much of call control as a driver sees: a unix socket, the lines that it reads, the lines that it writes.
#ifndef TESTS_DRIVERS_CALLS_FAKECALLCONTROL_H
#define TESTS_DRIVERS_CALLS_FAKECALLCONTROL_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "telephony/protocol/Event.h"
#include "telephony/protocol/Lines.h"

namespace test {

class FakeCallControl {
public:
    explicit FakeCallControl(std::string path);
    ~FakeCallControl();
    FakeCallControl(const FakeCallControl&) = delete;
    FakeCallControl& operator=(const FakeCallControl&) = delete;

    /// Waits for the driver's connection; false when none comes.
    bool Accept();
    /// Greets a driver that is waiting, however often it has come again meanwhile.
    void GreetWhoWaits();
    /// The next command other than "status", which is left without an answer. Null when none comes.
    nlohmann::json Read();
    /// The next line, whatever it is; null when none comes.
    nlohmann::json ReadAny();
    /// One look without waiting, for whoever plays call control in a thread: greets who waits, answers each
    /// "status" with the snapshot, and returns the other commands.
    std::vector<nlohmann::json> Attend();
    /// Whether the driver closes the connection.
    bool IsClosed();

    void Send(const telephony::Event& event) { SendRaw(telephony::ToLine(event) + "\n"); }
    void SendRaw(const std::string& bytes);
    void Drop();

    /// What a snapshot tells.
    telephony::Event snapshot;

private:
    bool Fill();

    const std::string path_;
    int listening_;
    int connection_ = -1;
    std::optional<telephony::LineReader> reader_;
};

}  // namespace test

#endif
