#include "telephony/callcontrol/Pages.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace telephony {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kRinging = 180;
constexpr int kOk = 200;
constexpr int kTimeout = 408;
constexpr int kAway = 480;
// A host that is restarted is back sooner.
constexpr seconds kSpeakerWait(10);
// For an offer within a call: a page answers in some 20 ms.
constexpr seconds kOfferWait(10);

}  // namespace

class PageLeg : public SipLeg, public std::enable_shared_from_this<PageLeg> {
public:
    PageLeg(Pages& pages, Loop& loop, std::string user, LegEvents& events)
        : pages_(pages), user_(std::move(user)), events_(&events), timeout_(loop) {
        pages_.legs_.insert(this);
    }
    ~PageLeg() override { pages_.legs_.erase(this); }

    const std::string& User() const { return user_; }
    bool IsOf(const std::string& call) const { return state_ != State::Over && invitation_.call == call; }

    void Invite(const Invitation& invitation) override {
        invitation_ = invitation;
        state_ = State::Inviting;
        if (pages_.IsPresent(user_)) return Repeat();
        state_ = State::Failing;
        const bool isPage = pages_.Find(user_);
        // Told from the loop: whoever invites is not ready to hear of it yet.
        timeout_.Start(milliseconds(0), [this, isPage] {
            Fail(kAway, isPage ? "No page is open" : "The SIP proxy is not running");
        });
    }

    // A page begins a call through its driver, and offers no other media by itself: nothing waits for these.
    void Ring() override {}
    void Progress(const std::string&) override {}
    void Answer(const std::string&) override {}
    void Reanswer(const std::string&) override {}
    void RefuseReoffer(int, const std::string&) override {}

    void Reinvite(const std::string& sdp) override {
        if (state_ != State::Up) return;
        // What is answered next must not be taken for the answer to this one.
        if (offer_.has_value()) {
            nextOffer_ = sdp;
            return;
        }
        offer_ = sdp;
        timeout_.Start(kOfferWait, [this] { TakeReanswer(kTimeout, {}); });
        Repeat();
    }

    void SendDigits(const std::string&) override {}
    void RequestKeyframe() override {
        if (state_ == State::Up) pages_.Tell(user_, About(EventKind::PageKeyframe));
    }

    // Its driver knows whether it is there, by the page's own pings.
    void Probe() override {}

    void Hangup(int, const std::string&) override { End(); }
    // When this process dies, the page is told by its driver.
    nlohmann::json Journal() const override { return nlohmann::json(); }

    /// What waits for an answer, to whoever speaks for the page now.
    void Repeat() {
        if (state_ == State::Inviting) pages_.Tell(user_, AsInvite());
        if (state_ != State::Up || !offer_) return;
        Event event = About(EventKind::PageOffer);
        event.sdp = *offer_;
        pages_.Tell(user_, event);
    }

    void OnSpeakerLost() {
        if (state_ == State::Inviting)
            timeout_.Start(kSpeakerWait, [this] { Fail(kAway, "No page is open any more"); });
    }
    void OnPresent() {
        if (state_ == State::Inviting) timeout_.Stop();
    }
    void OnClosed() {
        if (state_ != State::Over) Fail(kAway, "The page is gone");
    }

    std::string Execute(const Command& command) {
        const auto self = shared_from_this();
        const bool invited = state_ == State::Inviting;
        switch (command.kind) {
            case CommandKind::PageRinging:
                if (!invited) return "the page is not called";
                events_->OnProgress(kRinging, {});
                return {};
            case CommandKind::PageAnswer:
                if (!invited && !offer_) return "nothing waits for an answer of this page";
                if (invited)
                    TakeAnswer(command.sdp);
                else
                    TakeReanswer(kOk, command.sdp);
                return {};
            case CommandKind::PageReject:
                if (!invited && !offer_) return "nothing waits for an answer of this page";
                if (invited)
                    Fail(command.code, command.reason.empty() ? "Refused" : command.reason);
                else
                    TakeReanswer(command.code, {});
                return {};
            case CommandKind::PageKeyframe:
                if (state_ != State::Up) return "the page is not in the call yet";
                events_->OnKeyframe();
                return {};
            default:
                return "no command of a page";
        }
    }

private:
    enum class State { Fresh, Failing, Inviting, Up, Over };

    Event About(EventKind kind) const {
        Event event;
        event.kind = kind;
        event.id = invitation_.call;
        event.leg = user_;
        return event;
    }

    Event AsInvite() const {
        Event event = About(EventKind::PageInvite);
        event.sdp = invitation_.sdp;
        event.page = {invitation_.kind,
                      invitation_.audio,
                      invitation_.video,
                      invitation_.answersByItself,
                      invitation_.role,
                      invitation_.fromUser,
                      invitation_.fromName.empty() ? invitation_.fromUser : invitation_.fromName,
                      invitation_.called};
        return event;
    }

    void TakeAnswer(const std::string& sdp) {
        timeout_.Stop();
        state_ = State::Up;
        events_->OnAnswer(sdp);
    }

    // To an offer that was replaced meanwhile it says nothing.
    void TakeReanswer(int code, const std::string& sdp) {
        timeout_.Stop();
        offer_.reset();
        if (nextOffer_) return Reinvite(*std::exchange(nextOffer_, std::nullopt));
        events_->OnReanswer(code, sdp);
    }

    void Fail(int code, const std::string& reason) {
        const auto self = shared_from_this();
        LegEvents* const events = events_;
        End();
        events->OnFailed(code, reason);
    }

    void End() {
        state_ = State::Over;
        events_ = nullptr;
        offer_.reset();
        nextOffer_.reset();
        timeout_.Stop();
    }

    Pages& pages_;
    const std::string user_;
    LegEvents* events_;  // not owned; null when the leg is over
    State state_ = State::Fresh;
    Invitation invitation_;
    std::optional<std::string> offer_;      // within the call, not answered yet
    std::optional<std::string> nextOffer_;  // that replaces it
    Timer timeout_;
};

std::vector<std::shared_ptr<PageLeg>> Pages::LegsOf(const std::string& user) const {
    std::vector<std::shared_ptr<PageLeg>> legs;
    for (PageLeg* const leg : legs_)
        if (leg->User() == user) legs.push_back(leg->shared_from_this());
    return legs;
}

void Pages::Tell(const std::string& user, const Event& event) const {
    const auto page = pages_.find(user);
    if (page != pages_.end() && page->second.speaker) page->second.speaker->Tell(ToLine(event));
}

// Nobody speaks for it any more, or somebody else does. Returns whether its pages were there.
bool Pages::Silence(const std::string& user, Page& page) {
    page.speaker = nullptr;
    for (const auto& leg : LegsOf(user))
        leg->OnSpeakerLost();
    return std::exchange(page.present, false);
}

std::vector<std::string> Pages::Speak(Client& client, const std::vector<Device>& devices) {
    std::vector<std::string> lost;
    for (auto& [user, page] : pages_) {
        const bool named = std::ranges::any_of(
            devices, [&, &name = user](const Device& device) { return device.page && device.user == name; });
        if (page.speaker == &client && !named && Silence(user, page)) lost.push_back(user);
    }
    for (const Device& device : devices) {
        if (!device.page) {
            if (const auto before = pages_.find(device.user); before != pages_.end()) {
                if (Silence(device.user, before->second)) lost.push_back(device.user);
                pages_.erase(before);
            }
            continue;
        }
        Page& page = pages_[device.user];
        page.device = device;
        if (page.speaker == &client) continue;
        if (Silence(device.user, page)) lost.push_back(device.user);
        page.speaker = &client;
        page.toRepeat = true;
    }
    return lost;
}

void Pages::Repeat(Client& client) {
    for (auto& [user, page] : pages_) {
        if (page.speaker != &client || !std::exchange(page.toRepeat, false)) continue;
        for (const auto& leg : LegsOf(user))
            leg->Repeat();
    }
}

std::vector<std::string> Pages::Leave(Client& client) {
    return Speak(client, {});
}

const Device* Pages::Find(const std::string& user) const {
    const auto page = pages_.find(user);
    return page == pages_.end() ? nullptr : &page->second.device;
}

bool Pages::IsPresent(const std::string& user) const {
    const auto page = pages_.find(user);
    return page != pages_.end() && page->second.present;
}

bool Pages::SpeaksFor(const Client& client, const std::string& user) const {
    const auto page = pages_.find(user);
    return page != pages_.end() && page->second.speaker == &client;
}

bool Pages::SetPresent(const std::string& user, bool present) {
    Page& page = pages_.at(user);
    if (std::exchange(page.present, present) == present) return false;
    for (const auto& leg : LegsOf(user))
        if (present)
            leg->OnPresent();
        else
            leg->OnClosed();
    return true;
}

SipLegPtr Pages::NewLeg(const std::string& user, LegEvents& events) {
    return std::make_shared<PageLeg>(*this, loop_, user, events);
}

std::string Pages::Execute(const Command& command) {
    for (const auto& leg : LegsOf(command.leg))
        if (leg->IsOf(command.id)) return leg->Execute(command);
    return "\"" + command.leg + "\" is not in this call";
}

}  // namespace telephony
