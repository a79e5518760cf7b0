#include "tests/telephony/callcontrol/Fakes.h"

#include <algorithm>
#include <stdexcept>

#include "telephony/callcontrol/Bencode.h"

namespace test {

using nlohmann::json;

telephony::Loop::TimerId FakeLoop::After(std::chrono::milliseconds delay, std::function<void()> callback) {
    timers_[next_] = {now_ + delay, std::move(callback)};
    return next_++;
}

void FakeLoop::Advance(std::chrono::milliseconds time) {
    const TimePoint end = now_ + time;
    while (true) {
        const auto first = std::ranges::min_element(
            timers_, [](const auto& one, const auto& other) { return one.second.at < other.second.at; });
        if (first == timers_.end() || first->second.at > end) break;
        now_ = std::max(now_, first->second.at);
        const auto due = timers_.extract(first);
        due.mapped().callback();
    }
    now_ = end;
}

FakeMedia::FakeMedia(FakeLoop& loop)
    : loop_(loop), client_(loop, [this](std::string_view datagram) { Receive(datagram); }) {}

void FakeMedia::Receive(std::string_view datagram) {
    const auto space = datagram.find(' ');
    const std::string cookie(datagram.substr(0, space));
    const json request = telephony::Unbencode(datagram.substr(space + 1)).value();
    const std::string command = request.at("command");
    last_[command] = request;
    if (command != "ping" && command != "query") {
        std::string line = command;
        if (request.contains("from-tag")) line += " " + request.at("from-tag").get<std::string>();
        if (request.contains("to-tag")) line += ">" + request.at("to-tag").get<std::string>();
        asked_.push_back(line);
        last_[line] = request;
    }
    if (away) return;
    json reply{{"result", "ok"}};
    if (refusals.contains(command)) reply = {{"result", "error"}, {"error-reason", refusals[command]}};
    if (request.contains("sdp") || command == "subscribe request")
        reply["sdp"] = "v=0\r\no=- 7 7 IN IP4 192.0.2.9\r\ns=-\r\nc=IN IP4 192.0.2.9\r\nt=0 0\r\nm=audio " +
                       std::to_string(5000 + ++offers_) + " RTP/AVP 8\r\na=sendrecv\r\n";
    if (command == "query") reply["tags"] = tags;
    loop_.After(std::chrono::milliseconds(0),
                [this, cookie, reply] { client_.Receive(cookie + " " + telephony::Bencode(reply)); });
}

std::vector<std::string> FakeMedia::Take() {
    loop_.Advance(std::chrono::milliseconds(1));
    return std::exchange(asked_, {});
}

json FakeMedia::Asked(const std::string& line) const {
    const auto found = last_.find(line);
    if (found == last_.end()) return {};
    json request = found->second;
    for (const char* name : {"command", "call-id", "from-tag", "from-tags", "to-tag", "sdp"})
        request.erase(name);
    return request;
}

void FakeLeg::Invite(const telephony::Invitation& told) {
    user = told.to;
    invitation = told;
    sdp = told.sdp;
    Note("invite");
}

void FakeLeg::Reinvite(const std::string& told) {
    sdp = told;
    Note("re-invite");
}

void FakeLeg::Hangup(int code, const std::string& reason) {
    events = nullptr;
    Note("hangup " + std::to_string(code) + " " + reason);
}

telephony::SipLegPtr FakeSip::NewLeg(telephony::LegEvents& events) {
    legs_.push_back(std::make_shared<FakeLeg>(&events, log));
    return legs_.back();
}

FakeLeg& FakeSip::Leg(const std::string& user) {
    for (auto leg = legs_.rbegin(); leg != legs_.rend(); ++leg)
        if ((*leg)->user == user) return **leg;
    throw std::runtime_error("no leg of " + user);
}

std::vector<std::string> FakeClient::Take() {
    std::vector<std::string> lines;
    for (const telephony::Event& event : events) {
        std::string line(telephony::TextOf(event.kind));
        if (!event.leg.empty()) line += " " + event.leg;
        if (event.code != 0) line += " " + std::to_string(event.code);
        if (!event.by.empty()) line += " by " + event.by;
        lines.push_back(line);
    }
    events.clear();
    return lines;
}

std::string PhoneSdp(const std::string& direction) {
    return "v=0\r\no=- 1 1 IN IP4 192.0.2.1\r\ns=-\r\nc=IN IP4 192.0.2.1\r\nt=0 0\r\nm=audio 4000 RTP/AVP "
           "8\r\na=rtpmap:8 "
           "PCMA/8000\r\na=" +
           direction + "\r\n";
}

}  // namespace test
