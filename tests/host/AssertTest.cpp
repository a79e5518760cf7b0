#include "host/glue/Assert.h"

#include <gmock/gmock.h>

#include "host/glue/Log.h"

namespace {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

class Assert : public testing::Test {
protected:
    void SetUp() override {
        dv::SetLogSink([this](unsigned int level, const std::string& text) {
            lines.push_back(std::to_string(level) + " " + text);
        });
    }
    void TearDown() override {
        dv::SetLogSink({});
        dv::SetAssertObserver({});
    }

    std::vector<std::string> lines;
};

TEST_F(Assert, LogsPlaceThenTraceAtTheErrorLevel) {
    dv::AssertWrite("calls/IntercomSession.cpp", 42, dv::StackTrace());
    ASSERT_GT(lines.size(), 2U);
    EXPECT_EQ("3 assertion failed at calls/IntercomSession.cpp:42", lines[0]);
    for (std::size_t i = 1; i < lines.size(); ++i)
        EXPECT_THAT(lines[i], ContainsRegex("^3   [^\n]+$"));
}

TEST_F(Assert, TraceBeginsWhereItWasCaptured) {
    const std::string text = dv::StackTrace().Text();
    const std::string innermost = text.substr(0, text.find('\n'));
    EXPECT_THAT(innermost, ContainsRegex("host_tests\\+0x[0-9a-f]+"));
    EXPECT_THAT(innermost, Not(HasSubstr("libdvhost")));
    EXPECT_EQ('\n', text.back());
}

TEST_F(Assert, ObserverIsToldBeforeTheLog) {
    std::vector<std::string> reports;
    dv::SetAssertObserver([&](const char* file, int line) {
        EXPECT_THAT(lines, SizeIs(0));
        reports.push_back(std::string(file) + ":" + std::to_string(line));
    });
    dv::AssertWrite("dvshared/XmlHelper", 89, dv::StackTrace());
    EXPECT_THAT(reports, ElementsAre("dvshared/XmlHelper:89"));
    EXPECT_THAT(lines[0], HasSubstr("dvshared/XmlHelper:89"));
}

TEST_F(Assert, EmptyObserverTakesTheFirstAway) {
    int reports = 0;
    dv::SetAssertObserver([&](const char*, int) { ++reports; });
    dv::SetAssertObserver({});
    dv::AssertWrite("f.cpp", 1, dv::StackTrace());
    EXPECT_EQ(0, reports);
}

}  // namespace
