// Phones of three makes register, as they come from Debian.
#include <filesystem>

#include "tests/telephony/proxy/support/ProxyFixture.h"

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

    std::unique_ptr<test::Process> StartBaresip(const std::string& password) {
        std::filesystem::create_directory(folder_ / "phone");
        test::WriteFile(folder_ / "phone/accounts",
                        "<sip:hall@" + address_ + ">;auth_pass=" + password + ";regint=10\n");
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

TEST_F(Phones, BaresipWithAWrongPassword) {
    Start();
    const auto phone = StartBaresip("guess");
    WaitForLog("wrong password for user hall from udp:" + address_ + ":6100");
    EXPECT_THAT(Status(), HasSubstr("account hall: not registered"));
}

TEST_F(Phones, Linphone) {
    if (test::ReadFile("/proc/net/route").find("\t00000000\t") == std::string::npos)
        GTEST_SKIP() << "linphone stays offline on a machine without a default route";
    Start();
    std::filesystem::create_directories(folder_ / "phone/.local/share/linphone");
    test::WriteFile(
        folder_ / "phone/rc",
        "[sip]\nsip_port=6200\nsip_tcp_port=0\nsip_tls_port=0\nbind_address=" + address_ +
            "\ndefault_proxy=0\nuse_ipv6=0\nguess_hostname=0\n[proxy_0]\nreg_proxy=<sip:" + address_ +
            ";transport=udp>\nreg_identity=sip:kitchen@" + address_ +
            "\nreg_expires=60\nreg_sendregister=1\npublish=0\n[auth_info_0]\nusername=kitchen\n"
            "userid=kitchen\npasswd=kitchen-password\nrealm=intercom\n[misc]\nlog_collection_enabled=0\n");
    // It ends when its input does; a pipe that it holds open itself has no end.
    const auto phone =
        Run({"/bin/sh", "-c", "mkfifo \"$0/input\" && exec linphonec -c \"$0/rc\" <>\"$0/input\"",
             folder_ / "phone"});
    EXPECT_TRUE(IsRegistered("kitchen")) << PhoneLog();
    EXPECT_THAT(Status(), testing::ContainsRegex("account kitchen: .*Linphone"));
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
