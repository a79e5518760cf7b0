// A SIP phone or door station that registers at the proxy and knows nothing of this system. Its calls are
// made by call control; docs/phones.md tells how one is set up.
#ifndef DRIVERS_PHONE_PHONE_H
#define DRIVERS_PHONE_PHONE_H

#include <memory>
#include <vector>

#include "drivers/calls/CallingDevice.h"
#include "drivers/phone/HttpCaller.h"
#include "drivers/phone/PhoneConfig.h"

class Phone final : public CallingDevice {
public:
    static IDriver* Create(IInstanceManager& instanceManager);

    struct Times {
        CallControlLink::Times callControl;
        std::chrono::milliseconds httpAnswer{5000};
    };
    explicit Phone(IInstanceManager& instanceManager);
    Phone(IInstanceManager& instanceManager, Times times);

    // DvBaseDriver
    /// Throws ConfigError when the configuration has a fault.
    long Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) override;
    void OnDestroy() override;

    // ISupportIntercom
    /// GET_CUSTOM_BUTTON lists the buttons; CUSTOM_BUTTON with "button", an id or a name, presses one.
    dv::auto_com<DvXML::INode> PassToDriver(const ICmdMessage& message) override;
    void RingDoorChime() override;

private:
    bool CarryOutCall(const std::string& request) override;

    dv::auto_com<DvXML::INode> ButtonsToXml() const;
    dv::auto_com<DvXML::INode> Press(const std::string& button);
    /// Why not; empty when it is on its way.
    std::string Carry(std::size_t button);
    /// Tells user interfaces what came of a button. Digits tell nothing: no phone says what it does with
    /// them.
    void TellOutcome(std::size_t button, bool isDone);
    /// Why not; empty when it is sent.
    std::string CallStation(const std::string& name, const HttpAction& action, HttpCaller::Done done = {});

    const Times times_;
    std::vector<PhoneButton> buttons_;
    std::optional<HttpAction> chime_;
    std::unique_ptr<HttpCaller> http_;  // made when it is first needed
};

#endif
