// Any bytes on a connection, in any pieces: the requests and the refusal are those of the same
// bytes in one piece. The first byte chooses the bounds and how small the pieces are; where they
// end follows from all bytes.
//
// Three differences are allowed. The parser looks into the first piece of a head at once, into a head
// that goes on only when it is complete: a fault in it may be noticed later. And a head, or the frame
// of a chunk, that reaches the bound of a head may be refused for that or for what else is wrong
// with it; a frame that comes whole is not held against that bound. And a chunk whose extension has a
// quote that is not closed in its line is counted anew at each look, and reaches the bound of a body.
#include "driverhost/http/server/RequestReader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "driverhost/settings/Limits.h"
#include "fuzz/Fuzz.h"

namespace {

using namespace driverhost;
using Progress = RequestReader::Progress;

struct Bounds {
    std::size_t headBytes;
    std::size_t bodyBytes;
};

constexpr std::array<Bounds, 4> kBounds = {
    {{Limits().headBytes, Limits().bodyBytes}, {200, 100}, {64, 16}, {40, 0}}};
constexpr std::array<std::size_t, 4> kLargestPieces = {1, 3, 20, 300};

// Numbers that follow from a text, well mixed (FNV-1a, then a xorshift generator).
class Numbers {
public:
    explicit Numbers(std::string_view text) {
        for (const char c : text)
            state_ = (state_ ^ static_cast<unsigned char>(c)) * 1099511628211ULL;
        state_ |= 1;
    }

    std::size_t UpTo(std::size_t most) {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return 1 + state_ % most;
    }

private:
    std::uint64_t state_ = 14695981039346656037ULL;
};

std::string FieldText(const std::optional<std::string_view>& field) {
    return field ? "'" + std::string(*field) + "'" : "none";
}

std::string HeadText(const Request& request) {
    return std::string(request.method) + " " + std::string(request.target) + " hosts " +
           std::to_string(request.hosts) + " '" + std::string(request.host) + "' origin " +
           FieldText(request.origin) + " authorization " + FieldText(request.authorization) + " type " +
           FieldText(request.contentType) + " last event " + FieldText(request.lastEventId);
}

struct Story {
    std::string requests;  // a line for each head and each body
    std::string ending;
};

constexpr std::string_view kWaitsForHead = "waits for a head";
constexpr std::string_view kWaitsForBody = "waits for a body";

// A connection's bytes as they come, and what is made of them.
class Connection {
public:
    explicit Connection(const Bounds& bounds) : reader_(bounds.headBytes, bounds.bodyBytes) {}

    void Give(std::string_view bytes) {
        while (!bytes.empty() && !failed_) {
            const auto room = reader_.Prepare();
            const std::size_t part = std::min(room.size(), bytes.size());
            std::memcpy(room.data(), bytes.data(), part);
            reader_.Commit(part);
            bytes.remove_prefix(part);
            while (Step(reader_.Advance())) {
            }
        }
    }

    const Story& Told() const { return story_; }

private:
    // True when there may be more to make of what has come.
    bool Step(Progress progress) {
        switch (progress) {
            case Progress::NeedHead:
                story_.ending = reader_.HasBegun() ? kWaitsForHead : "idle";
                return false;
            case Progress::NeedBody:
                story_.ending = kWaitsForBody;
                return false;
            case Progress::HeadDone:
                story_.requests += HeadLine();
                return true;
            case Progress::Done:
                story_.requests += "body '" + std::string(reader_.Get().body) + "'\n";
                reader_.Next();
                return true;
            case Progress::Failed:
                failed_ = true;
                story_.ending =
                    "failed " + std::to_string(reader_.Failure().status) + " " + reader_.Failure().body;
        }
        return false;
    }

    std::string HeadLine() const {
        return HeadText(reader_.Get()) + (reader_.KeepAlive() ? " stays" : " closes") +
               (reader_.ExpectsContinue() ? " expects\n" : "\n");
    }

    RequestReader reader_;
    Story story_;
    bool failed_ = false;
};

Story InOnePiece(const Bounds& bounds, std::string_view bytes) {
    Connection connection(bounds);
    connection.Give(bytes);
    return connection.Told();
}

Story InPieces(const Bounds& bounds, std::string_view bytes, std::size_t largest) {
    Connection connection(bounds);
    Numbers sizes(bytes);
    while (!bytes.empty()) {
        const std::size_t size = std::min(sizes.UpTo(largest), bytes.size());
        connection.Give(bytes.substr(0, size));
        bytes.remove_prefix(size);
    }
    return connection.Told();
}

bool IsNoticedLater(const Story& whole, const Story& pieces) {
    return whole.ending.starts_with("failed 400") && pieces.ending == kWaitsForHead &&
           whole.requests == pieces.requests;
}

bool IsCountedAnew(const Story& whole, const Story& pieces) {
    const bool isFaulty = whole.ending == kWaitsForBody || whole.ending.starts_with("failed 400");
    return isFaulty && pieces.ending.starts_with("failed 413") && whole.requests == pieces.requests;
}

bool ReachesTheBound(const Story& one, const Story& other) {
    return one.ending.starts_with("failed 431") && other.requests.starts_with(one.requests);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const Bounds& bounds = kBounds[data[0] % kBounds.size()];
    const std::size_t largest = kLargestPieces[data[0] / kBounds.size() % kLargestPieces.size()];
    const std::string_view bytes = fuzz::Bytes(data + 1, size - 1);
    const Story whole = InOnePiece(bounds, bytes);
    const Story pieces = InPieces(bounds, bytes, largest);
    fuzz::RequireNothingAlive();
    if (IsNoticedLater(whole, pieces)) return 0;
    if (bytes.find('"') != std::string_view::npos && IsCountedAnew(whole, pieces)) return 0;
    const bool eitherBound = ReachesTheBound(whole, pieces) || ReachesTheBound(pieces, whole);
    if (bytes.size() >= bounds.headBytes && eitherBound) return 0;
    fuzz::RequireEqual("requests in pieces and in one", whole.requests, pieces.requests);
    fuzz::RequireEqual("how it ends in pieces and in one", whole.ending, pieces.ending);
    return 0;
}
