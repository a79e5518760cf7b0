// A password is planted in every place that takes one; then all that others can see is searched for it.
#include <sys/stat.h>

#include "tests/support/process/EventReader.h"
#include "tests/support/process/RunProgram.h"
#include "tests/telephony/home/House.h"

namespace test {
namespace {

constexpr char kInHome[] = "planted-in-the-home-file";
constexpr char kInFile[] = "planted-in-a-file";
constexpr char kOfButton[] = "planted-in-a-button";
constexpr char kOfButtonsFile[] = "planted-in-a-file-for-a-button";
constexpr char kOfChime[] = "planted-in-a-chime";
constexpr char kOfUser[] = "planted-by-addUser";
constexpr char kOfService[] = "planted-by-editService";

class HomeSecrets : public House {
protected:
    std::string Drivers() const override {
        const auto http = [](const std::string& path, const std::string& password) {
            return "<http><address>http://127.0.0.1:1/" + path + "</address><user>home</user>" + password +
                   "</http>";
        };
        return "<driver><id>101</id><name>hall</name><library>phone</library><config><key>hall</key>"
               "<password>" +
               std::string(kInHome) + "</password><ringDoorbell>true</ringDoorbell><chime>" +
               http("chime", Password(kOfChime)) + "</chime><buttons><button><name>Open</name>" +
               http("open", Password(kOfButton)) + "</button><button><name>Gate</name>" +
               http("gate", PasswordFile("button", kOfButtonsFile)) +
               "</button></buttons></config></driver>"
               "<driver><id>102</id><name>kitchen</name><library>phone</library><config><key>kitchen</key>" +
               PasswordFile("password", kInFile) + "</config></driver>";
    }
    static std::string Password(const std::string& text) { return "<password>" + text + "</password>"; }
    std::string PasswordFile(const std::string& name, const std::string& text) const {
        using std::filesystem::perms;
        WriteFile(folder_ / name, text + "\n");
        std::filesystem::permissions(folder_ / name, perms::owner_read | perms::owner_write);
        return "<passwordFile>" + (folder_ / name).string() + "</passwordFile>";
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

    /// What the tools print while a call goes on.
    std::string Tools() const {
        std::map<std::string, std::string> environment = Environment();
        environment["INTERCOM_HOST_SOCKET"] = host_->Folder() / "state/.socket";
        std::string printed;
        for (const std::vector<std::string>& words :
             std::vector<std::vector<std::string>>{{"intercomctl", "phones"},
                                                   {"intercomctl", "--raw", "phones"},
                                                   {"intercomctl", "calls"},
                                                   {"intercomctl", "--raw", "calls"},
                                                   {"sipproxy", "--check"},
                                                   {"sipproxy", "--status"},
                                                   {"sipproxy", "--status", "--json"}}) {
            std::vector<std::string> command = words;
            command.front() = BIN_FOLDER "/" + command.front();
            const ProgramResult result = RunProgram(command, environment);
            EXPECT_EQ(result.status, 0) << words.front() << " " << words.back() << "\n" << result.errors;
            printed += result.output + result.errors;
        }
        return printed;
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
    const auto follower = home_->Connect();
    follower->Greet();
    Command("addUser", {{"key", "guest"}, {"user", "guest"}, {"password", kOfUser}});
    Command("editService",
            {{"name", "p"}, {"host", "sip.example"}, {"username", "me"}, {"password", kOfService}});
    for (const char* const button : {"Open", "Gate"}) {
        Command("CUSTOM_BUTTON", {{"idDevice", "101"}, {"button", button}});
        EXPECT_TRUE(IsLogged("button " + std::string(button)));
    }
    const Baresip hall(*home_, "hall", 6100, 440, {.password = kInHome});
    Baresip kitchen(*home_, "kitchen", 6110, 660, {.password = kInFile});
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_TRUE(StateBecomes(102, 0));
    kitchen.Do("dial", "sip:doorbell@127.0.0.1");
    EXPECT_TRUE(IsLogged("chime (127.0.0.1:1)"));
    HangUp(102);
    EXPECT_TRUE(StateBecomes(102, 0));
    EXPECT_TRUE(StateBecomes(101, 0));
    Call(101, 102);
    EXPECT_TRUE(StateBecomes(101, 3));
    EXPECT_TRUE(StateBecomes(102, 3));
    std::string tools;  // registrations are written down within a second
    EXPECT_TRUE(WaitUntil([&] {
        tools = Tools();
        return tools.find("account hall: sip:hall") != std::string::npos &&
               tools.find("account kitchen: sip:kitchen") != std::string::npos;
    }));
    for (const char* const part :
         {"kitchen  kitchen  registered", "regular", "\"event\":\"snapshot\"", "account guest, password set",
          "account hall: sip:hall", "\"user\": \"hall\""})
        EXPECT_NE(tools.find(part), std::string::npos) << part << " is not in\n" << tools;
    HangUp(102);
    follower->Wait(telephony::EventKind::Ended);
    std::string told = follower->Seen();
    for (const auto& event : events.Take(2, kPatience))
        told += event.data;
    // The home file is the owner's affair: it is written by whoever sets the home up.
    std::filesystem::permissions(host_->Folder() / "home.xml", std::filesystem::perms::owner_read);
    const std::string seen = Logs() + Processes() + Replies() + tools + told + OpenFiles(folder_.Path()) +
                             OpenFiles(host_->Folder().Path()) + OpenFiles(home_->Folder().Path());
    EXPECT_NE(seen.find("callcontrol"), std::string::npos);
    for (const char* const secret :
         {kInHome, kInFile, kOfButton, kOfButtonsFile, kOfChime, kOfUser, kOfService})
        EXPECT_EQ(seen.find(secret), std::string::npos) << secret;
}

}  // namespace
}  // namespace test
