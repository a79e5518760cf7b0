// The real agent between fakes, driven by the steps of a run.
#ifndef TESTS_MODEL_REALSIDE_H
#define TESTS_MODEL_REALSIDE_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/interfaces/IDriver.h"
#include "host/interfaces/IIntercomAgent.h"
#include "tests/model/ModelSide.h"
#include "tests/model/Step.h"
#include "tests/support/FakeDevice.h"
#include "tests/support/FakeHost.h"
#include "tests/support/FakeSysman.h"
#include "tests/support/Recorder.h"

namespace model {

/// A driver that answers as its facts say, and describes its device as the host library does.
class FactDevice final : public test::FakeDevice {
public:
    /// `agent` is where the driver keeps the agent that it works for.
    FactDevice(test::Recorder& recorder, const DeviceFacts& facts, IIntercomAgent*& agent);

    void Become(const DeviceFacts& facts);
    const std::string& Label() const { return facts_.label; }

    dv::auto_com<DvXML::INode> toXml(dvIntercom::DeviceProps prop) override;
    void requestToAddDevice() override;
    void disconnectAgent() override;
    void updateSipInfoFromDriver(const std::string& address) override;
    void StartSipCall(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                      const std::string& address) override;
    void StartSipMonitor(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                         const std::string& address) override;
    void StartSipBroadcast(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                           const std::vector<std::string>& addresses) override;
    void HangupSipSession(unsigned char session) override;

private:
    void React(Reaction reaction);

    DeviceFacts facts_;
    IIntercomAgent*& agent_;
};

class RealSide {
public:
    explicit RealSide(const Surroundings& surroundings);
    ~RealSide();
    RealSide(const RealSide&) = delete;
    RealSide& operator=(const RealSide&) = delete;

    /// Makes and initialises the agent; null is a start without saved state.
    void Start(unsigned long ownId, DvXML::INode* saved);
    void Stop();
    void Apply(const Step& step);

    /// The agent's state document.
    std::string State();
    /// The document of a second agent that was started with `state`, alone and without address.
    std::string StateAfter(const std::string& state);
    /// What happened since the last call, except look-ups of drivers: an agent may ask
    /// as often as it wants who is still there.
    std::vector<std::string> Take();

private:
    void Answer(const std::string& text) { recorder_.Note("answer " + text); }
    void Restart(const Step& step);
    std::string Dispatch(const Message& message);
    void DispatchPlain(const Message& message);
    ISupportIntercom* Driver(int slot) const;
    std::string Who(ISupportIntercom* device) const;
    std::string GroupText(int groupId);
    std::string Query(const std::string& interfaceId);
    void Deliver(const Step& step);

    test::Recorder recorder_;
    std::string address_;
    std::optional<test::FakeSysman> sysman_;
    test::FakeHost host_{recorder_};
    IIntercomAgent* published_ = nullptr;
    std::vector<std::unique_ptr<FactDevice>> drivers_;
    std::unique_ptr<IDriver> agent_;
};

}  // namespace model

#endif
