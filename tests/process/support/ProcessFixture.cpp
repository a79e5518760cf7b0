#include "tests/process/support/ProcessFixture.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "tests/support/process/DriverHost.h"

namespace driverhost {
namespace {

const std::string kAside = "aside";

}  // namespace

ProcessFixture::ProcessFixture() : plugins_(PLUGINS) {
    const std::string bin = folder_.Path() + "/bin";
    mkdir(bin.c_str(), 0700);
    folder_.Write("bin/sysman",
                  "#!/bin/sh\necho \"$*\" >> \"$SYSMAN_REQUESTS\"\nls -l /proc/$$/fd > "
                  "\"$SYSMAN_REQUESTS.files\"\necho \"$1\"\n");
    chmod((bin + "/sysman").c_str(), 0700);
    environment_["PATH"] = bin + ":" + std::getenv("PATH");
    environment_["SYSMAN_REQUESTS"] = folder_.Path() + "/requests";
}

void ProcessFixture::WriteHome(const std::string& drivers) {
    folder_.Write("home.xml",
                  "<home>\n<controller><address>10.0.0.2</address></controller>\n" + drivers + "</home>\n");
}

std::string ProcessFixture::Driver(int id, const std::string& name, const std::string& library,
                                   const std::string& config) {
    return "<driver><id>" + std::to_string(id) + "</id><name>" + name + "</name><library>" + library +
           "</library><config>" + config + "</config></driver>\n";
}

std::vector<std::string> ProcessFixture::Arguments(const std::vector<std::string>& more) const {
    std::vector<std::string> all = {
        "--home", folder_.Path() + "/home.xml", "--state-dir", StateFolder(), "--plugin-dir", plugins_};
    all.insert(all.end(), more.begin(), more.end());
    const std::vector<std::string> times = test::GenerousTimes(more);
    all.insert(all.end(), times.begin(), times.end());
    return all;
}

std::unique_ptr<HostProgram> ProcessFixture::Begin(const std::vector<std::string>& arguments) {
    host_.reset();
    return std::make_unique<HostProgram>(arguments, environment_,
                                         folder_.Path() + "/log" + std::to_string(++starts_), shell_);
}

void ProcessFixture::Launch(const std::vector<std::string>& more) {
    std::vector<std::string> arguments = Arguments(more);
    if (std::find(more.begin(), more.end(), "--listen") == more.end()) {
        arguments.insert(arguments.end(), {"--listen", "127.0.0.1:0"});
    }
    host_ = Begin(arguments);
}

void ProcessFixture::Start(const std::vector<std::string>& more) {
    Launch(more);
    port_ = host_->WaitUntilServing();
}

void ProcessFixture::StartListening(const std::vector<std::string>& more) {
    std::vector<std::string> arguments = Arguments(more);
    arguments.insert(arguments.end(), {"--listen", "127.0.0.1:0"});
    host_ = Begin(arguments);
    port_ = host_->WaitUntilListening();
}

void ProcessFixture::StartSilent(const std::vector<std::string>& more) {
    StartListening(more);
    while (AskOnce(port_, "GET", "/health").status != 200) {
    }
}

int ProcessFixture::Run(const std::vector<std::string>& arguments) {
    host_ = Begin(arguments);
    return host_->WaitForEnd();
}

void ProcessFixture::Kill() {
    host_->Signal(SIGKILL);
    host_->WaitForEnd();
}

int ProcessFixture::Stop() {
    host_->Signal(SIGTERM);
    return host_->WaitForEnd();
}

HttpAnswer ProcessFixture::Ask(const std::string& method, const std::string& target, const std::string& form,
                               const std::string& headers) const {
    return AskOnce(port_, method, target, form, headers);
}

HttpAnswer ProcessFixture::AskUntil(int status, const std::string& method, const std::string& target,
                                    const std::string& form) const {
    return AskAgainUntil(port_, status, method, target, form);
}

std::string ProcessFixture::Command(const std::string& driver, const std::string& command,
                                    const std::string& form) const {
    return Ask("POST", "/drivers/" + driver + "/commands/" + command, form).body;
}

std::string ProcessFixture::AllPlugins() const {
    const std::filesystem::path all = folder_.Path() + "/plugins";
    std::filesystem::create_directory(all);
    for (const char* folder : {PLUGINS, TEST_PLUGINS})
        for (const auto& file : std::filesystem::directory_iterator(folder))
            std::filesystem::create_symlink(file.path(), all / file.path().filename());
    return all.string();
}

int ProcessFixture::Metric(const std::string& name) const {
    const std::string text = Ask("GET", "/metrics").body;
    const std::size_t found = text.find("\n" + name + " ");
    return found == std::string::npos ? -1 : std::stoi(text.substr(found + name.size() + 2));
}

void ProcessFixture::BlockState(const std::string& driver) {
    folder_.Write("state/" + kAside, "in the way");
    SwapState(driver);
}

void ProcessFixture::FreeState(const std::string& driver) {
    SwapState(driver);
    std::filesystem::remove(StateFolder() + "/" + kAside);
}

void ProcessFixture::SwapState(const std::string& driver) const {
    const std::string aside = StateFolder() + "/" + kAside;
    const std::string used = StateFolder() + "/" + driver;
    EXPECT_EQ(renameat2(AT_FDCWD, aside.c_str(), AT_FDCWD, used.c_str(), RENAME_EXCHANGE), 0);
}

std::string ProcessFixture::Log() const {
    return host_->Log();
}

std::string ProcessFixture::SysmanRequests() const {
    return ReadFile("requests");
}

std::string ProcessFixture::ReadFile(const std::string& name) const {
    return test::ReadFile(folder_.Path() + "/" + name);
}

}  // namespace driverhost
