#include "tests/support/FakeDevice.h"

#include <utility>

#include "host/glue/Numbers.h"

namespace test {

namespace {

std::string Flag(bool value) {
    return dv::BoolText(value);
}

std::string Joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : " ") + text;
    return all;
}

}  // namespace

FakeDevice::FakeDevice(Recorder& recorder, unsigned long deviceId, std::string label)
    : id(deviceId),
      recorder_(recorder),
      label_(label.empty() ? std::to_string(deviceId) : std::move(label)) {}

void FakeDevice::Next(const std::string& operation, Recorder::Action action) {
    recorder_.Next(Line(operation), action);
}

void FakeDevice::Every(const std::string& operation, Recorder::Action action) {
    recorder_.Every(Line(operation), action);
}

std::string FakeDevice::Line(std::initializer_list<std::string> words) const {
    std::string line = "device " + label_;
    for (const std::string& word : words) {
        if (!word.empty()) line += " " + word;
    }
    return line;
}

void FakeDevice::setDeviceState(const ICmdMessage& message) {
    Operation({"setDeviceState", message.ToXml()->NodeToText()});
}

unsigned char FakeDevice::findSessionId(const std::string& otherKey) {
    const auto session = sessions.find(otherKey);
    const unsigned char answer = session == sessions.end() ? dvIntercom::NO_SESSION : session->second;
    Operation({"findSessionId", otherKey});
    return answer;
}

dv::auto_com<DvXML::INode> FakeDevice::toXml(dvIntercom::DeviceProps prop) {
    const dv::auto_com<DvXML::INode> element = DvXML::CreateXmlNode("device", "");
    element->NodeAddNamedULong("id", id);
    element->NodeAddNamedInt("prop", prop);
    return Answer("toXml", element);
}

void FakeDevice::updateSipInfoFromDriver(const std::string& sipProxyAddress) {
    Operation({"updateSipInfoFromDriver", sipProxyAddress});
}

void FakeDevice::setDnD(bool on) {
    dnd = on;
    Operation({"setDnD", Flag(on)});
}

void FakeDevice::setCurrentState(int state) {
    currentState = state;
    Operation({"setCurrentState", std::to_string(state)});
}

void FakeDevice::setAutoAnswer(bool on) {
    autoAnswer = on;
    Operation({"setAutoAnswer", Flag(on)});
}

void FakeDevice::setMonitorMode(bool on) {
    monitorMode = on;
    Operation({"setMonitorMode", Flag(on)});
}

void FakeDevice::setAnswerWithVideo(bool on) {
    answerWithVideo = on;
    Operation({"setAnswerWithVideo", Flag(on)});
}

void FakeDevice::setSpeakerVol(unsigned short volume, bool notify) {
    speakerVolume = volume;
    Operation({"setSpeakerVol", std::to_string(volume), Flag(notify)});
}

void FakeDevice::setExcludeFromNav(bool on) {
    excludeFromNav = on;
    Operation({"setExcludeFromNav", Flag(on)});
}

void FakeDevice::setRingDoorbell(bool on) {
    ringDoorbell = on;
    Operation({"setRingDoorbell", Flag(on)});
}

dv::auto_com<DvXML::INode> FakeDevice::PassToDriver(const ICmdMessage& message) {
    dv::auto_com<DvXML::INode> answer;
    if (!passAnswer.empty()) answer = DvXML::CreateXmlNode(passAnswer, passAnswerText);
    Operation({"PassToDriver", message.ToXml()->NodeToText()});
    return answer;
}

void FakeDevice::StartSipCall(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                              const std::string& address) {
    Operation({"StartSipCall", std::to_string(audio), std::to_string(video), address});
}

void FakeDevice::StartSipMonitor(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                                 const std::string& address) {
    Operation({"StartSipMonitor", std::to_string(audio), std::to_string(video), address});
}

void FakeDevice::StartSipBroadcast(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                                   const std::vector<std::string>& addresses) {
    Operation({"StartSipBroadcast", std::to_string(audio), std::to_string(video), Joined(addresses)});
}

void FakeDevice::HangupSipSession(unsigned char session) {
    Operation({"HangupSipSession", std::to_string(session)});
}

void FakeDevice::HoldSession(unsigned char session) {
    Operation({"HoldSession", std::to_string(session)});
}

void FakeDevice::ResumeSession(unsigned char session) {
    Operation({"ResumeSession", std::to_string(session)});
}

bool FakeDevice::ActiveSipSession(unsigned char session) {
    Operation({"ActiveSipSession", std::to_string(session)});
    return false;
}

}  // namespace test
