// A home in which everything happens that drivers, users and the host may do: the agent with a few
// devices that come and go, call back, throw and delete themselves.
#ifndef FUZZ_SEQUENCEHOME_H
#define FUZZ_SEQUENCEHOME_H

#include <array>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/AgentHome.h"
#include "fuzz/ByteReader.h"
#include "host/glue/CmdDispatchers.h"

namespace fuzz {

class SequenceHome final : public AgentHome {
public:
    explicit SequenceHome(ByteReader& bytes) : bytes_(bytes) {}

    /// Starts, does what the bytes say, ends. Every check is made on the way.
    void Run();

private:
    static constexpr std::size_t kSlots = 5;

    /// What a driver throws in the middle of a call.
    struct DriverTrouble : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    struct Command {
        std::string name;
        std::vector<std::string> parameters;
    };
    using Commands = std::vector<Command>;

    // Steps.
    void Step();
    void UiCommand();
    void PlainCommand();
    void AskAgent();
    void ReportCall();
    void AddDevice();
    void AddFound();
    void Event();
    void AnswerOfSysman();
    void ChangeFacts();
    void LetDeviceReact();
    void RestartAgent();

    // Devices.
    test::FakeDevice& Device(std::size_t slot);
    void Register(std::size_t slot, unsigned long id);
    /// Takes the device out of the registry, then deletes it, as a driver must.
    void Delete(std::size_t slot);
    bool IsRegistered(const ISupportIntercom* device);
    /// One thing that the driver of that device does inside a call, chosen now, done then.
    test::Recorder::Action Reaction(std::size_t slot);

    // Checks.
    void CheckReply(const char* what, const dv::auto_com<DvXML::INode>& element);
    void CheckWhatLeftTheAgent();

    test::Parameters ParametersOf(const Command& command);
    static Commands Listed(const std::vector<CommandInfo>& commands);
    const Commands& UiCommands();
    const Commands& PlainCommands();

    ByteReader& bytes_;
    std::array<test::FakeDevice*, kSlots> slots_{};
    std::set<unsigned long> ids_;  // under which devices were ever registered
};

}  // namespace fuzz

#endif
