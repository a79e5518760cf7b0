// Folders that take nothing while the proxy runs: they are full, or their rights have been taken.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tests/support/process/SkipFor.h"
#include "tests/telephony/proxy/support/ProxyFixture.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace proxy {
namespace {

// Mounts of this process's own, which end with it. Empty, or why they cannot be had.
std::string EnterOwnMounts() {
    const uid_t user = ::geteuid();
    const gid_t group = ::getegid();
    if (::unshare(CLONE_NEWNS) != 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            return std::string("this process may have no mounts of its own: ") + std::strerror(errno);
        const auto itself = [](unsigned id) { return std::to_string(id) + " " + std::to_string(id) + " 1"; };
        test::WriteFile("/proc/self/setgroups", "deny");
        test::WriteFile("/proc/self/uid_map", itself(user));
        test::WriteFile("/proc/self/gid_map", itself(group));
    }
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return std::string("its mounts cannot be kept to itself: ") + std::strerror(errno);
    return {};
}

class Folders : public ProxyFixture {
protected:
    Folders() : both_{run_, folder_ / "state"} {
        for (const std::string& folder : both_)
            std::filesystem::create_directory(folder);
    }

    /// The change that the folders do not take: a third phone.
    void AddTheAttic() {
        HostHome home = host_->Home();
        home.accounts.push_back(
            {.id = 103, .user = "attic", .password = "attic-password", .intercomName = "Attic"});
        host_->Change(home);
    }
    void ExpectThePhonesToCallEachOther() {
        const auto hall = Phone("hall"), kitchen = Phone("kitchen");
        EXPECT_EQ(200, hall->Register());
        EXPECT_EQ(200, kitchen->Register());
        EXPECT_THAT(Received(*hall, *kitchen, Uri("kitchen")), StartsWith("INVITE sip:kitchen@"));
        EXPECT_EQ(200, status_);
    }
    /// What has failed is tried again with each reading of the host.
    void WaitForFurtherTries() {
        const int before = host_->Reads();
        EXPECT_TRUE(Comes([&] { return host_->Reads() > before + 2; }));
    }
    void ExpectTheAtticToBeTakenOver() {
        WaitForLog("accounts and groups are taken over");
        EXPECT_EQ(200, Phone("attic")->Register());
        EXPECT_TRUE(Comes([this] {
            return test::ReadFile(both_[1] + "/records.json").find("\"attic\"") != std::string::npos;
        })) << Log();
        EXPECT_TRUE(StatusTells("account attic: sip:attic@"));
        EXPECT_EQ(1U, Count("sipproxy: Kamailio runs on "));
    }
    std::size_t Count(const std::string& text) const {
        std::size_t count = 0;
        const std::string log = Log();
        for (std::size_t at = 0; (at = log.find(text, at)) != std::string::npos; ++at)
            ++count;
        return count;
    }

    const std::vector<std::string> both_;
};

class FullFolders : public Folders {
protected:
    void SetUp() override {
        static const std::string trouble = EnterOwnMounts();
        if (!trouble.empty()) return test::SkipFor(trouble);
        for (const std::string& folder : both_)
            ASSERT_EQ(0, ::mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=4m,mode=700")) << errno;
    }
    ~FullFolders() override {
        if (proxy_) Stop();
        for (const std::string& folder : both_)
            ::umount(folder.c_str());
    }

    void Fill() const {
        for (const std::string& folder : both_) {
            const int file = ::open((folder + "/filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
            const std::vector<char> page(4096);
            while (::write(file, page.data(), page.size()) > 0) {
            }
            EXPECT_EQ(ENOSPC, errno);
            ::close(file);
        }
    }
    static void Empty(const std::string& folder) { std::filesystem::remove(folder + "/filler"); }
};

TEST_F(FullFolders, AreSaidOnceThePhonesGoOnAndWhatChangedIsTakenWhenThereIsRoom) {
    Start();
    Fill();
    AddTheAttic();
    WaitForLog("sipproxy: cannot use " + run_ + "/records.sqlite.new: database or disk is full\n");
    WaitForLog(
        "sipproxy: cannot write " + both_[1] +
        "/records.json: No space left on device; a start without the host will not have these records\n");
    ExpectThePhonesToCallEachOther();
    WaitForFurtherTries();
    Empty(run_);
    WaitForLog("accounts and groups are taken over");
    Empty(both_[1]);  // and the host tells of no further change
    ExpectTheAtticToBeTakenOver();
    EXPECT_TRUE(StatusTells("account kitchen: sip:kitchen@"));
    EXPECT_EQ(1U, Count("/records.sqlite.new: "));
    EXPECT_EQ(1U, Count("/records.json: "));
}

// Rights do not hold back the administrator, unless he has given that up.
class ForbiddenFolders : public Folders {
protected:
    ForbiddenFolders() {
        if (::geteuid() == 0)
            runBy_ = {"/usr/bin/setpriv", "--bounding-set=-dac_override,-dac_read_search",
                      "--inh-caps=-dac_override,-dac_read_search"};
        Allow(S_IRWXU);
    }
    ~ForbiddenFolders() override { Allow(S_IRWXU); }

    /// Each process of Kamailio's opens its files when it starts, the main one last; and phones are served
    /// before that.
    void WaitUntilKamailioHasItsFiles() {
        const std::string files = "/proc/" + std::to_string(Kamailios().front()) + "/fd";
        EXPECT_TRUE(Comes([&] {
            std::error_code error;
            for (std::filesystem::directory_iterator entry(files, error), end; !error && entry != end;
                 entry.increment(error)) {
                std::error_code gone;
                if (std::filesystem::read_symlink(entry->path(), gone) == run_ + "/contacts.sqlite")
                    return true;
            }
            return false;
        })) << Log();
    }
    void Allow(mode_t rights) const {
        for (const std::string& folder : both_)
            ::chmod(folder.c_str(), rights);
    }
};

TEST_F(ForbiddenFolders, AreSaidOnceThePhonesGoOnAndWhatChangedIsTakenWhenRightsAreBack) {
    Start();
    WaitUntilKamailioHasItsFiles();
    Allow(0);
    AddTheAttic();
    WaitForLog("sipproxy: cannot use " + run_ + "/records.sqlite.new: unable to open database file\n");
    WaitForLog(
        "sipproxy: cannot write " + both_[1] +
        "/records.json.new: Permission denied; a start without the host will not have these records\n");
    ExpectThePhonesToCallEachOther();
    WaitForFurtherTries();
    Allow(S_IRWXU);
    ExpectTheAtticToBeTakenOver();
    EXPECT_EQ(1U, Count("/records.sqlite.new: "));
    EXPECT_EQ(1U, Count("/records.json.new: "));
}

}  // namespace
}  // namespace proxy
