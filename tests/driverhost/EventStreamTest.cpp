#include "driverhost/http/routes/EventStream.h"

#include <gtest/gtest.h>

#include <vector>

namespace driverhost {
namespace {

constexpr std::uint64_t kFirst = 1000;
constexpr std::size_t kMuch = 1'000'000;

class CountingReader final : public EventReader {
public:
    explicit CountingReader(EventStream& stream) : stream_(stream) { stream_.AddReader(*this); }
    ~CountingReader() { stream_.RemoveReader(*this); }
    void OnEvents() override {
        ++wakings;
        if (onEvents) onEvents();
    }

    int wakings = 0;
    std::function<void()> onEvents;

private:
    EventStream& stream_;
};

class EventStreamTest : public testing::Test {
protected:
    EventStreamTest() {
        limits_.keptEvents = 3;
        limits_.keptEventBytes = 1000;
    }

    void Publish(int count) {
        for (int event = 0; event < count; ++event)
            stream_.Publish("<e/>");
    }

    /// The ids that a reader gets from that point on, after "reset" if it gets one, and "lost" when it ends
    /// so.
    std::string Told(const std::optional<std::string_view>& lastEventId) {
        const StreamStart start = stream_.Begin(lastEventId);
        std::uint64_t next = start.next;
        std::string told = start.reset ? "reset " : "";
        std::string text;
        while (stream_.Take(next, text, 1, ROLE_ADMIN) == EventStream::Taken::Some)
            told += std::to_string(next - 1) + " ";
        return told;
    }

    void RunPosted() {
        for (const auto& work : std::exchange(posted_, {}))
            work();
    }

    Limits limits_;
    std::vector<std::function<void()>> posted_;
    EventStream stream_{kFirst, limits_, [this](std::function<void()> work) { posted_.push_back(work); }};
};

TEST_F(EventStreamTest, AnEventIsAnIdAndOneDataLine) {
    stream_.Publish("<DeviceAdded><id>7</id></DeviceAdded>");
    std::uint64_t next = kFirst;
    std::string text;
    EXPECT_EQ(stream_.Take(next, text, kMuch, ROLE_ADMIN), EventStream::Taken::Some);
    EXPECT_EQ(text, "id: 1000\ndata: <DeviceAdded><id>7</id></DeviceAdded>\n\n");
    EXPECT_EQ(stream_.Take(next, text, kMuch, ROLE_ADMIN), EventStream::Taken::Nothing);
}

TEST_F(EventStreamTest, WithoutAnIdNothingOfThePastIsTold) {
    Publish(2);
    EXPECT_EQ(Told(std::nullopt), "");
    EXPECT_EQ(Told(""), "");
    EXPECT_EQ(stream_.Begin(std::nullopt).next, 1002U);
}

TEST_F(EventStreamTest, AReaderGetsWhatCameAfterItsId) {
    Publish(3);
    EXPECT_EQ(Told("1000"), "1001 1002 ");
    EXPECT_EQ(Told("1002"), "");
}

TEST_F(EventStreamTest, ZeroMeansAllThatIsKept) {
    EXPECT_EQ(Told("0"), "");
    Publish(5);
    EXPECT_EQ(Told("0"), "1002 1003 1004 ");
}

TEST_F(EventStreamTest, NothingIsLostWhileTheNextEventIsKept) {
    Publish(5);
    EXPECT_EQ(Told("1001"), "1002 1003 1004 ");
}

TEST_F(EventStreamTest, AGapIsAnnounced) {
    Publish(5);
    EXPECT_EQ(Told("1000"), "reset 1002 1003 1004 ");
}

TEST_F(EventStreamTest, AnUnknownIdIsAnnouncedAsAGap) {
    Publish(2);
    EXPECT_EQ(Told("999"), "reset 1000 1001 ");
    EXPECT_EQ(Told("1002"), "reset 1000 1001 ");
    EXPECT_EQ(Told("5"), "reset 1000 1001 ");
    EXPECT_EQ(Told("yesterday"), "reset 1000 1001 ");
    EXPECT_EQ(Told("-1"), "reset 1000 1001 ");
    EXPECT_EQ(Told("99999999999999999999999"), "reset 1000 1001 ");
}

TEST_F(EventStreamTest, APositionThatIsNotKeptAnyMoreIsLost) {
    Publish(4);
    std::uint64_t next = kFirst;
    std::string text;
    EXPECT_EQ(stream_.Take(next, text, kMuch, ROLE_ADMIN), EventStream::Taken::Lost);
    EXPECT_EQ(text, "");
}

TEST_F(EventStreamTest, LargeEventsLeaveEarlier) {
    stream_.Publish(std::string(600, 'x'));
    stream_.Publish(std::string(600, 'y'));
    EXPECT_EQ(Told("0"), "1001 ");
}

TEST_F(EventStreamTest, TakingStopsBehindTheGivenSize) {
    Publish(3);
    std::uint64_t next = kFirst;
    std::string text;
    stream_.Take(next, text, 30, ROLE_ADMIN);  // an event is 21 bytes
    EXPECT_EQ(next, kFirst + 2);
}

TEST_F(EventStreamTest, TakingStopsBeforeTheGivenEvent) {
    Publish(3);
    std::uint64_t next = kFirst;
    std::string text;
    EXPECT_EQ(stream_.Take(next, text, kMuch, ROLE_ADMIN, kFirst + 2), EventStream::Taken::Some);
    EXPECT_EQ(next, kFirst + 2);
    EXPECT_EQ(stream_.Take(next, text, kMuch, ROLE_ADMIN, kFirst + 2), EventStream::Taken::Nothing);
}

TEST_F(EventStreamTest, ReadersAreWokenOnceForABurstAndNotInsideTheCall) {
    CountingReader reader(stream_);
    Publish(3);
    EXPECT_EQ(reader.wakings, 0);
    RunPosted();
    EXPECT_EQ(reader.wakings, 1);
    Publish(1);
    RunPosted();
    EXPECT_EQ(reader.wakings, 2);
}

TEST_F(EventStreamTest, AReaderThatAnotherOneTookAwayIsNotWoken) {
    CountingReader first(stream_);
    auto second = std::make_unique<CountingReader>(stream_);
    first.onEvents = [&] { second.reset(); };
    Publish(1);
    RunPosted();
    EXPECT_EQ(first.wakings, 1);
    EXPECT_EQ(stream_.Readers(), 1U);
}

}  // namespace
}  // namespace driverhost
