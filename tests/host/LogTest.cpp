#include "host/glue/Log.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <sstream>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;

class Log : public testing::Test {
protected:
    void TearDown() override { dv::SetLogSink({}); }
};

// What `write` sends to standard error.
template <class Write>
std::string StandardError(Write write) {
    testing::internal::CaptureStderr();
    write();
    return testing::internal::GetCapturedStderr();
}

TEST_F(Log, GoesToStandardErrorAtFirst) {
    EXPECT_EQ("6 hello 5\n", StandardError([] { LogXMessage(6, "hello %d", 5); }));
}

TEST_F(Log, IsOneLinePerCall) {
    EXPECT_EQ("3 a\\nb\\r\\\\\\x1B[31m\n", StandardError([] { LogXMessage(3, "%s", "a\nb\r\\\x1B[31m"); }));
}

TEST_F(Log, IsNeverCutShort) {
    const std::string text(1'000'000, 'x');
    EXPECT_TRUE("7 " + text + "\n" == StandardError([&] { LogXMessage(7, "%s", text.c_str()); }));
}

TEST_F(Log, ArgumentThatCannotBePrintedLeavesTheFormat) {
    const wchar_t beyond[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
    EXPECT_EQ("6 name %ls\n", StandardError([&] { LogXMessage(6, "name %ls", beyond); }));
}

TEST_F(Log, SinkReceivesLevelAndTextAsItWasFormatted) {
    std::vector<std::string> lines;
    dv::SetLogSink(
        [&](unsigned int level, const std::string& text) { lines.push_back(std::to_string(level) + text); });
    LogXMessage(7, "a\n%s", "%s\\");
    EXPECT_THAT(lines, ElementsAre("7a\n%s\\"));
}

TEST_F(Log, EmptySinkRestoresStandardError) {
    dv::SetLogSink([](unsigned int, const std::string&) {});
    EXPECT_EQ("", StandardError([] { LogXMessage(6, "unseen"); }));
    dv::SetLogSink({});
    EXPECT_EQ("6 seen\n", StandardError([] { LogXMessage(6, "seen"); }));
}

TEST_F(Log, SinkMayLogAndReplaceItself) {
    std::vector<std::string> lines;
    dv::SetLogSink([&](unsigned int, const std::string& first) {
        dv::SetLogSink([&](unsigned int, const std::string& text) { lines.push_back("second " + text); });
        LogXMessage(6, "inner");
        lines.push_back("first " + first);
    });
    LogXMessage(6, "outer");
    EXPECT_THAT(lines, ElementsAre("second inner", "first outer"));
}

TEST_F(Log, LinesOfSeveralThreadsDoNotMix) {
    constexpr int threads = 8, lines = 200;
    const std::string tail(500, 'x');
    const std::string text = StandardError([&] {
        std::vector<std::jthread> writers;
        for (int i = 0; i < threads; ++i) {
            writers.emplace_back([&] {
                for (int line = 0; line < lines; ++line)
                    LogXMessage(6, "%s", tail.c_str());
            });
        }
    });
    std::istringstream stream(text);
    int count = 0;
    for (std::string line; std::getline(stream, line); ++count)
        ASSERT_EQ("6 " + tail, line);
    EXPECT_EQ(threads * lines, count);
}

TEST_F(Log, SinkMayBeReplacedWhileOthersLog) {
    std::atomic<int> seen{0};
    std::atomic<bool> stop{false};
    const auto count = [&](unsigned int, const std::string&) { ++seen; };
    dv::SetLogSink(count);
    {
        std::jthread replacer([&] {
            while (!stop)
                dv::SetLogSink(count);
        });
        for (int i = 0; i < 10'000; ++i)
            LogXMessage(6, "line");
        stop = true;
    }
    EXPECT_EQ(10'000, seen);
}

TEST_F(Log, EscapedTextIsOnOneLineAndReadable) {
    EXPECT_EQ("", dv::EscapeLogText(""));
    EXPECT_EQ("K\xC3\xBC\x63he \"1\" 100%", dv::EscapeLogText("K\xC3\xBC\x63he \"1\" 100%"));
    EXPECT_EQ("\\n\\r\\\\n\\x00\\x09\\x1F\\x7F",
              dv::EscapeLogText(std::string_view("\n\r\\n\0\t\x1F\x7F", 8)));
}

}  // namespace
