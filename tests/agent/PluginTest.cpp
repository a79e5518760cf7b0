// The built plug-in through its one export, with the real system manager protocol: a `sysman`
// of the test stands first on the PATH.
#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "host/glue/CmdDispatchers.h"
#include "host/interfaces/InterfaceIds.h"
#include "tests/support/DriverFixture.h"

namespace {

using test::FakeDevice;
using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

/// Makes a folder with a program `sysman` that notes its arguments and prints `reply`, in which
/// $1 is the request, and puts it first on the PATH.
class SysmanProgram {
public:
    explicit SysmanProgram(const std::string& reply) : path_(std::getenv("PATH")) {
        std::string folder = (fs::temp_directory_path() / "sysman-XXXXXX").string();
        if (!mkdtemp(folder.data())) throw std::runtime_error("no temporary folder");
        folder_ = folder;
        Print(reply);
        setenv("PATH", (folder + ":" + path_).c_str(), 1);
    }
    ~SysmanProgram() {
        setenv("PATH", path_.c_str(), 1);
        fs::remove_all(folder_);
    }
    SysmanProgram(const SysmanProgram&) = delete;
    SysmanProgram& operator=(const SysmanProgram&) = delete;

    /// What it prints from now on.
    void Print(const std::string& reply) {
        const fs::path program = folder_ / "sysman";
        std::ofstream(program) << "#!/bin/sh\necho \"$*\" >>'" << Notes().string() << "'\nprintf '%s\\n' \""
                               << reply << "\"\nexit 3\n";
        fs::permissions(program, fs::perms::owner_all);
    }

    /// Its arguments, one call a line, since the last time.
    std::vector<std::string> TakeRequests() {
        std::vector<std::string> lines;
        std::ifstream notes(Notes());
        for (std::string line; std::getline(notes, line);)
            lines.push_back(line);
        fs::remove(Notes());
        return lines;
    }

private:
    fs::path Notes() const { return folder_ / "requests"; }

    const std::string path_;
    fs::path folder_;
};

/// The library, loaded as long as the object lives.
class Library {
public:
    Library() : handle_(dlopen(INTERCOM_AGENT_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {
        if (!handle_) throw std::runtime_error(dlerror());
    }
    ~Library() { dlclose(handle_); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    CreateDriverFunc CreationFunc() const {
        const auto entry = reinterpret_cast<GetCreationFuncType>(dlsym(handle_, "GetCreationFunc"));
        return entry ? entry() : nullptr;
    }

    static bool IsLoaded() {
        void* const handle = dlopen(INTERCOM_AGENT_PLUGIN, RTLD_NOW | RTLD_NOLOAD);
        if (handle) dlclose(handle);
        return handle != nullptr;
    }

private:
    void* const handle_;
};

class Plugin : public test::DriverFixture {
protected:
    void SetUp() override { library = std::make_unique<Library>(); }
    void TearDown() override {
        DriverFixture::TearDown();
        library.reset();
        EXPECT_FALSE(Library::IsLoaded()) << "something keeps the library in memory";
    }
    IDriver* MakeDriver() override {
        const CreateDriverFunc create = library->CreationFunc();
        if (!create) throw std::runtime_error("no creation function");
        return create(host);
    }

    SysmanProgram sysman{"$1 done"};
    std::unique_ptr<Library> library;
};

TEST_F(Plugin, RestartsTheSipProxyWhenItIsCreated) {
    Create();
    EXPECT_THAT(sysman.TakeRequests(), ElementsAre("kill sipproxy", "enable sipproxy"));
    EXPECT_THAT(Take(),
                ElementsAre("log 6 IntercomAgent kill sipproxy", "log 6 IntercomAgent enable sipproxy"));
}

TEST_F(Plugin, LogsWhatTheSystemManagerRefuses) {
    sysman.Print("cannot $1");
    Create();
    EXPECT_THAT(Take(), ElementsAre("log 3 Failed to kill sipproxy", "log 3 Failed to enable sipproxy"));
}

TEST_F(Plugin, StartsServesAndEnds) {
    Create();
    Take();
    Initialize();
    EXPECT_THAT(Take(),
                ElementsAre("register F2AE00A1-E2AF-4126-8F6F-137A42247E11", "listen 11 0", "listen 8 0",
                            "listen 12 0", "ui <AGENT_EXTERNAL><id>77</id><state>0</state></AGENT_EXTERNAL>",
                            "find 0 06F75521-4342-406b-ACE5-91D6EF4CE431"));
    AddDevice(5);
    sysman.TakeRequests();
    Stop();
    EXPECT_THAT(Take(), ElementsAre("unlisten 11 0", "unlisten 8 0", "unlisten 12 0",
                                    "unregister F2AE00A1-E2AF-4126-8F6F-137A42247E11",
                                    "device 5 disconnectAgent", "log 6 IntercomAgent disable sipproxy"));
    EXPECT_THAT(sysman.TakeRequests(), ElementsAre("disable sipproxy"));
}

TEST_F(Plugin, AnswersForItsInterfaceWithWhatItPublished) {
    Start();
    void* found = nullptr;
    EXPECT_EQ(0, Driver().QueryInterface("F2AE00A1-E2AF-4126-8F6F-137A42247E11", &found));
    EXPECT_EQ(host.InstanceFindInterface(IntercomAgentInterfaceId), found);
    EXPECT_EQ(20, static_cast<IIntercomAgent*>(found)->GetPopupTimeout());
    EXPECT_GT(0, Driver().QueryInterface("f2ae00a1-e2af-4126-8f6f-137a42247e11", &found));
    EXPECT_EQ(nullptr, found);
}

TEST_F(Plugin, OffersAllItsCommands) {
    Start();
    EXPECT_EQ(40U, Driver().GetUICmdDispatcher().Commands().size());
    EXPECT_EQ(5U, Driver().GetCmdDispatcher().Commands().size());
}

TEST_F(Plugin, AsksRunningDriversForTheirDevices) {
    FakeDevice& device = NewDevice(5);
    host.drivers.push_back(&device);
    device.Next("requestToAddDevice", [&] { Drivers().AddIntercomDevice(5, &device); });
    Start();
    EXPECT_EQ(&device, Drivers().GetIntercomDevice(5));
    EXPECT_EQ("<devices><device><id>5</id><prop>0</prop></device></devices>", Ui("getDeviceList"));
}

TEST_F(Plugin, SwitchesTheSipProxyWithItsDevices) {
    Start();
    sysman.TakeRequests();
    AddDevice(5, 2);
    Drivers().OnDeviceRemoved(5);
    EXPECT_THAT(sysman.TakeRequests(), ElementsAre("enable sipproxy", "disable sipproxy"));
}

TEST_F(Plugin, KeepsGroups) {
    Start();
    EXPECT_EQ("<group><groupId>1</groupId><name>Hall</name></group>", Ui("addGroup", {{"name", "Hall"}}));
    EXPECT_EQ("<fail/>", Ui("addGroup", {{"name", "Hall"}}));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <GroupAdded><id>1</id></GroupAdded>"));
}

TEST_F(Plugin, KeepsTheDisplayOrder) {
    Start();
    EXPECT_EQ("<success/>", Ui("setDeviceOrder", {{"xml", "<l><i>5</i></l>"}}));
    EXPECT_EQ("<fail/>", Ui("setDeviceOrder", {{"xml", "<l>"}}));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <DeviceOrderChanged/>"));
}

TEST_F(Plugin, KeepsContactsAndRecentCalls) {
    Start();
    EXPECT_EQ("<success/>", Ui("addContact", {{"contactId", "3"}, {"displayName", "Ann"}}));
    Drivers().AddRecentContact("Ann", "ann@home", "noon", "12", true, false);
    EXPECT_EQ(
        "<recentContacts><recentContact><id>0</id><displayName>Ann</displayName><aor>ann@home</aor>"
        "<callTime>noon</callTime><callLength>12</callLength><receivedCall>true</receivedCall>"
        "<acceptedCall>false</acceptedCall></recentContact></recentContacts>",
        Ui("getRecentContactList"));
    EXPECT_THAT(Take("ui "), ElementsAre("ui <ContactAdded><id>3</id></ContactAdded>",
                                         "ui <RecentContactAdded><id>0</id></RecentContactAdded>"));
}

TEST_F(Plugin, KeepsTheRecordsOfTheSipProxyAndEchoesTheirChange) {
    Start();
    EXPECT_EQ("<success/>", Ui("addConfig", {{"key", "k"}, {"port", "5061"}}));
    EXPECT_EQ("<State><key>k</key><domain/><port>5061</port></State>", Ui("getConfig", {{"key", "k"}}));
    EXPECT_EQ(kNone, Ui("getConfig"));
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <addConfig><key>k</key><port>5061</port></addConfig>"));
    sysman.TakeRequests();
    EXPECT_EQ(kNone, Ui("applySIPProxyChanges"));
    EXPECT_THAT(sysman.TakeRequests(), ElementsAre("kill sipproxy", "enable sipproxy"));
}

TEST_F(Plugin, KeepsServices) {
    Start();
    EXPECT_EQ("<success/>", Ui("editService", {{"name", "p"}, {"host", "h"}}));
    EXPECT_EQ("<external>true</external>", Ui("getIsExternal"));
    EXPECT_EQ("<failed/>", Ui("removeService", {{"name", "P"}}));
}

TEST_F(Plugin, StartsCallsBetweenDevicesOfOtherPlugins) {
    Start();
    Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
    AddDevice(3).display = true;
    AddDevice(5).intercomName = "Hall";
    Plain("SIP_REGULAR_CALL", {{"source", "3"}, {"destination", "5"}, {"video", "2"}, {"ring", "1"}});
    Plain("SIP_BROADCAST_CALL", {{"source", "3"}, {"destinations", "<l><d>5</d></l>"}});
    EXPECT_THAT(Take(), ElementsAre("device 3 StartSipCall 0 2 Hall@10.0.0.2",
                                    "device 3 StartSipBroadcast 1 3 Hall@10.0.0.2"));
}

TEST_F(Plugin, EndsSessionsWithALostPeer) {
    Start();
    AddDevice(3).deviceKey = "door";
    AddDevice(5).sessions["door"] = 4;
    Drivers().EndOfflineSession("door", "down");
    EXPECT_THAT(Take("device 5 HangupSipSession"), ElementsAre("device 5 HangupSipSession 4"));
}

TEST_F(Plugin, HearsSystemEvents) {
    Start();
    AddDevice(5);
    SystemEvent("OnItemRemoved", {{"iditem", "5"}});
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>"));
}

TEST_F(Plugin, PassesExceptionsOfDriversOnAsWhatTheyAre) {
    Start();
    AddDevice(5).Next("toXml", [] { throw std::runtime_error("busy"); });
    EXPECT_THROW(Ui("getDeviceState", {{"idDevice", "5"}}), std::runtime_error);
}

TEST_F(Plugin, StartsAnewFromItsStateWhenItIsLoadedAgain) {
    Start();
    Ui("addGroup", {{"name", "Hall"}});
    Ui("setPopupTimeout", {{"timeout", "45"}});
    Ui("addUser", {{"key", "ann"}});
    Ui("addUser", {{"key", "bob"}});
    const std::string state = State();
    Stop();
    Delete();
    library.reset();
    EXPECT_FALSE(Library::IsLoaded());

    library = std::make_unique<Library>();
    Start(state);
    EXPECT_EQ(45, Drivers().GetPopupTimeout());
    EXPECT_EQ("<group><groupId>1</groupId><name>Hall</name></group>", Ui("getGroup", {{"groupId", "1"}}));
    Take();
    Ui("addUser", {{"key", "ann"}});
    EXPECT_THAT(Take("ui "), ElementsAre("ui <DeviceAdded><id>99999</id></DeviceAdded>"));
}

TEST_F(Plugin, SavesAStateThatItReadsBackUnchanged) {
    Start();
    Ui("addGroup", {{"name", "Hall"}});
    Ui("setDeviceOrder", {{"xml", "<l><i>5</i><i>3</i></l>"}});
    Ui("addContact", {{"contactId", "3"}, {"phoneType", "<l><home speedDial='true'>555-0100</home></l>"}});
    Ui("addRoute", {{"key", "r"}, {"order", "7"}});
    Ui("editService", {{"name", "p"}});
    const std::string state = State();
    Restart();
    EXPECT_EQ(state, State());
}

}  // namespace
