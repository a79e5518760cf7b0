// What `sipproxy --check` prints.
#include <gtest/gtest.h>

#include "telephony/proxy/Report.h"
#include "tests/telephony/proxy/support/SampleRecords.h"

namespace proxy {
namespace {

std::string CheckOf(const Records& records) {
    return CheckText(MakePlan(records, [](const std::string&) { return true; }));
}

TEST(Check, TellsEverythingThatTheProxyRunsWith) {
    Records records = SampleHome("127.9.9.9");
    records.access = {{"door", "", "192.168.7.7", 32, 5080, 0, 2}};
    records.routes = {{"out", "INVITE", "", "^sip:0(.*)@", "sip:$1@", 2},
                      {"lamps", "SUBSCRIBE", "presence", "^sip:lamp@", "sip:hall@", 1},
                      {"short", "*", "", "^sip:1@", "sip:kitchen@", 3}};
    records.services = {{"Provider", "sip.example", "me"}};
    records.accounts.push_back(SampleAccount(103, "panel", "Panel"));
    records.accounts[0].doNotDisturb = true;
    records.accounts[1].doNotDisturb = records.accounts[1].autoAnswer = true;
    records.accounts[2].digest.clear();
    records.accounts[2].forwardAddress = "hall@127.9.9.9";
    records.groups = {{"Downstairs", {101, 103}}};
    EXPECT_EQ(R"(listens on 127.9.9.9:5060, UDP and TCP
answers to 127.9.9.9
answers to intercom
lets in 192.168.7.7/32, TCP, port 5080
lets in 127.9.9.9/32, UDP and TCP
route lamps, method SUBSCRIBE, event presence: ^sip:lamp@ -> sip:hall@
route out, method INVITE, event any: ^sip:0(.*)@ -> sip:\1@
route short, method any, event any: ^sip:1@ -> sip:kitchen@
service Provider at sip.example: not used by this proxy yet
account hall, password set, not to be disturbed
account kitchen, password set, not to be disturbed, answers by itself
account panel, no password
call Hall for hall
call Kitchen for kitchen
call Panel for panel
call hall for hall
call kitchen for kitchen
call panel for panel
call Downstairs for hall,panel
call doorbell for nobody
panel is forwarded to sip:hall@127.9.9.9
)",
              CheckOf(records));
}

TEST(Check, ARecordThatIsLeftOutHasNoLineOfItsOwnAndTheOrderOfTheOthersStays) {
    Records records = SampleHome("127.9.9.9");
    records.routes = {{"a", "", "", "(", "", 1},
                      {"b\nroute c", "", "", "^sip:1@", "sip:\n@", 2},
                      {"d\n", "", "", "^sip:1@", "sip:2@", 3}};
    const std::string text = CheckOf(records);
    EXPECT_EQ(std::string::npos, text.find("\nroute c"));
    EXPECT_NE(std::string::npos, text.find("\nroute d?, method any, event any: ^sip:1@ -> sip:2@\n")) << text;
    EXPECT_NE(std::string::npos, text.find("\nleft out: route a: the pattern is no regular expression: "));
    EXPECT_NE(std::string::npos,
              text.find("\nleft out: route b?route c: the replacement holds a control character\n"));
}

}  // namespace
}  // namespace proxy
