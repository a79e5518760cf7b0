#include "tests/drivers/tablet/TabletFixture.h"

#include "host/interfaces/InterfaceIds.h"
#include "tests/support/process/Patience.h"

namespace test {

using telephony::Event;
using telephony::EventKind;
using telephony::LegRole;

namespace {

constexpr char kPrefix[] = "reader ";

IReaderSink& SinkOf(Tablet& tablet) {
    void* sink = nullptr;
    EXPECT_EQ(0, tablet.QueryInterface(ReaderSinkInterfaceId, &sink));
    return *static_cast<IReaderSink*>(sink);
}

}  // namespace

TabletFixture::TabletFixture() {
    times.callControl = linkTimes;
    times.grace = times.calls.silence = times.calls.comingBack = 10 * kPatience;
}

Tablet& TabletFixture::Start(const std::string& config) {
    tablet = std::make_unique<Tablet>(host, times);
    const auto element = Element("<config><key>hall</key><name>Hall</name><callControl>" +
                                 (folder / "calls").string() + "</callControl>" + config + "</config>");
    EXPECT_EQ(0, tablet->Initialize(101, *element, nullptr));
    return *tablet;
}

Tablet& TabletFixture::StartConnected(const std::string& config) {
    Start(config);
    Greet();
    recorder.Take();
    return *tablet;
}

void TabletFixture::Stop() {
    if (!tablet) return;
    tablet->OnDestroy();
    tablet.reset();
    host.RunPosted();
}

unsigned long TabletFixture::OpenStream() {
    host.Readers().insert(++readers_);
    SinkOf(*tablet).OnReaderOpened(readers_);
    return readers_;
}

unsigned long TabletFixture::OpenPage() {
    const bool isFirst = tablet->getCurrentState() == 4;
    const unsigned long reader = OpenStream();
    EXPECT_EQ("<success/>", Say(reader, "tabletHello", "", {{"version", "1"}}));
    if (isFirst) {
        EXPECT_EQ("page-present", control->Read().at("cmd"));
    }
    recorder.Take();
    return reader;
}

void TabletFixture::CloseStream(unsigned long reader) {
    host.Readers().erase(reader);
    SinkOf(*tablet).OnReaderClosed(reader);
}

std::string TabletFixture::Say(unsigned long reader, const std::string& command, const std::string& call,
                               const Parameters& more) {
    Parameters parameters{{"reader", std::to_string(reader)}};
    if (!call.empty()) parameters.emplace_back("call", call);
    parameters.insert(parameters.end(), more.begin(), more.end());
    return Ui(*tablet, command, parameters);
}

Event TabletFixture::Invitation(const std::string& id, LegRole role, telephony::CallKind kind) const {
    Event event = About(EventKind::PageInvite, id, "hall");
    event.sdp = kSdp;
    event.page.kind = kind;
    event.page.role = role;
    event.page.answers = role == LegRole::Caller || kind != telephony::CallKind::Regular;
    event.page.from = "kitchen";
    event.page.name = "Kitchen";
    return event;
}

Event TabletFixture::Offer(const std::string& id) const {
    Event event = About(EventKind::PageOffer, id, "hall");
    event.sdp = kSdp;
    return event;
}

Event TabletFixture::LegDown(const std::string& id, const std::string& leg, int code,
                             const std::string& reason) const {
    Event event = About(EventKind::LegDown, id, leg, code);
    event.reason = reason;
    return event;
}

void TabletFixture::BeInvited(const std::string& id, telephony::CallKind kind) {
    Tell(Calling(Call(id, "kitchen", {"hall"}, kind)));
    Tell(Invitation(id, LegRole::Callee, kind));
}

void TabletFixture::BeInCall(unsigned long reader, const std::string& id) {
    BeInvited(id);
    EXPECT_EQ("<success/>", Say(reader, "tabletAnswer", id, {{"sdp", kSdp}}));
    EXPECT_EQ("page-answer", control->Read().at("cmd"));
    Tell(About(EventKind::LegUp, id, "kitchen"));
    Tell(About(EventKind::LegUp, id, "hall"));
    Tell(About(EventKind::Established, id));
    recorder.Take();
}

std::vector<std::string> TabletFixture::TakePages() {
    constexpr std::string_view kSeconds = " seconds=\"";
    auto lines = recorder.Take(kPrefix);
    for (std::string& line : lines) {
        line.erase(0, sizeof kPrefix - 1);
        const std::size_t at = line.find(kSeconds);
        if (at == std::string::npos) continue;
        const std::size_t begin = at + kSeconds.size();
        const std::size_t length = line.find('"', begin) - begin;
        seconds.push_back(std::stol(line.substr(begin, length)));
        line.replace(begin, length, ".");
    }
    return lines;
}

bool TabletFixture::IsTold(const std::string& line) {
    return Eventually([&] {
        const auto told = TakePages();
        return std::ranges::find(told, line) != told.end();
    });
}

}  // namespace test
