// Phones that answer by themselves because the call asks them to, each maker's in its own words.
#include "tests/telephony/home/House.h"

namespace test {
namespace {

struct Style {
    const char* name;
    const char* asked;  // as a regular expression
};

void PrintTo(const Style& style, std::ostream* stream) {
    *stream << style.name;
}

class AutoAnswer : public House, public testing::WithParamInterface<Style> {
protected:
    void SetUp() override {
        House::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        hall_ = std::make_unique<Baresip>(*home_, "hall", 6100, 440);
        kitchen_ = std::make_unique<Sipp>(*home_, "kitchen", 6110, "asked.xml",
                                          Sipp::Settings{.asked = GetParam().asked});
        ASSERT_TRUE(StateBecomes(101, 0));
        ASSERT_TRUE(StateBecomes(102, 0));
    }

    void TearDown() override {
        hall_.reset();
        kitchen_.reset();
        House::TearDown();
    }

    std::string Drivers() const override {
        return PhoneDriver(101, "hall", "Hall") +
               PhoneDriver(102, "kitchen", "Kitchen",
                           std::string("<mayBeMonitored>true</mayBeMonitored><autoAnswerStyle>") +
                               GetParam().name + "</autoAnswerStyle>");
    }

    void CallTheKitchen(const char* command, const Form& more) const {
        Form form{{"source", "101"}, {"destination", "102"}, {"video", "3"}};
        form.insert(form.end(), more.begin(), more.end());
        Command(command, form);
    }

    /// By the kitchen's own script.
    void ExpectAllWentAsAsked() const {
        HangUp(101);
        EXPECT_EQ(kitchen_->Wait(), 0);
    }

    std::unique_ptr<Baresip> hall_;
    std::unique_ptr<Sipp> kitchen_;
};

TEST_P(AutoAnswer, IsAskedForWhereNobodyIsToRing) {
    CallTheKitchen("SIP_REGULAR_CALL", {{"ring", "0"}});
    EXPECT_TRUE(StateBecomes(102, 3));
    EXPECT_TRUE(Hears(*hall_, 440));  // it sends back what it is sent
    ExpectAllWentAsAsked();
}

TEST_P(AutoAnswer, IsAskedForByWhoMonitors) {
    CallTheKitchen("SIP_MONITOR_CALL", {});
    EXPECT_TRUE(StateBecomes(102, 3));
    ExpectAllWentAsAsked();
}

TEST_P(AutoAnswer, IsNotAskedForWhereItIsToRing) {
    CallTheKitchen("SIP_REGULAR_CALL", {{"ring", "1"}});
    EXPECT_TRUE(StateBecomes(102, 2));
    ExpectAllWentAsAsked();
}

INSTANTIATE_TEST_SUITE_P(Styles, AutoAnswer,
                         testing::Values(Style{"call-info", "Call-Info: [^[:cntrl:]]*answer-after=0"},
                                         Style{"alert-info",
                                               "Alert-Info: [^[:cntrl:]]*info=alert-autoanswer"},
                                         Style{"answer-mode", "Answer-Mode: Auto"}),
                         [](const auto& instance) {
                             std::string name = instance.param.name;
                             std::erase(name, '-');
                             return name;
                         });

}  // namespace
}  // namespace test
