// A password is planted in every place that takes one; then all that others can see is searched for it.
#include <sys/stat.h>

#include "tests/support/process/EventReader.h"
#include "tests/telephony/home/House.h"

namespace test {
namespace {

constexpr char kInHome[] = "planted-in-the-home-file";
constexpr char kInFile[] = "planted-in-a-file";
constexpr char kOfButton[] = "planted-in-a-button";
constexpr char kOfUser[] = "planted-by-addUser";
constexpr char kOfService[] = "planted-by-editService";

class HomeSecrets : public House {
protected:
    std::string Drivers() const override {
        WriteFile(folder_ / "password", std::string(kInFile) + "\n");
        std::filesystem::permissions(
            folder_ / "password", std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
        return "<driver><id>101</id><name>hall</name><library>phone</library><config><key>hall</key>"
               "<password>" +
               std::string(kInHome) +
               "</password><buttons><button><name>Open</name><http>"
               "<address>http://127.0.0.1:1/open</address><user>home</user><password>" +
               kOfButton +
               "</password></http></button></buttons></config></driver>"
               "<driver><id>102</id><name>kitchen</name><library>phone</library><config><key>kitchen</key>"
               "<passwordFile>" +
               (folder_ / "password").string() + "</passwordFile></config></driver>";
    }

    /// Command lines and environments of every program of the home.
    std::string Processes() const {
        std::string found;
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            const std::string environment = ReadFile(entry.path() / "environ");
            const std::string line = ReadFile(entry.path() / "cmdline");
            const std::string here = folder_.Path();
            const std::string there = home_->Folder().Path();
            const bool isOurs = environment.find(here) != std::string::npos ||
                                line.find(here) != std::string::npos || line.find(there) != std::string::npos;
            if (isOurs) found += line + "\n" + environment + "\n";
        }
        return found;
    }

    /// Replies of everything that can be asked, but for the list of services, which shows its passwords.
    std::string Replies() const {
        std::string replies;
        for (const char* const command :
             {"getDeviceList", "getUserList", "getGroupList", "getRecentContactList"})
            replies += Command(command);
        for (const char* const id : {"101", "102"})
            for (const char* const command : {"getDeviceState", "getCustomButtons"})
                replies += Command(command, {{"idDevice", id}});
        for (const char* const path : {"/drivers", "/health", "/metrics", "/drivers/hall/state",
                                       "/drivers/hall/commands", "/sip/accounts"})
            replies += host_->Send({"GET", path}).body;
        return replies;
    }

    /// Files that others than the owner may read or be led to.
    std::string OpenFiles(const std::filesystem::path& folder) const {
        std::string found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            struct stat status {};
            if (::lstat(entry.path().c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
                (status.st_mode & (S_IRGRP | S_IROTH)) != 0)
                found += entry.path().string() + "\n" + ReadFile(entry.path());
        }
        return found;
    }
};

TEST_F(HomeSecrets, NoneIsSeenByOthers) {
    EventReader events(host_->Port(), "0");
    Command("addUser", {{"key", "guest"}, {"user", "guest"}, {"password", kOfUser}});
    Command("editService",
            {{"name", "p"}, {"host", "sip.example"}, {"username", "me"}, {"password", kOfService}});
    Command("CUSTOM_BUTTON", {{"idDevice", "101"}, {"button", "Open"}});
    EXPECT_TRUE(IsLogged("button Open"));
    Call(101, 102);
    EXPECT_TRUE(StateBecomes(101, 4));
    std::string told;
    for (const auto& event : events.Take(2, kPatience))
        told += event.data;
    // The home file is the owner's affair: it is written by whoever sets the home up.
    std::filesystem::permissions(host_->Folder() / "home.xml", std::filesystem::perms::owner_read);
    const std::string seen = Logs() + Processes() + Replies() + told + OpenFiles(folder_.Path()) +
                             OpenFiles(host_->Folder().Path()) + OpenFiles(home_->Folder().Path());
    EXPECT_NE(seen.find("callcontrol"), std::string::npos);
    for (const char* const secret : {kInHome, kInFile, kOfButton, kOfUser, kOfService})
        EXPECT_EQ(seen.find(secret), std::string::npos) << secret;
}

}  // namespace
}  // namespace test
