// Switching the SIP proxy through the system manager, and the proxy's address.
#include <stdexcept>

#include "tests/support/AgentFixture.h"

namespace {

using test::FakeDevice;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kEnabled[] = "log 6 IntercomAgent enable sipproxy";
constexpr char kNotEnabled[] = "log 3 Failed to enable sipproxy";

class ProxyRequest : public test::AgentFixture {
protected:
    /// The log line after the request was answered with the output.
    std::string Outcome(const std::string& request, const std::string& output) {
        sysman.Reply(output);
        Agent().IssueSipProxyCommand(request);
        return Take("log ").at(0);
    }
};
class ProxyAddress : public test::AgentFixture {};

TEST_F(ProxyRequest, IsOneCommandLineAndOneLogLine) {
    Start();
    Agent().EnableSipProxy();
    EXPECT_THAT(Take(), ElementsAre("sysman enable sipproxy", kEnabled));
    Agent().DisableSipProxy();
    EXPECT_THAT(Take(), ElementsAre("sysman disable sipproxy", "log 6 IntercomAgent disable sipproxy"));
}

TEST_F(ProxyRequest, SucceedsInAnyCase) {
    Start();
    EXPECT_EQ(kEnabled, Outcome("enable", "Enable OK\n"));
    EXPECT_EQ(kEnabled, Outcome("enable", "ENABLE\n"));
}

TEST_F(ProxyRequest, SucceedsWhenTheReplyGoesOnBehindTheWord) {
    Start();
    EXPECT_EQ(kEnabled, Outcome("enable", "enabled\n"));
    EXPECT_EQ(kEnabled, Outcome("enable", "enable"));
}

TEST_F(ProxyRequest, FailsWhenTheReplyBeginsOtherwise) {
    Start();
    EXPECT_EQ(kNotEnabled, Outcome("enable", " enabled\n"));
    EXPECT_EQ(kNotEnabled, Outcome("enable", "enabl\n"));
    EXPECT_EQ(kNotEnabled, Outcome("enable", "error: enable\n"));
    EXPECT_EQ(kNotEnabled, Outcome("enable", "\n"));
}

TEST_F(ProxyRequest, FailsWithoutAnyReply) {
    Start();
    EXPECT_EQ(kNotEnabled, Outcome("enable", ""));
    EXPECT_EQ("log 3 Failed to kill sipproxy", Outcome("kill", ""));
    EXPECT_EQ("log 3 Failed to x sipproxy", Outcome("x", ""));
}

TEST_F(ProxyRequest, IsJudgedByTheFirstLineOnly) {
    Start();
    EXPECT_EQ(kNotEnabled, Outcome("enable", "please wait\nenable\n"));
    EXPECT_EQ(kNotEnabled, Outcome("enable", "\nenable\n"));
    EXPECT_EQ(kEnabled, Outcome("enable", "enable\nerror\n"));
}

TEST_F(ProxyRequest, IsComparedAsItWasPassed) {
    Start();
    EXPECT_EQ("log 3 Failed to Enable sipproxy", Outcome("Enable", "Enable\n"));
}

TEST_F(ProxyRequest, ThatIsEmptySucceedsWhateverTheReply) {
    Start();
    EXPECT_EQ("log 6 IntercomAgent  sipproxy", Outcome("", "error\n"));
    EXPECT_EQ("log 6 IntercomAgent  sipproxy", Outcome("", ""));
    Agent().IssueSipProxyCommand("");
    EXPECT_EQ("sysman  sipproxy", Take().at(0));
}

TEST_F(ProxyRequest, ReadsNinetyNineCharactersOfTheReply) {
    Start();
    const std::string longest(99, 'a');
    EXPECT_EQ("log 6 IntercomAgent " + longest + " sipproxy", Outcome(longest, longest + "\n"));
    EXPECT_EQ("log 3 Failed to " + longest + "a sipproxy", Outcome(longest + "a", longest + "a\n"));
    EXPECT_EQ(kEnabled, Outcome("enable", "enable" + std::string(3000, 'x')));
}

TEST_F(ProxyRequest, TakesBytesBeyondAsciiAsTheyAre) {
    Start();
    EXPECT_EQ(kNotEnabled, Outcome("enable", "\xff\xc3\x84\x80\n"));
    EXPECT_EQ(kEnabled, Outcome("enable", "Enable\xff\n"));
}

TEST_F(ProxyRequest, DoesNotLookAtTheExitStatus) {
    Start();
    sysman.exitStatus = 256;
    EXPECT_EQ(kEnabled, Outcome("enable", "enable\n"));
    EXPECT_EQ(kNotEnabled, Outcome("enable", "no\n"));
}

TEST_F(ProxyRequest, ThatCannotBeStartedIsLogged) {
    Start();
    sysman.FailToOpen();
    Agent().EnableSipProxy();
    EXPECT_THAT(Take(), ElementsAre("sysman enable sipproxy", "log 3 failed to open connection to sysman"));
}

TEST_F(ProxyRequest, NeverBecomesTheFormatOfALogLine) {
    Start();
    EXPECT_EQ("log 3 Failed to 100%n%s sipproxy", Outcome("100%n%s", "no\n"));
    EXPECT_EQ("log 6 IntercomAgent 100%n%s sipproxy", Outcome("100%n%s", "100%n%s\n"));
}

TEST_F(ProxyRequest, ToRestartIsAKillAndThenAnEnable) {
    Start();
    Agent().RestartSipProxy();
    EXPECT_THAT(Take(), ElementsAre("sysman kill sipproxy", "log 6 IntercomAgent kill sipproxy",
                                    "sysman enable sipproxy", kEnabled));
}

TEST_F(ProxyRequest, ToApplyChangesRestartsTheProxyAndAnswersWithNoElement) {
    Start();
    EXPECT_EQ(kNone, Ui("applySIPProxyChanges"));
    EXPECT_THAT(Take(), ElementsAre("sysman kill sipproxy", "log 6 IntercomAgent kill sipproxy",
                                    "sysman enable sipproxy", kEnabled));
}

TEST_F(ProxyRequest, ToApplyChangesEnablesThoughTheKillFailed) {
    Start();
    sysman.Reply("no such service\n");
    sysman.FailToOpen();
    EXPECT_EQ(kNone, Ui("applySIPProxyChanges"));
    EXPECT_THAT(Take(), ElementsAre("sysman kill sipproxy", "log 3 Failed to kill sipproxy",
                                    "sysman enable sipproxy", "log 3 failed to open connection to sysman"));
}

TEST_F(ProxyAddress, IsEmptyUntilItIsSet) {
    Start();
    EXPECT_EQ("<sipProxyIP/>", Ui("getSipProxyIP"));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(ProxyAddress, IsHandedToEveryDeviceInAscendingOrder) {
    Start();
    AddDevice(9);
    AddDevice(3);
    AddDevice(5);
    EXPECT_EQ("<success/>", Ui("setSipProxyIP", {{"address", "10.0.0.2"}}));
    EXPECT_THAT(Take(), ElementsAre("device 3 updateSipInfoFromDriver 10.0.0.2",
                                    "device 5 updateSipInfoFromDriver 10.0.0.2",
                                    "device 9 updateSipInfoFromDriver 10.0.0.2"));
    EXPECT_EQ("<sipProxyIP>10.0.0.2</sipProxyIP>", Ui("getSipProxyIP"));
}

TEST_F(ProxyAddress, WithoutDevicesIsOnlyKept) {
    Start();
    EXPECT_EQ("<success/>", Ui("setSipProxyIP", {{"address", "10.0.0.2"}}));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("<sipProxyIP>10.0.0.2</sipProxyIP>", Ui("getSipProxyIP"));
}

TEST_F(ProxyAddress, ThatIsEmptyIsKeptAndHandedOnToo) {
    Start();
    AddDevice(5);
    Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
    Take();
    EXPECT_EQ("<success/>", Ui("setSipProxyIP", {{"address", ""}}));
    EXPECT_THAT(Take(), ElementsAre("device 5 updateSipInfoFromDriver"));
    EXPECT_EQ("<sipProxyIP/>", Ui("getSipProxyIP"));
}

TEST_F(ProxyAddress, ThatIsAbsentIsEmpty) {
    Start();
    Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
    Ui("setSipProxyIP");
    EXPECT_EQ("<sipProxyIP/>", Ui("getSipProxyIP"));
}

TEST_F(ProxyAddress, IsKeptExactlyAsItIs) {
    Start();
    AddDevice(5);
    Ui("setSipProxyIP", {{"address", " proxy <home> & %s "}});
    EXPECT_THAT(Take(), ElementsAre("device 5 updateSipInfoFromDriver  proxy <home> & %s "));
    EXPECT_EQ("<sipProxyIP> proxy &lt;home&gt; &amp; %s </sipProxyIP>", Ui("getSipProxyIP"));
}

TEST_F(ProxyAddress, IsNotSaved) {
    Start();
    Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
    Restart();
    EXPECT_EQ("<sipProxyIP/>", Ui("getSipProxyIP"));
}

TEST_F(ProxyAddress, IsInPlaceBeforeTheFirstDeviceIsCalled) {
    Start();
    std::string seen;
    AddDevice(5).Next("updateSipInfoFromDriver", [&] { seen = Ui("getSipProxyIP"); });
    Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
    EXPECT_EQ("<sipProxyIP>10.0.0.2</sipProxyIP>", seen);
}

TEST_F(ProxyAddress, DevicesMayRemoveAndDeleteThemselvesWhenTold) {
    Start();
    for (const unsigned long id : {3UL, 5UL, 9UL}) {
        FakeDevice& device = AddDevice(id);
        device.Next("updateSipInfoFromDriver", [this, &device] { RemoveAndDelete(device); });
    }
    EXPECT_EQ("<success/>", Ui("setSipProxyIP", {{"address", "10.0.0.2"}}));
    EXPECT_THAT(Take("device "), testing::SizeIs(3));
    EXPECT_EQ("<devices/>", Ui("getDeviceList"));
}

TEST_F(ProxyAddress, ADeviceRemovedByAnotherOneIsNotTold) {
    Start();
    FakeDevice& first = AddDevice(3);
    FakeDevice& second = AddDevice(5);
    AddDevice(9);
    first.Next("updateSipInfoFromDriver", [&] { RemoveAndDelete(second); });
    Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
    EXPECT_THAT(Take("device "), ElementsAre("device 3 updateSipInfoFromDriver 10.0.0.2",
                                             "device 9 updateSipInfoFromDriver 10.0.0.2"));
}

TEST_F(ProxyAddress, ADeviceReplacedByAnotherOneIsToldInItsPlace) {
    Start();
    FakeDevice& first = AddDevice(3);
    FakeDevice& old = AddDevice(5);
    FakeDevice& replacement = NewDevice(5, 1, "new");
    first.Next("updateSipInfoFromDriver", [&] { ReplaceAndDelete(old, replacement); });
    Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
    EXPECT_THAT(Take("device "), ElementsAre("device new updateSipInfoFromDriver 10.0.0.2"));
}

TEST_F(ProxyAddress, ADeviceAddedMeanwhileIsToldWhenItIsAdded) {
    Start();
    FakeDevice& late = NewDevice(4);
    AddDevice(3).Next("updateSipInfoFromDriver", [&] { Agent().AddIntercomDevice(4, &late); });
    AddDevice(5);
    Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
    EXPECT_THAT(Take("device 4"), ElementsAre("device 4 updateSipInfoFromDriver 10.0.0.2"));
}

TEST_F(ProxyAddress, IsHandedOnThoughADeviceThrows) {
    Start();
    AddDevice(3).Next("updateSipInfoFromDriver", [] { throw std::runtime_error("busy"); });
    AddDevice(5);
    EXPECT_THROW(Ui("setSipProxyIP", {{"address", "10.0.0.2"}}), std::runtime_error);
    EXPECT_THAT(Take("device 5"), ElementsAre("device 5 updateSipInfoFromDriver 10.0.0.2"));
    EXPECT_EQ("<sipProxyIP>10.0.0.2</sipProxyIP>", Ui("getSipProxyIP"));
}

TEST_F(ProxyAddress, ChangedByADeviceMeanwhileIsWhatEveryDeviceIsLeftWith) {
    Start();
    AddDevice(3).Next("updateSipInfoFromDriver", [&] { Ui("setSipProxyIP", {{"address", "10.0.0.9"}}); });
    AddDevice(5);
    Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
    EXPECT_EQ("<sipProxyIP>10.0.0.9</sipProxyIP>", Ui("getSipProxyIP"));
    EXPECT_EQ("device 5 updateSipInfoFromDriver 10.0.0.9", Take("device 5").back());
}

}  // namespace
