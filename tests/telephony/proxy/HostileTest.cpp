// Records whose every text and number would like to be configuration, in a running proxy.
#include "telephony/proxy/Plan.h"
#include "tests/support/process/HttpClient.h"
#include "tests/telephony/proxy/support/ProxyFixture.h"
#include "tests/telephony/proxy/support/SampleRecords.h"

using testing::AllOf;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Lt;
using testing::Not;

namespace proxy {
namespace {

class HostileRecords : public ProxyFixture {
protected:
    HostileRecords() { environment_["INTERCOM_HOST_SOCKET"] = ""; }

    /// As the last good records of a home whose host is away.
    void StartWith(const Records& records) {
        std::filesystem::create_directory(folder_ / "state");
        std::filesystem::permissions(folder_ / "state", std::filesystem::perms::owner_all);
        test::WriteFile(folder_ / "state/records.json", ToJson(records));
        Launch();
        WaitUntilRunning();
    }

    int Call(SipPhone& caller, const std::string& name) const {
        return caller.Ask({.method = "INVITE", .address = Uri(test::PercentEncoded(name))});
    }
    /// Nobody is registered but the caller, hall, who is not called.
    void ExpectEverybodyIsFound(SipPhone& caller, const Plan& plan) const {
        for (const auto& [name, user] : plan.live.at("devices")) {
            if (user == "hall" || plan.live.at("forward").contains(user)) continue;
            EXPECT_EQ(plan.live.at("dnd").contains(user) ? 486 : 480, Call(caller, name)) << name;
        }
        for (const auto& [name, users] : plan.live.at("groups")) {
            if (plan.live.at("folded").contains(Folded(name))) continue;
            EXPECT_EQ(480, Call(caller, name)) << name;
        }
    }
    /// What a route or a forward address makes of a name is no fault of the proxy's.
    void ExpectARefusal(SipPhone& caller, const std::string& name) const {
        EXPECT_THAT(Call(caller, name), AllOf(Ge(400), Lt(500))) << name << "\n" << caller.Answer();
    }
    /// A busy Kamailio answers after sipproxy has asked anew whether it runs; nobody waits for that any more.
    std::vector<std::string> Errors() const {
        std::istringstream log(Log());
        std::vector<std::string> errors;
        for (std::string line; std::getline(log, line);)
            if (line.find("ERROR") != std::string::npos &&
                line.find("jsonrpc_dgram_send_data") == std::string::npos)
                errors.push_back(line);
        return errors;
    }
    void ExpectForwardedCallsAreRefused(SipPhone& caller, const Plan& plan) const {
        for (const auto& [name, user] : plan.live.at("devices"))
            if (plan.live.at("forward").contains(user)) ExpectARefusal(caller, name);
    }

private:
    static std::string Folded(std::string text) {
        for (char& letter : text)
            if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
        return text;
    }
};

TEST_F(HostileRecords, AreTextsToARunningProxyToo) {
    std::mt19937 random(13);
    for (int round = 0; round < HostileRounds(5); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        SipPhone stranger("stranger", "", address_);
        const Records records = HostileHome(address_, random, stranger.Address());
        StartWith(records);
        const auto hall = Phone("hall");
        const Plan plan = MakePlan(records, IsAddressOfThisMachine);
        ExpectEverybodyIsFound(*hall, plan);
        EXPECT_EQ("", stranger.Receive(std::chrono::milliseconds(0)));
        ExpectForwardedCallsAreRefused(*hall, plan);
        // These are nobody's names, so every route is tried, and some change the second.
        for (const char* const name : {"nobody", "4711"})
            ExpectARefusal(*hall, name);
        EXPECT_EQ(200, hall->Register());
        EXPECT_EQ(0, Stop());
    }
    EXPECT_THAT(Errors(), IsEmpty());
    EXPECT_THAT(Log(), Not(HasSubstr("started again")));
}

}  // namespace
}  // namespace proxy
