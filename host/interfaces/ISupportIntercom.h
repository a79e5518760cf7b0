// What every intercom device driver implements, so that the agent can reach its device.
// Answered by the driver's QueryInterface for IntercomDeviceInterfaceId.
#ifndef HOST_INTERFACES_ISUPPORTINTERCOM_H
#define HOST_INTERFACES_ISUPPORTINTERCOM_H

#include <string>
#include <vector>

#include "host/interfaces/DvXML.h"
#include "host/interfaces/ICmdMessage.h"
#include "host/interfaces/dvIntercom.h"

/// The SIP account of a device, its password too: for the programs that speak SIP for it, and for nobody
/// else. Any of them may be empty.
struct SipAccount {
    std::string key;
    std::string user;
    std::string domain;
    std::string realm;
    std::string password;
    std::string name;
    std::string email;
    std::string forwardAddress;
};

/// Every operation: [driver thread], from IIntercomAgent::AddIntercomDevice on, until the device is
/// removed or disconnectAgent has returned. A driver may call the agent back from inside any of them,
/// also to remove the device; it may delete the device only after it has removed it, or after the
/// agent's OnDestroy has returned. The agent does not cache answers: each getter is asked when it is
/// needed. Whatever an operation other than requestToAddDevice throws passes through the agent to its
/// caller, after the agent has done its remaining steps.
class DVHOST_API ISupportIntercom {
public:
    ISupportIntercom();
    ISupportIntercom(const ISupportIntercom&) = delete;
    ISupportIntercom& operator=(const ISupportIntercom&) = delete;
    virtual ~ISupportIntercom();

    /// Device generation: 1 works without the SIP proxy, 2 needs it.
    virtual int getVersion() const = 0;
    /// The agent is starting: answer with IIntercomAgent::AddIntercomDevice, now or later. What this
    /// operation throws goes no further: the agent logs it and goes on to ask the next driver.
    virtual void requestToAddDevice() = 0;
    /// The agent is going away; it asks the device nothing more. There is nothing to remove then or
    /// later.
    virtual void disconnectAgent() = 0;
    /// Carries out the UI command "setDeviceState"; its parameters beside "idDevice" are the driver's.
    virtual void setDeviceState(const ICmdMessage& message) = 0;
    /// The device's key, also its SIP address-of-record. Default: the key field.
    virtual std::string getKey();
    /// The id that the device is registered under, 0 to 4294967295. The group "All" lists it.
    virtual unsigned long getDeviceId() const = 0;
    /// The number, 0 to 254, of the session held with the device of that key;
    /// NO_SESSION when there is none.
    virtual unsigned char findSessionId(const std::string& key) = 0;
    /// The description (property 0) or the part of it that the property names. Never null.
    ///
    /// Default: element "device" with named values from the virtual getters. Property 0: id, key,
    /// name, version, state, dnd, autoAnswer, monitorMode, answerWithVideo, speakerVolume,
    /// excludeFromNav, ringDoorbell, doorStation, thirdParty, camera, display, then user, domain,
    /// realm, displayName, email, forwardAddress where not empty; never the password. Other
    /// properties: id and the value that the property names.
    virtual dv::auto_com<DvXML::INode> toXml(dvIntercom::DeviceProps prop);
    /// Takes the SIP proxy's address, which may be empty. Called when the device is registered and
    /// whenever the address changes.
    virtual void updateSipInfoFromDriver(const std::string& sipProxyAddress) = 0;
    /// Door stations are left out of the group "All".
    virtual bool isDoorStation() const = 0;
    /// True for a device of another make, reached by SIP only.
    virtual bool is3rdParty() const = 0;

    // Settings. A driver whose setting changed, by a setter or at the device, reports it with
    // IIntercomAgent::OnDeviceChanged; the agent itself calls none of the setters.
    /// Do-not-disturb: broadcasts leave the device out.
    virtual bool getDnD() const = 0;
    virtual void setDnD(bool on) = 0;
    /// What the device is doing; the numbers are the driver's, user interfaces show them.
    virtual int getCurrentState() const = 0;
    virtual void setCurrentState(int state) = 0;
    /// Calls are answered without anybody's doing.
    virtual bool getAutoAnswer() const = 0;
    virtual void setAutoAnswer(bool on) = 0;
    /// Monitor mode: broadcasts leave the device out; calls that monitor it do not look at this.
    virtual bool getMonitorMode() const = 0;
    virtual void setMonitorMode(bool on) = 0;
    /// Whether the camera's picture is sent; asked only of a device with a camera.
    virtual bool getAnswerWithVideo() const = 0;
    virtual void setAnswerWithVideo(bool on) = 0;
    /// The scale is the driver's.
    virtual unsigned short getSpeakerVol() const = 0;
    /// `notify`: whether the change is reported with OnDeviceChanged.
    virtual void setSpeakerVol(unsigned short volume, bool notify) = 0;
    /// User interfaces do not show the device in their navigation.
    virtual bool getExcludeFromNav() const = 0;
    virtual void setExcludeFromNav(bool on) = 0;
    /// Sounds the chime once.
    virtual void RingDoorChime() = 0;
    /// Whether the device chimes when the doorbell is pressed.
    virtual void setRingDoorbell(bool on) = 0;
    virtual bool getRingDoorbell() const = 0;

    /// Hands a command message to the driver. Its answer, or null. Default: null.
    virtual dv::auto_com<DvXML::INode> PassToDriver(const ICmdMessage& message);
    /// The display name; also the user part of the device's SIP address.
    virtual std::string getIntercomName() = 0;
    virtual bool hasCamera() const = 0;
    virtual bool hasDisplay() const = 0;

    // Calls. The agent tells the calling device and keeps no record of the call; the driver reports
    // a finished one with IIntercomAgent::AddRecentContact.
    /// Places a call from this device to an address (a SIP address, or any text that a user gave).
    /// Modes are seen from this device and may lie outside the table (see MEDIA_WITHOUT_RING).
    virtual void StartSipCall(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                              const std::string& address) = 0;
    /// The same, to watch and hear the other device.
    virtual void StartSipMonitor(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                                 const std::string& address) = 0;
    /// The same, to several at once; at least one address.
    virtual void StartSipBroadcast(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                                   const std::vector<std::string>& addresses) = 0;
    /// Session control by the number that findSessionId answered. A number without a session changes
    /// nothing.
    virtual void HangupSipSession(unsigned char session) = 0;
    virtual void HoldSession(unsigned char session) = 0;
    virtual void ResumeSession(unsigned char session) = 0;
    /// True when the session exists and is not on hold.
    virtual bool ActiveSipSession(unsigned char session) = 0;

    /// What the device registers with. Not one of the operations that a driver may replace.
    SipAccount getSipAccount() const;

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
