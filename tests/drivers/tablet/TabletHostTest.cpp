// Two tablets on the real host, whose pages speak HTTP, and a call control that the test plays.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <mutex>
#include <optional>
#include <thread>

#include "tests/drivers/calls/FakeCallControl.h"
#include "tests/support/process/DriverHost.h"
#include "tests/support/process/EventReader.h"
#include "tests/support/process/Patience.h"

using telephony::Event;
using telephony::EventKind;
using telephony::LegRole;
using telephony::LegState;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr char kSdp[] = "v=0\r\na=ice-pwd:secret-of-a-page\r\n";

/// Plays call control for one tablet, as long as it lives.
class LiveCallControl {
public:
    explicit LiveCallControl(const std::string& path) : control_(path) {}

    /// The next command but hello and status; null when none comes.
    nlohmann::json Read() {
        nlohmann::json command;
        test::Eventually([&] {
            const std::lock_guard lock(mutex_);
            if (commands_.empty()) return false;
            command = commands_.front();
            commands_.pop_front();
            return true;
        });
        return command;
    }

    /// The event, and what snapshots tell of its call from then on.
    void Send(const Event& event, const telephony::CallReport& call) {
        const std::lock_guard lock(mutex_);
        control_.snapshot.calls = {call};
        control_.Send(event);
    }

private:
    void Attend(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            {
                const std::lock_guard lock(mutex_);
                for (nlohmann::json& command : control_.Attend())
                    commands_.push_back(std::move(command));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    std::mutex mutex_;
    test::FakeCallControl control_;  // under the mutex, as the next
    std::deque<nlohmann::json> commands_;
    std::jthread thread_{[this](const std::stop_token& stop) { Attend(stop); }};
};

/// As much of a page as the driver sees.
class Page {
public:
    Page(test::DriverHost& host, std::string name)
        : host_(host),
          name_(std::move(name)),
          stream_(test::EventReader::Of(host.Port(), "/tablets/" + name_ + "/events")) {
        const std::string opened = WaitFor("<opened ");
        const std::size_t begin = opened.find('"') + 1;
        reader_ = opened.substr(begin, opened.find('"', begin) - begin);
        EXPECT_EQ("<success/>", Say("tabletHello", {{"version", "1"}}));
        WaitFor("<welcome ");
    }

    std::string Say(const std::string& command, test::Form form) {
        form.insert(form.begin(), {"reader", reader_});
        return host_.Send(test::FormRequest("/drivers/" + name_ + "/commands/" + command, form)).body;
    }

    /// The next event of the driver that begins so; others are passed over. Empty when none comes.
    std::string WaitFor(const std::string& start) {
        const auto end = std::chrono::steady_clock::now() + test::kPatience;
        while (std::chrono::steady_clock::now() < end) {
            for (std::size_t at = 0; at < events_.size(); ++at) {
                if (events_[at].type != "tablet" || !events_[at].data.starts_with(start)) continue;
                const std::string data = events_[at].data;
                events_.erase(events_.begin(), events_.begin() + static_cast<std::ptrdiff_t>(at) + 1);
                return data;
            }
            for (test::Event& event : stream_.Take(1, std::chrono::milliseconds(100)))
                events_.push_back(std::move(event));
        }
        return {};
    }

private:
    test::DriverHost& host_;
    const std::string name_;
    test::EventReader stream_;
    std::vector<test::Event> events_;
    std::string reader_;
};

class TabletHost : public testing::Test {
protected:
    TabletHost() { host_.Start(); }
    ~TabletHost() override { host_.Stop(); }

    static std::string Driver(unsigned id, const std::string& key, const std::string& socket) {
        return "<driver><id>" + std::to_string(id) + "</id><name>" + key +
               "</name><library>tablet</library><config><key>" + key + "</key><name>" + key +
               "</name><silence>3600000</silence><callControl>" + socket + "</callControl></config></driver>";
    }

    std::string Ask(const std::string& command, const test::Form& form) {
        return host_.Send(test::FormRequest("/drivers/agent/commands/" + command, form)).body;
    }

    bool HasState(unsigned id, int state) {
        const std::string wanted = "<state>" + std::to_string(state) + "</state>";
        return test::Eventually([&] {
            return Ask("getDeviceState", {{"idDevice", std::to_string(id)}}).find(wanted) !=
                   std::string::npos;
        });
    }

    /// The hall calls the attic by the agent, and call control has taken the order.
    void StartCall() {
        Ask("SIP_REGULAR_CALL", {{"source", "301"}, {"destination", "302"}, {"video", "3"}, {"ring", "1"}});
        const nlohmann::json order = hall_.Read();
        EXPECT_EQ(nlohmann::json::array({"attic"}), order.at("to"));
        call_.id = order.at("id");
        call_.state = "calling";
        call_.legs = {{"hall", LegRole::Caller}, {"attic", LegRole::Callee}};
        Event calling = About(EventKind::Calling, "");
        calling.call = call_;
        TellBoth(calling);
    }

    Event About(EventKind kind, const std::string& leg) const {
        Event event;
        event.kind = kind;
        event.id = call_.id;
        event.leg = leg;
        return event;
    }

    Event Invitation(const std::string& leg, LegRole role, const std::string& from) const {
        Event event = About(EventKind::PageInvite, leg);
        event.sdp = kSdp;
        event.page.role = role;
        event.page.from = event.page.name = from;
        return event;
    }

    void TellBoth(const Event& event) {
        hall_.Send(event, call_);
        attic_.Send(event, call_);
    }

    void Tell(EventKind kind, std::size_t leg, LegState state) {
        call_.legs[leg].state = state;
        Event event = About(kind, call_.legs[leg].user);
        event.code = 200;
        event.reason = "Hung up from outside";
        TellBoth(event);
    }

    test::TempFolder folder_;
    LiveCallControl hall_{folder_ / "hall"};
    LiveCallControl attic_{folder_ / "attic"};
    telephony::CallReport call_;
    test::DriverHost host_{
        "<home><driver><id>1</id><name>agent</name><library>intercom_agent</library></driver>" +
        Driver(301, "hall", folder_ / "hall") + Driver(302, "attic", folder_ / "attic") + "</home>"};
};

TEST_F(TabletHost, ACallOfTheAgentGoesFromPageToPageAndEnds) {
    EXPECT_TRUE(HasState(301, 4));
    Page hall(host_, "hall");
    Page attic(host_, "attic");
    for (LiveCallControl* const control : {&hall_, &attic_})
        EXPECT_EQ("page-present", control->Read().at("cmd"));
    EXPECT_TRUE(HasState(301, 0));
    StartCall();
    const std::string call = call_.id;

    hall_.Send(Invitation("hall", LegRole::Caller, "attic"), call_);
    EXPECT_THAT(hall.WaitFor("<invite "), HasSubstr("role=\"caller\""));
    EXPECT_EQ("<success/>", hall.Say("tabletAnswer", {{"call", call}, {"sdp", kSdp}}));
    EXPECT_EQ(kSdp, hall_.Read().at("sdp"));
    Tell(EventKind::LegUp, 0, LegState::Up);
    attic_.Send(Invitation("attic", LegRole::Callee, "hall"), call_);
    EXPECT_THAT(attic.WaitFor("<invite "),
                HasSubstr("from=\"hall\" name=\"hall\" called=\"\" audio=\"both\" video=\"none\" "
                          "answers=\"false\"><sdp>v=0&#13;&#10;"));
    EXPECT_EQ("<success/>", attic.Say("tabletRinging", {{"call", call}}));
    EXPECT_EQ("page-ringing", attic_.Read().at("cmd"));
    EXPECT_EQ("<success/>", attic.Say("tabletAnswer", {{"call", call}, {"sdp", kSdp}}));
    EXPECT_EQ("page-answer", attic_.Read().at("cmd"));
    Tell(EventKind::LegUp, 1, LegState::Up);
    call_.state = "established";
    TellBoth(About(EventKind::Established, ""));
    EXPECT_EQ("<legUp call=\"" + call + "\" leg=\"attic\" name=\"attic\"/>", hall.WaitFor("<legUp "));
    EXPECT_NE("", attic.WaitFor("<established "));
    EXPECT_TRUE(HasState(301, 3));
    EXPECT_TRUE(HasState(302, 3));

    EXPECT_EQ("<success/>", hall.Say("tabletHangup", {{"call", call}}));
    EXPECT_EQ("hangup", hall_.Read().at("cmd"));
    Tell(EventKind::LegDown, 0, LegState::Down);
    Tell(EventKind::LegDown, 1, LegState::Down);
    EXPECT_THAT(attic.WaitFor("<ended "), HasSubstr("by=\"hall\""));
    EXPECT_TRUE(HasState(302, 0));
    EXPECT_THAT(host_.Log(), Not(HasSubstr("secret-of-a-page")));
}

TEST_F(TabletHost, APageWhoseBrowserDiesIsGoneAfterItsGrace) {
    std::optional<Page> hall(std::in_place, host_, "hall");
    EXPECT_TRUE(HasState(301, 0));
    EXPECT_EQ(true, hall_.Read().at("present"));
    hall.reset();
    EXPECT_EQ(false, hall_.Read().at("present"));
    EXPECT_TRUE(HasState(301, 4));
}

TEST_F(TabletHost, APageThatClosesSaysSo) {
    Page hall(host_, "hall");
    EXPECT_EQ(true, hall_.Read().at("present"));
    EXPECT_EQ("<success/>", hall.Say("tabletBye", {}));
    EXPECT_EQ(false, hall_.Read().at("present"));
}

TEST_F(TabletHost, PagesComeBackWhenTheirDriverIsRestarted) {
    Page before(host_, "hall");
    EXPECT_EQ(true, hall_.Read().at("present"));
    EXPECT_EQ(204, host_.Send({"POST", "/drivers/hall/restart"}).status);
    EXPECT_TRUE(HasState(301, 4));
    Page after(host_, "hall");
    EXPECT_EQ(true, hall_.Read().at("present"));
    EXPECT_TRUE(HasState(301, 0));
    EXPECT_THAT(before.Say("tabletPing", {{"call", "1"}}), HasSubstr("is not known; say tabletHello first"));
}

}  // namespace
