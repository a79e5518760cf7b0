// The SIP proxy is a service of the controller. It is started and stopped through the system
// manager, a command-line program that prints the request word when it has carried it out.
#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <memory>
#include <optional>

#include "agent/FirstException.h"
#include "agent/IntercomAgent.h"
#include "agent/Replies.h"
#include "host/glue/Log.h"

namespace {

// As much of the first line of the system manager's answer as is read.
constexpr std::size_t kAnswerBytes = 100;

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// The first line of the answer; none when the system manager cannot be started. Its exit status
// does not matter.
std::optional<std::string> AskSysman(const std::string& request) {
    const Stream stream(popen(("sysman " + request + " sipproxy").c_str(), "r"), &pclose);
    if (!stream) return std::nullopt;
    std::array<char, kAnswerBytes> line{};
    if (!std::fgets(line.data(), static_cast<int>(line.size()), stream.get())) return "";
    return line.data();
}

std::string LowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return text;
}

}  // namespace

void IntercomAgent::IssueSipProxyCommand(const std::string& request) {
    const std::optional<std::string> answer = AskSysman(request);
    if (!answer) {
        LogXMessage(dv::LOG_LEVEL_ERROR, "failed to open connection to sysman");
        return;
    }
    if (LowerCase(*answer).starts_with(request))
        LogXMessage(dv::LOG_LEVEL_INFO, "IntercomAgent %s sipproxy", request.c_str());
    else
        LogXMessage(dv::LOG_LEVEL_ERROR, "Failed to %s sipproxy", request.c_str());
}

void IntercomAgent::EnableSipProxy() {
    IssueSipProxyCommand("enable");
}

void IntercomAgent::DisableSipProxy() {
    IssueSipProxyCommand("disable");
}

void IntercomAgent::RestartSipProxy() {
    IssueSipProxyCommand("kill");
    IssueSipProxyCommand("enable");
}

IntercomAgent::Reply IntercomAgent::OnReqGetSipProxyIP(const ICmdMessage&) {
    return DvXML::CreateXmlNode("sipProxyIP", sipProxyIP);
}

IntercomAgent::Reply IntercomAgent::OnReqSetSipProxyIP(const ICmdMessage& message) {
    sipProxyIP = message.GetString("address");
    SendSipProxyIPToDevices();
    return Replies::Success();
}

void IntercomAgent::SendSipProxyIPToDevices() {
    FirstException trouble;
    for (const unsigned long id : DeviceIds()) {
        ISupportIntercom* const device = getIntercomDevice(id);
        if (!device) continue;
        const std::string address = sipProxyIP;  // read each time: a device may have changed it
        trouble.Run([&] { device->updateSipInfoFromDriver(address); });
    }
    trouble.Rethrow();
}

IntercomAgent::Reply IntercomAgent::OnReqApplySIPProxyChanges(const ICmdMessage&) {
    RestartSipProxy();
    return Replies::None();
}
