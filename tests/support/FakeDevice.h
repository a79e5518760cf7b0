// A device driver without a device: answers what the test sets and records every operation.
//
// Operations that do something are recorded ("device 5 disconnectAgent"), mere queries only when
// the test asks for it (Show). Inside any of them a test may act (Next, Every): remove the device,
// add another one, throw, even delete this object. No operation touches the object after that.
#ifndef TESTS_SUPPORT_FAKEDEVICE_H
#define TESTS_SUPPORT_FAKEDEVICE_H

#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "host/interfaces/ISupportIntercom.h"
#include "tests/support/Recorder.h"

namespace test {

class FakeDevice : public ISupportIntercom {
public:
    /// `label` names the device in the recorder's lines; the id when empty.
    FakeDevice(Recorder& recorder, unsigned long id, std::string label = "");

    /// Runs the action inside the next call of the operation, once; every query counts.
    void Next(const std::string& operation, Recorder::Action action);
    /// The same inside each call.
    void Every(const std::string& operation, Recorder::Action action);
    /// Records the queries too whose names begin with `operation`.
    void Show(const std::string& operation) { recorder_.Show(Line(operation)); }

    // What the queries answer.
    int version = 1;
    std::string deviceKey;
    std::string intercomName;
    bool doorStation = false;
    bool thirdParty = false;
    bool dnd = false;
    int currentState = 0;
    bool autoAnswer = false;
    bool monitorMode = false;
    bool answerWithVideo = false;
    unsigned short speakerVolume = 0;
    bool excludeFromNav = false;
    bool ringDoorbell = false;
    bool camera = false;
    bool display = false;
    /// Session numbers by the key of the device at the other end.
    std::map<std::string, unsigned char> sessions;
    /// Element that PassToDriver answers, with a text; none while the name is empty.
    std::string passAnswer;
    std::string passAnswerText;
    /// What getDeviceId answers; first the id given at construction.
    unsigned long id;

    // ISupportIntercom
    int getVersion() const override { return Answer("getVersion", version); }
    void requestToAddDevice() override { Operation({"requestToAddDevice"}); }
    void disconnectAgent() override { Operation({"disconnectAgent"}); }
    void setDeviceState(const ICmdMessage& message) override;
    std::string getKey() override { return Answer("getKey", deviceKey); }
    unsigned long getDeviceId() const override { return Answer("getDeviceId", id); }
    unsigned char findSessionId(const std::string& otherKey) override;
    /// Element "device" with "id" and "prop", the number of the property asked for.
    dv::auto_com<DvXML::INode> toXml(dvIntercom::DeviceProps prop) override;
    void updateSipInfoFromDriver(const std::string& sipProxyAddress) override;
    bool isDoorStation() const override { return Answer("isDoorStation", doorStation); }
    bool is3rdParty() const override { return Answer("is3rdParty", thirdParty); }
    bool getDnD() const override { return Answer("getDnD", dnd); }
    void setDnD(bool on) override;
    int getCurrentState() const override { return Answer("getCurrentState", currentState); }
    void setCurrentState(int state) override;
    bool getAutoAnswer() const override { return Answer("getAutoAnswer", autoAnswer); }
    void setAutoAnswer(bool on) override;
    bool getMonitorMode() const override { return Answer("getMonitorMode", monitorMode); }
    void setMonitorMode(bool on) override;
    bool getAnswerWithVideo() const override { return Answer("getAnswerWithVideo", answerWithVideo); }
    void setAnswerWithVideo(bool on) override;
    unsigned short getSpeakerVol() const override { return Answer("getSpeakerVol", speakerVolume); }
    void setSpeakerVol(unsigned short volume, bool notify) override;
    bool getExcludeFromNav() const override { return Answer("getExcludeFromNav", excludeFromNav); }
    void setExcludeFromNav(bool on) override;
    void RingDoorChime() override { Operation({"RingDoorChime"}); }
    void setRingDoorbell(bool on) override;
    bool getRingDoorbell() const override { return Answer("getRingDoorbell", ringDoorbell); }
    dv::auto_com<DvXML::INode> PassToDriver(const ICmdMessage& message) override;
    std::string getIntercomName() override { return Answer("getIntercomName", intercomName); }
    bool hasCamera() const override { return Answer("hasCamera", camera); }
    bool hasDisplay() const override { return Answer("hasDisplay", display); }
    void StartSipCall(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                      const std::string& address) override;
    void StartSipMonitor(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                         const std::string& address) override;
    void StartSipBroadcast(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                           const std::vector<std::string>& addresses) override;
    void HangupSipSession(unsigned char session) override;
    void HoldSession(unsigned char session) override;
    void ResumeSession(unsigned char session) override;
    bool ActiveSipSession(unsigned char session) override;

private:
    /// The words behind "device LABEL"; empty ones leave no trace.
    std::string Line(std::initializer_list<std::string> words) const;
    std::string Line(const std::string& word) const { return Line({word}); }

    /// Both may end with this object destroyed: they are the last that a caller does with it.
    void Operation(std::initializer_list<std::string> words) { recorder_.Note(Line(words)); }
    template <class Value>
    Value Answer(const char* query, Value value) const {
        recorder_.NoteQuery(Line(query));
        return value;
    }

    Recorder& recorder_;
    const std::string label_;
};

}  // namespace test

#endif
