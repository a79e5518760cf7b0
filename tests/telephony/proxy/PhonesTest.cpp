// Phones of three makes register, as they come from Debian.
#include <filesystem>

#include "tests/telephony/proxy/support/ProxyFixture.h"

using testing::ContainsRegex;
using testing::HasSubstr;

namespace proxy {
namespace {

class Phones : public ProxyFixture {
protected:
    bool IsRegistered(const std::string& user) {
        return Comes([&] { return Status().find("account " + user + ": sip:") != std::string::npos; });
    }

    std::unique_ptr<test::Process> Run(const std::vector<std::string>& words) {
        return std::make_unique<test::Process>(
            test::Process::Command{words, {{"HOME", folder_ / "phone"}}, folder_ / "phone.log"});
    }
    std::string PhoneLog() const { return test::ReadFile(folder_ / "phone.log"); }

    std::unique_ptr<test::Process> StartBaresip(const std::string& password,
                                                const std::string& parameters = "") {
        std::filesystem::create_directory(folder_ / "phone");
        test::WriteFile(folder_ / "phone/accounts",
                        "<sip:hall@" + address_ + parameters + ">;auth_pass=" + password + ";regint=10\n");
        test::WriteFile(folder_ / "phone/config",
                        "sip_listen " + address_ + ":6100\nnet_interface " + address_ +
                            "\nmodule_path /usr/lib/baresip/modules\nmodule g711.so\n"
                            "module_tmp account.so\nmodule_app menu.so\n");
        return Run({"/usr/bin/baresip", "-f", folder_ / "phone"});
    }
};

TEST_F(Phones, Baresip) {
    Start();
    const auto phone = StartBaresip("hall-password");
    EXPECT_TRUE(IsRegistered("hall")) << PhoneLog();
    EXPECT_THAT(Status(), HasSubstr("(baresip "));
}

TEST_F(Phones, BaresipByTcp) {
    Start();
    const auto phone = StartBaresip("hall-password", ";transport=tcp");
    EXPECT_TRUE(IsRegistered("hall")) << PhoneLog();
    EXPECT_THAT(Status(), ContainsRegex("account hall: sip:[^ ]*;transport=tcp \\(baresip "));
}

TEST_F(Phones, BaresipWithAWrongPassword) {
    Start();
    const auto phone = StartBaresip("guess");
    WaitForLog("wrong password for user hall from udp:" + address_ + ":6100");
    EXPECT_THAT(Status(), HasSubstr("account hall: not registered"));
}

TEST_F(Phones, Sipp) {
    Start();
    test::WriteFile(folder_ / "register.xml", R"(<?xml version="1.0" encoding="ISO-8859-1" ?>
<scenario name="register">
<send><![CDATA[
REGISTER sip:[remote_ip] SIP/2.0
Via: SIP/2.0/[transport] [local_ip]:[local_port];branch=[branch]
Max-Forwards: 70
From: <sip:hall@[remote_ip]>;tag=[call_number]r
To: <sip:hall@[remote_ip]>
Call-ID: [call_id]
CSeq: 1 REGISTER
Contact: <sip:hall@[local_ip]:[local_port];transport=[transport]>
Content-Length: 0

]]></send>
<recv response="401" auth="true"/>
<send><![CDATA[
REGISTER sip:[remote_ip] SIP/2.0
Via: SIP/2.0/[transport] [local_ip]:[local_port];branch=[branch]
Max-Forwards: 70
From: <sip:hall@[remote_ip]>;tag=[call_number]r
To: <sip:hall@[remote_ip]>
Call-ID: [call_id]
CSeq: 2 REGISTER
Contact: <sip:hall@[local_ip]:[local_port];transport=[transport]>
User-Agent: rigid
[authentication username=hall password=hall-password]
Content-Length: 0

]]></send>
<recv response="200"/>
</scenario>
)");
    for (const char* const transport : {"t1", "u1"}) {
        const test::ProgramResult result = test::RunProgram(
            {"/usr/bin/sipp", "-sf", folder_ / "register.xml", "-m", "1", "-t", transport, "-i", address_,
             "-p", "6300", "-nostdin", "-timeout", "180", address_ + ":5060"});
        EXPECT_EQ(0, result.status) << transport << result.output << result.errors;
    }
    EXPECT_TRUE(StatusTells("(rigid)"));
}

}  // namespace
}  // namespace proxy
