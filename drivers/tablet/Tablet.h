// A browser page as a panel: the page has sound and pictures, this driver speaks for it to call control and
// the agent. A tablet may have several pages open. docs/tablets.md lists the words between driver and page.
#ifndef DRIVERS_TABLET_TABLET_H
#define DRIVERS_TABLET_TABLET_H

#include <memory>
#include <string>

#include "drivers/calls/Alarm.h"
#include "drivers/calls/CallingDevice.h"
#include "drivers/tablet/PageCalls.h"
#include "drivers/tablet/Pages.h"
#include "host/interfaces/IReaderSink.h"

class Tablet final : public CallingDevice, private IReaderSink {
public:
    static IDriver* Create(IInstanceManager& instanceManager);

    struct Times {
        CallControlLink::Times callControl;
        std::chrono::milliseconds grace{2000};  // for a page whose stream has broken
        PageCalls::Times calls;
    };
    explicit Tablet(IInstanceManager& instanceManager);
    Tablet(IInstanceManager& instanceManager, Times times);

    // DvBaseDriver
    long QueryInterface(const std::string& id, void** out) override;
    /// Throws ConfigError when the configuration has a fault.
    long Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) override;
    void OnDestroy() override;
    void RegisterCommands() override;

    // ISupportIntercom
    /// Pages ring by themselves when they are called.
    void RingDoorChime() override;

private:
    using Reply = dv::auto_com<DvXML::INode>;
    struct CommandRow;
    static const CommandRow kCommands[];

    // Commands of pages, in TabletCommands.cpp. Each throws PageRefusal, which becomes an <error>.
    void OnReqHello(unsigned long reader, const ICmdMessage& message);
    void OnReqRinging(unsigned long reader, const ICmdMessage& message);
    void OnReqAnswer(unsigned long reader, const ICmdMessage& message);
    void OnReqDecline(unsigned long reader, const ICmdMessage& message);
    void OnReqHangup(unsigned long reader, const ICmdMessage& message);
    void OnReqHold(unsigned long reader, const ICmdMessage& message);
    void OnReqResume(unsigned long reader, const ICmdMessage& message);
    void OnReqKeyframe(unsigned long reader, const ICmdMessage& message);
    void OnReqDigits(unsigned long reader, const ICmdMessage& message);
    void OnReqPing(unsigned long reader, const ICmdMessage& message);
    void OnReqBye(unsigned long reader, const ICmdMessage& message);
    /// The call that a page speaks of, which must be there.
    const std::string& CallOf(unsigned long reader, const ICmdMessage& message) const;

    // IReaderSink
    void OnReaderOpened(unsigned long reader) override;
    void OnReaderClosed(unsigned long reader) override;

    // CallingDevice
    bool CarryOutCall(const std::string& request) override;
    void OnSettingsChanged() override;
    void OnCallControlEvent(const telephony::Event& event) override;
    void OnCallControlLost(const std::string& reason) override;
    bool SendToCallControl(const telephony::Command& command) override;

    bool IsDisturbedBy(const telephony::Event& event) const;
    void OnTime();
    /// After anything that may have changed who is there, or what is due when.
    void Settle();
    Reply SettingsToXml() const;
    Reply Welcome(unsigned long reader);

    const Times times_;
    std::string home_;  // its name, as pages show it
    bool mayBeMonitored_ = false;
    bool isThere_ = false;  // as the agent and call control know it
    Pages pages_;
    PageCalls pageCalls_;
    std::unique_ptr<Alarm> alarm_;
};

#endif
