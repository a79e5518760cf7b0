// What installing a package with a service does to the machine: a package made for it, apt and dpkg with
// folders of their own, and recorders in the place of the programs that would start a service.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/process/RunProgram.h"
#include "tests/support/process/SkipFor.h"
#include "tests/support/process/TempFolder.h"

namespace test {
namespace {

using testing::HasSubstr;
using testing::Not;

// As debhelper writes it for a package with a unit and a script in /etc/init.d.
constexpr char kPostinst[] = R"(#!/bin/sh
set -e
deb-systemd-helper unmask kamailio.service
if deb-systemd-helper --quiet was-enabled kamailio.service; then deb-systemd-helper enable kamailio.service; fi
deb-systemd-helper update-state kamailio.service
update-rc.d kamailio defaults
invoke-rc.d kamailio start
deb-systemd-invoke start kamailio.service
invoke-rc.d another-service restart
@MORE@
)";

// In mounts of its own, where the machine's programs are covered by recorders.
constexpr char kInstall[] = R"script(set -e
forbids() { stat -c '%i %s %y' /usr/sbin/policy-rc.d 2>&1; }
before=$(forbids || true)
for program in /usr/sbin/invoke-rc.d /usr/sbin/update-rc.d /usr/bin/deb-systemd-helper /usr/bin/deb-systemd-invoke; do
    mount --bind "$T/recorder" "$program"
done
source "$SCRIPTS/packages.sh"
as_root() { "$@"; }
install_packages kamailio || echo "not installed"
# What anybody asks for afterwards, and what is left behind.
PATH=/usr/sbin:/usr/bin:/sbin:/bin invoke-rc.d kamailio by-hand
[ "$(forbids || true)" = "$before" ] || echo "policy-rc.d has changed"
)script";

class PackagesTest : public testing::Test {
protected:
    void SetUp() override {
        if (RunProgram({"dpkg-deb", "--version"}).status != 0) return SkipFor("there is no dpkg-deb");
        const ProgramResult mounts = RunProgram(Unshared("mount --bind /usr/bin/true /usr/bin/false"));
        if (mounts.status != 0) return SkipFor("no mounts of its own are allowed here: " + mounts.errors);
        for (const char* const folder :
             {"package/DEBIAN", "repository", "admin/info", "admin/updates", "instdir", "apt/etc/apt.conf.d",
              "apt/state/lists/partial", "apt/cache/archives/partial", "apt/log"})
            std::filesystem::create_directories(folder_ / folder);
        WriteProgram("recorder", "#!/bin/sh\necho \"${0##*/} $*\" >>" + (folder_ / "asked").string() + "\n");
    }

    static std::vector<std::string> Unshared(const std::string& script) {
        return {"unshare", "-Urm", "bash", "-c", script};
    }

    void WriteProgram(const std::string& name, const std::string& text) {
        WriteFile(folder_ / name, text);
        std::filesystem::permissions(folder_ / name, std::filesystem::perms(0755));
    }

    void MakePackage(const std::string& more) {
        std::string postinst = kPostinst;
        postinst.replace(postinst.find("@MORE@"), 6, more);
        const std::string control =
            "Package: kamailio\nVersion: 1\nArchitecture: all\nMaintainer: nobody <nobody@localhost>\n"
            "Description: a service\n";
        WriteFile(folder_ / "package/DEBIAN/control", control);
        WriteProgram("package/DEBIAN/postinst", postinst);
        const std::string file = folder_ / "repository/kamailio.deb";
        ASSERT_EQ(0, RunProgram({"dpkg-deb", "--root-owner-group", "-b", folder_ / "package", file}).status);
        const std::string sum = RunProgram({"sha256sum", file}).output.substr(0, 64);
        WriteFile(folder_ / "repository/Packages", control + "Filename: ./kamailio.deb\nSize: " +
                                                       std::to_string(std::filesystem::file_size(file)) +
                                                       "\nSHA256: " + sum + "\n");
    }

    // apt and dpkg look at nothing of the machine's.
    void WriteAptSettings() {
        const std::string folder = folder_.Path();
        WriteFile(folder_ / "admin/status", "");
        WriteFile(folder_ / "admin/available", "");
        WriteFile(folder_ / "apt/etc/sources.list", "deb [trusted=yes] file:" + folder + "/repository ./\n");
        WriteFile(folder_ / "apt.conf", "Dir::State \"" + folder + "/apt/state\";\nDir::State::status \"" +
                                            folder + "/admin/status\";\nDir::Cache \"" + folder +
                                            "/apt/cache\";\nDir::Etc \"" + folder +
                                            "/apt/etc\";\nDir::Log \"" + folder +
                                            "/apt/log\";\nAPT::Sandbox::User \"root\";\n"
                                            "DPkg::Options { \"--admindir=" +
                                            folder + "/admin\"; \"--instdir=" + folder +
                                            "/instdir\"; \"--force-script-chrootless\"; };\n");
    }

    ProgramResult Install(const std::string& more = "") {
        MakePackage(more);
        WriteAptSettings();
        return RunProgram(Unshared(kInstall), {{"T", folder_.Path()},
                                               {"SCRIPTS", SCRIPTS},
                                               {"APT_CONFIG", folder_ / "apt.conf"},
                                               {"DPKG_ADMINDIR", folder_ / "admin"}});
    }

    const TempFolder folder_;
};

TEST_F(PackagesTest, AServiceIsNeitherStartedNorStartedWithTheMachine) {
    const ProgramResult result = Install();
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.output, Not(HasSubstr("not installed"))) << result.errors;
    EXPECT_THAT(ReadFile(folder_ / "admin/status"), HasSubstr("Status: install ok installed"));
    EXPECT_EQ(
        "deb-systemd-helper unmask kamailio.service\n"
        "deb-systemd-helper update-state kamailio.service\n"
        "update-rc.d kamailio defaults-disabled\n"
        "invoke-rc.d another-service restart\n"
        "invoke-rc.d kamailio by-hand\n",
        ReadFile(folder_ / "asked"));
    EXPECT_THAT(result.output, Not(HasSubstr("policy-rc.d has changed")));
}

TEST_F(PackagesTest, AnInstallationThatIsKilledLeavesNothingInTheWayOfServices) {
    const ProgramResult result = Install("dpkg=$(ps -o ppid= -p $PPID); kill -9 $PPID $dpkg $$");
    EXPECT_THAT(result.output, HasSubstr("not installed"));
    EXPECT_THAT(ReadFile(folder_ / "admin/status"), Not(HasSubstr("Status: install ok installed")));
    EXPECT_THAT(ReadFile(folder_ / "asked"),
                testing::EndsWith("invoke-rc.d another-service restart\ninvoke-rc.d kamailio by-hand\n"));
    EXPECT_THAT(ReadFile(folder_ / "asked"), Not(HasSubstr("kamailio start")));
    EXPECT_THAT(result.output, Not(HasSubstr("policy-rc.d has changed")));
}

}  // namespace
}  // namespace test
