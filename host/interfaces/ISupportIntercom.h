// What every intercom device driver implements, so that the agent can reach its device.
// Answered by the driver's QueryInterface for IntercomDeviceInterfaceId.
#ifndef HOST_INTERFACES_ISUPPORTINTERCOM_H
#define HOST_INTERFACES_ISUPPORTINTERCOM_H

#include <string>
#include <vector>

#include "host/interfaces/DvXML.h"
#include "host/interfaces/ICmdMessage.h"
#include "host/interfaces/dvIntercom.h"

/// Every operation: [driver thread]. A driver may call the agent back from inside any of them.
class DVHOST_API ISupportIntercom {
public:
    ISupportIntercom();
    ISupportIntercom(const ISupportIntercom&) = delete;
    ISupportIntercom& operator=(const ISupportIntercom&) = delete;
    virtual ~ISupportIntercom();

    /// Device generation: 1 works without the SIP proxy, 2 needs it.
    virtual int getVersion() const = 0;
    /// The agent has started: answer with IIntercomAgent::AddIntercomDevice.
    virtual void requestToAddDevice() = 0;
    /// The agent is going away and forgets the device.
    virtual void disconnectAgent() = 0;
    /// Carries out the UI command "setDeviceState"; its parameters are the driver's.
    virtual void setDeviceState(const ICmdMessage& message) = 0;
    /// The device's key, also its SIP address-of-record. Default: the key field.
    virtual std::string getKey();
    virtual unsigned long getDeviceId() const = 0;
    /// The number of the session held with the device of that key; NO_SESSION when none.
    virtual unsigned char findSessionId(const std::string& key) = 0;
    /// The description (property 0) or the part of it that the property names. Never null.
    ///
    /// Default: element "device" with named values from the virtual getters. Property 0: id, key,
    /// name, version, state, dnd, autoAnswer, monitorMode, answerWithVideo, speakerVolume,
    /// excludeFromNav, ringDoorbell, doorStation, thirdParty, camera, display, then user, domain,
    /// realm, displayName, email, forwardAddress where not empty; never the password. Other
    /// properties: id and the value that the property names.
    virtual dv::auto_com<DvXML::INode> toXml(dvIntercom::DeviceProps prop);
    /// The SIP proxy's address, which may be empty.
    virtual void updateSipInfoFromDriver(const std::string& sipProxyAddress) = 0;
    virtual bool isDoorStation() const = 0;
    /// True for a device of another make, reached by SIP only.
    virtual bool is3rdParty() const = 0;
    virtual bool getDnD() const = 0;
    virtual void setDnD(bool on) = 0;
    virtual int getCurrentState() const = 0;
    virtual void setCurrentState(int state) = 0;
    virtual bool getAutoAnswer() const = 0;
    virtual void setAutoAnswer(bool on) = 0;
    virtual bool getMonitorMode() const = 0;
    virtual void setMonitorMode(bool on) = 0;
    virtual bool getAnswerWithVideo() const = 0;
    virtual void setAnswerWithVideo(bool on) = 0;
    virtual unsigned short getSpeakerVol() const = 0;
    virtual void setSpeakerVol(unsigned short volume, bool notify) = 0;
    virtual bool getExcludeFromNav() const = 0;
    virtual void setExcludeFromNav(bool on) = 0;
    virtual void RingDoorChime() = 0;
    virtual void setRingDoorbell(bool on) = 0;
    virtual bool getRingDoorbell() const = 0;
    /// Hands a command message to the driver. Its answer, or null. Default: null.
    virtual dv::auto_com<DvXML::INode> PassToDriver(const ICmdMessage& message);
    /// The display name; also the user part of the device's SIP address.
    virtual std::string getIntercomName() = 0;
    virtual bool hasCamera() const = 0;
    virtual bool hasDisplay() const = 0;
    /// Place a call from this device. Modes may lie outside the table (see MEDIA_WITHOUT_RING).
    virtual void StartSipCall(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                              const std::string& address) = 0;
    virtual void StartSipMonitor(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                                 const std::string& address) = 0;
    virtual void StartSipBroadcast(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                                   const std::vector<std::string>& addresses) = 0;
    virtual void HangupSipSession(unsigned char session) = 0;
    virtual void HoldSession(unsigned char session) = 0;
    virtual void ResumeSession(unsigned char session) = 0;
    virtual bool ActiveSipSession(unsigned char session) = 0;

protected:
    // The SIP account of the device; each may be empty. Filled by the deriving class.
    std::string key;
    std::string user;
    std::string domain;
    std::string realm;
    std::string password;
    std::string name;
    std::string email;
    std::string forwardAddress;
};

#endif
