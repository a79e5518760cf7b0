#include "tests/support/FakeSysman.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>

namespace test {

namespace {

FakeSysman* current = nullptr;

// A reply has to fit into the pipe, since nobody reads while it is written.
constexpr std::size_t kMaxReply = 4096;

// A stream to read `output` from, as from a command that has ended already.
std::FILE* StreamOf(const std::string& output) {
    int ends[2];
    if (output.size() > kMaxReply || ::pipe(ends) != 0) return nullptr;
    const ssize_t written = ::write(ends[1], output.data(), output.size());
    EXPECT_EQ(static_cast<ssize_t>(output.size()), written);
    ::close(ends[1]);
    return ::fdopen(ends[0], "r");
}

}  // namespace

FakeSysman::FakeSysman(Recorder& recorder) : recorder_(recorder) {
    EXPECT_EQ(nullptr, current) << "there is a FakeSysman already";
    current = this;
}

FakeSysman::~FakeSysman() {
    EXPECT_TRUE(open_.empty()) << open_.size() << " streams to the system manager were never closed";
    for (std::FILE* stream : open_)
        std::fclose(stream);
    current = nullptr;
}

std::FILE* FakeSysman::Open(const std::string& commandLine, const std::string& mode) {
    EXPECT_EQ("r", mode) << commandLine;
    const std::optional<std::string> reply = NextReply(commandLine);
    recorder_.Note(commandLine);
    if (!reply) return nullptr;
    std::FILE* const stream = StreamOf(*reply);
    EXPECT_NE(nullptr, stream) << "no pipe for the reply to: " << commandLine;
    if (stream) open_.insert(stream);
    return stream;
}

int FakeSysman::Close(std::FILE* stream) {
    if (open_.erase(stream) == 0) {
        ADD_FAILURE() << "pclose of a stream that is not open";
        return -1;
    }
    std::fclose(stream);
    return exitStatus;
}

std::optional<std::string> FakeSysman::NextReply(const std::string& commandLine) {
    if (!replies_.empty()) {
        std::optional<std::string> reply = replies_.front();
        replies_.pop_front();
        return reply;
    }
    std::istringstream words(commandLine);
    std::string program;
    std::string request;
    words >> program >> request;
    return request + "\n";
}

}  // namespace test

// The linker puts these in the place of popen and pclose (-Wl,--wrap).
extern "C" {

std::FILE* __wrap_popen(const char* commandLine, const char* mode);
int __wrap_pclose(std::FILE* stream);

std::FILE* __wrap_popen(const char* commandLine, const char* mode) {
    if (test::current) return test::current->Open(commandLine, mode);
    ADD_FAILURE() << "popen while there is no FakeSysman: " << commandLine;
    return nullptr;
}

int __wrap_pclose(std::FILE* stream) {
    if (test::current) return test::current->Close(stream);
    ADD_FAILURE() << "pclose while there is no FakeSysman";
    return -1;
}
}
