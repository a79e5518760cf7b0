#include "telephony/callcontrol/CallTable.h"

#include <algorithm>
#include <ctime>
#include <random>

#include "telephony/callcontrol/BroadcastCall.h"
#include "telephony/callcontrol/Log.h"
#include "telephony/callcontrol/TalkCall.h"

namespace telephony {
namespace {

constexpr std::chrono::seconds kWatchInterval(1);
constexpr int kNoSuchCall = 481;
constexpr int kTooLong = 413;
// Why a page is away.
constexpr char kPageClosed[] = "closed";
constexpr char kSpeakerLost[] = "disconnected";

std::string RandomPrefix() {
    std::random_device random;
    return "callcontrol-" + std::to_string(random()) + std::to_string(random()) + "-";
}

}  // namespace

CallTable::CallTable(Loop& loop, NgClient& ng, Journal& journal, Settings settings)
    : settings_(std::move(settings)),
      roomPrefix_(RandomPrefix()),
      ng_(ng),
      services_{loop,
                ng,
                journal,
                settings_.address,
                [this] { return roomPrefix_ + std::to_string(nextRoom_++); },
                [this](const std::string& user) { return FindDevice(user); },
                [this](const std::string& user, LegEvents& events) { return NewLeg(user, events); },
                [this](const Call& call, Event event) { TellOf(call, std::move(event)); },
                [this](const Call& call) { calls_.erase(call.Id()); },
                [this] { return proxyUp_; },
                settings_.silence,
                settings_.ringing},
      pages_(loop),
      watch_(loop) {
    Watch();
}

CallTable::~CallTable() = default;

void CallTable::SetSignalling(Signalling* signalling) {
    signalling_ = signalling;
}

SipLegPtr CallTable::NewLeg(const std::string& user, LegEvents& events) {
    const bool bySip = signalling_ && !pages_.Find(user);
    return bySip ? signalling_->NewLeg(events) : pages_.NewLeg(user, events);
}

// ---- clients

void CallTable::Execute(Client& client, const Command& command) {
    if (command.kind == CommandKind::Hello) return Greet(client, command);
    if (!clients_.contains(&client))
        return Refuse(client, command, END_FORBIDDEN, "the first line must be a hello");
    if (command.kind == CommandKind::Status) return client.Tell(ToLine(Snapshot()));
    if (command.kind == CommandKind::Call) return StartCall(client, command);
    if (IsOfPages(command.kind)) return TakeFromPage(client, command);
    const CallPtr call = Find(client, command);
    if (!call) return;
    if (command.kind == CommandKind::Hangup && command.leg.empty())
        call->End(END_NORMAL, kHungUp, kByCommand);
    if (command.kind == CommandKind::Hangup && !command.leg.empty() && !call->HangUp(command.leg))
        Refuse(client, command, kNoSuchCall, "\"" + command.leg + "\" is not in this call");
    if (command.kind == CommandKind::Hold) call->Hold();
    if (command.kind == CommandKind::Resume) call->Resume();
    if (command.kind == CommandKind::Dtmf) SendDigits(client, command, *call);
}

void CallTable::Greet(Client& client, const Command& command) {
    if (command.version != kProtocolVersion)
        return Refuse(client, command, END_NOT_ACCEPTABLE,
                      "this call control speaks version " + std::to_string(kProtocolVersion));
    Interest& interest = clients_[&client];
    interest = Interest();
    interest.all = command.all;
    for (const Device& device : command.devices)
        interest.devices[device.user] = device;
    for (const std::string& user : pages_.Speak(client, command.devices))
        SetLost(user, kSpeakerLost);
    client.Tell(ToLine(Snapshot()));
    pages_.Repeat(client);
}

void CallTable::Leave(Client& client) {
    clients_.erase(&client);
    for (const std::string& user : pages_.Leave(client))
        SetLost(user, kSpeakerLost);
}

void CallTable::TakeFromPage(Client& client, const Command& command) {
    if (!pages_.SpeaksFor(client, command.leg))
        return Refuse(client, command, END_FORBIDDEN,
                      "this client does not speak for pages of \"" + command.leg + "\"");
    if (command.kind == CommandKind::PagePresent) return SetPagePresent(command.leg, command.present);
    if (command.sdp.size() > kLongestSdp)
        return Refuse(client, command, kTooLong,
                      "the description is longer than " + std::to_string(kLongestSdp) + " bytes");
    if (!Find(client, command)) return;
    const std::string why = pages_.Execute(command);
    if (!why.empty()) Refuse(client, command, kNoSuchCall, why);
}

void CallTable::SetPagePresent(const std::string& user, bool present) {
    if (!pages_.SetPresent(user, present)) return;
    if (present)
        SetRegistered({user, "", "page", std::time(nullptr)});
    else
        SetLost(user, kPageClosed);
}

void CallTable::Refuse(Client& client, const Command& command, int code, const std::string& reason) {
    Event event;
    event.kind = EventKind::Refused;
    event.id = command.id;
    event.code = code;
    event.reason = std::string(TextOf(command.kind)) + ": " + reason;
    client.Tell(ToLine(event));
}

void CallTable::SendDigits(Client& client, const Command& command, Call& call) {
    const std::string why = command.by == DigitStyle::Info ? call.SendDigits(command.leg, command.digits)
                                                           : call.PlayDigits(command.leg, command.digits);
    if (!why.empty()) Refuse(client, command, END_NOT_ACCEPTABLE, why);
}

void CallTable::TakeDigit(const RoomDigit& digit) {
    for (const auto& [id, call] : calls_)
        if (call->RoomName() == digit.room) return call->OnRoomDigit(digit.tag, digit.digit);
}

CallPtr CallTable::Find(Client& client, const Command& command) {
    const auto call = calls_.find(command.id);
    if (call != calls_.end()) return call->second;
    Refuse(client, command, kNoSuchCall, "there is no call \"" + command.id + "\"");
    return nullptr;
}

void CallTable::StartCall(Client& client, const Command& command) {
    if (calls_.contains(command.id))
        return Refuse(client, command, END_NOT_ACCEPTABLE, "a call \"" + command.id + "\" is running");
    const auto isPhone = [this](const std::string& user) { return !pages_.Find(user); };
    if (!signalling_ && (isPhone(command.from) || std::ranges::all_of(command.to, isPhone)))
        return Refuse(client, command, END_NO_MEDIA, "the SIP proxy is not running");
    if (command.callKind == CallKind::Monitor && !FindDevice(command.to.front()).mayBeMonitored)
        return Refuse(client, command, END_FORBIDDEN, "\"" + command.to.front() + "\" may not be monitored");
    CallPtr call;
    if (command.callKind == CallKind::Broadcast)
        call = std::make_shared<BroadcastCall>(services_, command);
    else
        call = std::make_shared<TalkCall>(services_, command);
    calls_[command.id] = call;
    Event event;
    event.kind = EventKind::Calling;
    event.id = command.id;
    event.call = call->Report();
    TellOf(*call, event);
    const auto isAway = [this](const std::string& user) {
        return pages_.Find(user) && !pages_.IsPresent(user);
    };
    // Nobody is called to hear that there is nobody.
    if (std::ranges::all_of(command.to, isAway))
        return call->End(END_UNAVAILABLE, "No page is open", kByCallControl);
    call->Start();
}

LegEvents* CallTable::OnIncoming(SipLegPtr leg, const IncomingCall& incoming) {
    // A phone that rings its own group does not ring itself.
    IncomingCall taken = incoming;
    std::erase(taken.to, taken.from);
    if (taken.from.empty() || taken.to.empty() || taken.to.size() > kMostCallees || taken.sdp.empty()) {
        LogLine("a call of \"" + taken.from + "\" cannot be made: it names nobody else, or offers no media");
        leg->Hangup(END_NOT_ACCEPTABLE, "Not Acceptable Here");
        return nullptr;
    }
    const std::string id = "phone-" + std::to_string(nextPhoneCall_++);
    const auto call = std::make_shared<TalkCall>(services_, id, std::move(leg), std::move(taken));
    calls_[id] = call;
    Event event;
    event.kind = EventKind::PhoneCall;
    event.id = id;
    event.call = call->Report();
    TellOf(*call, event);
    call->Start();
    return &call->CallerEvents();
}

Device CallTable::FindDevice(const std::string& user) const {
    for (const auto& [client, interest] : clients_)
        if (const auto device = interest.devices.find(user); device != interest.devices.end())
            return device->second;
    if (const Device* page = pages_.Find(user)) return *page;
    Device unknown;
    unknown.user = user;
    return unknown;
}

// ---- what is told

Event CallTable::Snapshot() const {
    Event event;
    event.kind = EventKind::Snapshot;
    event.proxy = proxyUp_ ? "up" : "lost";
    event.media = mediaUp_ ? "up" : "lost";
    for (const auto& [user, phone] : phones_)
        event.phones.push_back(phone);
    event.away = AwayPhones();
    for (auto* const phones : {&event.phones, &event.away})
        for (RegisteredPhone& phone : *phones)
            phone.name = FindDevice(phone.user).name;
    for (const auto& [id, call] : calls_)
        event.calls.push_back(call->Report());
    return event;
}

// Those that were lost, and those that a driver speaks for and that have not registered yet.
std::vector<RegisteredPhone> CallTable::AwayPhones() const {
    std::map<std::string, RegisteredPhone> away = lost_;
    for (const auto& [client, interest] : clients_)
        for (const auto& [user, device] : interest.devices)
            if (!phones_.contains(user)) away.try_emplace(user, RegisteredPhone{user, "", "", 0});
    std::vector<RegisteredPhone> phones;
    for (auto& [user, phone] : away)
        phones.push_back(std::move(phone));
    return phones;
}

void CallTable::TellAll(const Event& event) {
    const std::string line = ToLine(event);
    for (const auto& [client, interest] : clients_)
        client->Tell(line);
}

void CallTable::TellOf(const std::string& user, const Event& event) {
    const std::string line = ToLine(event);
    for (const auto& [client, interest] : clients_)
        if (interest.all || interest.devices.contains(user)) client->Tell(line);
}

void CallTable::TellOf(const Call& call, Event event) {
    if (event.kind == EventKind::Ended) counts_.Add(event);
    const std::string line = ToLine(event);
    for (const auto& [client, interest] : clients_) {
        bool concerned = interest.all;
        for (const auto& [user, device] : interest.devices)
            concerned |= call.Concerns(user, event.leg);
        if (concerned) client->Tell(line);
    }
}

void CallTable::SetRegistered(const RegisteredPhone& registered) {
    RegisteredPhone phone = registered;
    // A proxy that has started anew tells of phones that have been there all the time.
    const auto before = phones_.find(phone.user);
    if (before != phones_.end() && before->second.contact == phone.contact)
        phone.since = before->second.since;
    phones_[phone.user] = phone;
    lost_.erase(phone.user);
    Event event;
    event.kind = EventKind::Registered;
    event.phone = phone;
    TellOf(phone.user, event);
}

void CallTable::SetLost(const std::string& user, const std::string& reason) {
    const auto node = phones_.extract(user);
    if (!node) return;
    Event event;
    event.kind = EventKind::Lost;
    event.phone = node.mapped();
    event.reason = reason;
    RegisteredPhone& lost = lost_[user] = node.mapped();
    lost.since = std::time(nullptr);
    lost.reason = reason;
    TellOf(user, event);
}

void CallTable::SetProxyUp(bool up) {
    if (up == proxyUp_) return;
    proxyUp_ = up;
    LogLine(up ? "the proxy is there" : "the proxy is away; running calls go on");
    Event event;
    event.kind = EventKind::Proxy;
    event.state = up ? "up" : "lost";
    TellAll(event);
}

void CallTable::SetMediaUp(bool up) {
    if (up == mediaUp_) return;
    mediaUp_ = up;
    LogLine(up ? "rtpengine is there" : "rtpengine does not answer; no call can be made without it");
    Event event;
    event.kind = EventKind::Media;
    event.state = up ? "up" : "lost";
    TellAll(event);
}

// ---- once a second

void CallTable::Watch() {
    ng_.Ask({{"command", "ping"}}, [this](const NgReply& reply) { SetMediaUp(reply.ok); });
    for (const auto& [id, call] : std::map(calls_))
        call->Watch();
    watch_.Start(kWatchInterval, [this] { Watch(); });
}

void CallTable::Clear(const std::string& reason) {
    for (const auto& [id, call] : std::map(calls_))
        call->End(END_UNAVAILABLE, reason, kByCallControl);
}

}  // namespace telephony
