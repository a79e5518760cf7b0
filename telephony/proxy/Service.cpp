#include "telephony/proxy/Service.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <set>
#include <sstream>

using boost::system::error_code;

namespace proxy {

namespace {

constexpr std::chrono::seconds kPatience{2};  // with the host, before it goes on with the last good records
constexpr std::chrono::milliseconds kAskAgain{500};
constexpr std::chrono::milliseconds kReadyStep{5};
constexpr std::chrono::seconds kStartTime{10};
constexpr std::chrono::milliseconds kFirstDelay{50};
constexpr std::chrono::milliseconds kLongestDelay{10000};
constexpr std::chrono::seconds kRunsWell{30};

void Say(const std::string& text) {
    std::cerr << "sipproxy: " + text + "\n" << std::flush;
}

// sd_notify(3), the protocol alone.
void Notify(const std::string& text) {
    const char* const path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (!path || std::strlen(path) < 2 || std::strlen(path) >= sizeof address.sun_path) return;
    const std::size_t size = std::strlen(path);
    std::memcpy(address.sun_path, path, size);
    if (path[0] == '@') address.sun_path[0] = '\0';
    const int handle = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (handle < 0) return;
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + size);
    ::sendto(handle, text.data(), text.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&address),
             length);
    ::close(handle);
}

bool IsInstalled(const std::string& program) {
    if (program.find('/') != program.npos) return ::access(program.c_str(), X_OK) == 0;
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path ? path : "/usr/sbin:/usr/bin");
    for (std::string folder; std::getline(folders, folder, ':');)
        if (::access((folder + "/" + program).c_str(), X_OK) == 0) return true;
    return false;
}

// Debian's lies where only root's path leads.
std::string FindKamailio(const std::string& program) {
    if (IsInstalled(program)) return program;
    if (program == "kamailio" && IsInstalled("/usr/sbin/kamailio")) return "/usr/sbin/kamailio";
    throw Failure("there is no " + program +
                  "; install the packages kamailio, kamailio-extra-modules and "
                  "kamailio-sqlite-modules for real calls");
}

std::string PreparedRunFolder(const Options& options) {
    MakePrivateFolder(options.stateFolder);
    MakePrivateFolder(options.runFolder);
    return options.runFolder;
}

Reach ReachOf(const Options& options) {
    return options.onlyThisMachine ? Reach::kThisMachine : Reach::kHome;
}

bool HasSameFixedPart(const Plan& one, const Plan& other) {
    return one.listen == other.listen && one.networks == other.networks && one.fixed == other.fixed;
}

// Whoever listens for the home's phones; else this machine alone.
void CheckPorts(const Plan& plan) {
    std::vector<Endpoint> needed = plan.listen;
    needed.push_back(Meeting::For(plan).events);
    for (const Endpoint& endpoint : needed)
        if (!IsFree(endpoint))
            throw Failure("port " + std::to_string(endpoint.port) + " of " + endpoint.address +
                          " is another program's, which is left alone: end it, or give the home's domain "
                          "another port, as docs/sipproxy.md tells");
}

}  // namespace

std::string RecordsCacheFile(const Options& options) {
    return options.stateFolder + "/records.json";
}

Service::Service(const Options& options)
    : options_(options),
      signals_(context_, SIGTERM, SIGINT),
      patience_(context_),
      refresh_(context_),
      ready_(context_),
      restart_(context_),
      look_(context_),
      lock_(PreparedRunFolder(options)),
      kamailio_(FindKamailio(options.kamailio), options.runFolder),
      rpc_(options.runFolder),
      host_(options.hostSocket),
      events_(
          context_, options.hostSocket, [this] { Refresh(); },
          [this] {
              Say("the host is gone; going on without it");
              state_.host = "away";
              WriteState();
          }),
      startDelay_(kFirstDelay),
      report_(options.reportsFolder, "sipproxy", &Say) {
    state_.kamailio = "not started yet";
    state_.host = "away";
    if (const int killed = Kamailio::KillLeftOver(options.runFolder); killed != 0)
        Say("killed " + std::to_string(killed) + " processes of an earlier Kamailio");
}

void Service::Run() {
    AwaitSignal();
    WriteState();
    if (options_.hostSocket.empty())
        Say("no host is given (INTERCOM_HOST_SOCKET, --host-socket); only the last good records can be used");
    else
        events_.Open();
    patience_.expires_after(options_.hostSocket.empty() ? std::chrono::seconds(0) : kPatience);
    patience_.async_wait([this](error_code error) {
        if (!error && !plan_) UseLastGood();
    });
    ReportFromNowOn();
    context_.run();
}

void Service::AwaitSignal() {
    signals_.async_wait([this](error_code error, int) {
        if (!error) End();
    });
}

void Service::End() {
    Notify("STOPPING=1");
    ending_ = true;
    events_.Close();
    patience_.cancel();
    refresh_.cancel();
    ready_.cancel();
    restart_.cancel();
    look_.cancel();
    kamailio_.AskToEnd();
    if (kamailio_.IsRunning()) return AwaitSignal();  // further signals change nothing
    signals_.cancel();
}

// ---------------------------------------------------------------- the host and its records

void Service::Refresh() {
    try {
        const Records records = host_.Read();
        state_.host = kConnected;
        Take(records, true);
        OfferAddress();
        lastHostFault_.clear();
    } catch (const Failure& fault) {
        SayOnce(lastHostFault_, fault.what());
        refresh_.expires_after(kAskAgain);
        refresh_.async_wait([this](error_code error) {
            if (!error) Refresh();
        });
    }
}

void Service::UseLastGood() try {
    const std::optional<std::string> text = ReadWholeFile(RecordsCacheFile(options_));
    if (!text)
        return Say("the host is not there, and there are no records of an earlier time; waiting for it");
    Say("the host is not there; going on with the last good records");
    Take(FromJson(*text), false);
} catch (const std::exception& fault) {
    Say("the last good records cannot be used, waiting for the host: " + std::string(fault.what()));
}

void Service::Take(const Records& records, bool fromHost) {
    const Plan plan = MakePlan(records, IsAddressOfThisMachine, ReachOf(options_));
    state_.faults = plan.faults;
    SayFaults();
    if (fromHost) Store(records);
    if (!plan_) {
        plan_ = plan;
        fromLastGood_ = !fromHost;
        return StartKamailio();
    }
    state_.newRecords = !HasSameFixedPart(*plan_, plan);
    if (fromLastGood_ && fromHost && state_.newRecords) {
        Say("the host has other records than the last good ones; Kamailio is started anew with them");
        plan_ = plan;
        state_.newRecords = false;
        restartAtOnce_ = true;
        kamailio_.AskToEnd();
    } else {
        TakeLive(plan);
    }
    if (fromHost) fromLastGood_ = false;
    WriteState();
}

void Service::Store(const Records& records) {
    toStore_ = ToJson(records);
    StoreNow();
}

void Service::StoreNow() try {
    if (toStore_ == stored_) return;
    WritePrivateFile(RecordsCacheFile(options_), toStore_);
    stored_ = toStore_;
    lastStoreFault_.clear();
} catch (const Failure& fault) {
    SayOnce(lastStoreFault_,
            std::string(fault.what()) + "; a start without the host will not have these records");
}

void Service::TakeLive(const Plan& plan) {
    if (plan.live == plan_->live) return;
    const Table before = plan_->live.at("users");
    Plan changed = *plan_;
    changed.live = plan.live;
    WriteRecords(changed, secrets_, options_.runFolder);  // when it fails, it is tried again
    plan_->live = plan.live;
    reloadWhenReady_ = true;
    if (isReady_) ReloadLive();
    ForgetContacts(before, plan_->live.at("users"));
}

void Service::ReloadLive() try {
    for (const auto& [name, rows] : plan_->live)
        rpc_.Call("htable.reload", {name});
    reloadWhenReady_ = false;
    lastRpcFault_.clear();
    ++counts_.takenOver;
    Say("accounts and groups are taken over");
} catch (const Failure& fault) {
    SayOnce(lastRpcFault_, fault.what());
    refresh_.expires_after(kAskAgain);
    refresh_.async_wait([this](error_code error) {
        if (!error && isReady_ && reloadWhenReady_) ReloadLive();
    });
}

// Who registered with a password that is no longer right must register again.
void Service::ForgetContacts(const Table& before, const Table& now) {
    for (const auto& [user, digest] : before) {
        const auto found = now.find(user);
        if (found != now.end() && found->second == digest) continue;
        try {
            rpc_.Call("ul.rm", {"location", user});
        } catch (const Failure&) {
            // It was not registered.
        }
    }
}

void Service::OfferAddress() {
    if (!isReady_ || state_.host != kConnected) return;
    const std::string address = plan_->AddressForDevices();
    if (host_.OfferAddress(address)) Say("told the agent that devices reach the proxy at " + address);
}

// ---------------------------------------------------------------- Kamailio

void Service::StartKamailio() try {
    CheckPorts(*plan_);
    secrets_ = Secrets::Make();
    WriteConfiguration(*plan_, secrets_, options_.runFolder);
    ::unlink((options_.runFolder + "/rpc").c_str());
    ::unlink((options_.runFolder + "/kamailio.pid").c_str());
    kamailio_.Start();
    ++counts_.starts;
    startedAt_ = Clock::now();
    isReady_ = reloadWhenReady_ = false;
    state_.kamailio = "starting";
    WriteState();
    WatchKamailio();
    WaitUntilReady();
} catch (const Failure& fault) {
    SayOnce(lastStartFault_, fault.what());
    state_.kamailio = kNotRunning + std::string(fault.what());
    StartLater();
}

void Service::WatchKamailio() {
    watched_.emplace(context_, ::dup(kamailio_.Handle()));
    watched_->async_wait(boost::asio::posix::stream_descriptor::wait_read, [this](error_code error) {
        if (error) return;
        if (kamailio_.Collect()) return OnKamailioEnd();
        state_.process = kamailio_.Main();
        WriteState();
        WatchKamailio();
    });
}

void Service::WaitUntilReady() {
    ready_.expires_after(kReadyStep);
    ready_.async_wait([this](error_code error) {
        if (error || !kamailio_.IsRunning()) return;
        if (rpc_.Answers()) return OnReady();
        if (Clock::now() - startedAt_ < kStartTime) return WaitUntilReady();
        Say("Kamailio has not answered for 10 s; it is started anew");
        kamailio_.AskToEnd();
    });
}

void Service::OnReady() {
    isReady_ = true;
    lastStartFault_.clear();
    state_.kamailio = kRunning;
    WriteState();
    std::string where;
    for (const Endpoint& endpoint : plan_->listen)
        where += (where.empty() ? "" : ", ") + endpoint.Text();
    Say("Kamailio runs on " + where);
    if (reloadWhenReady_) ReloadLive();
    if (!hasNotified_) Notify("READY=1");
    hasNotified_ = true;
    try {
        OfferAddress();
    } catch (const Failure& fault) {
        SayOnce(lastHostFault_, fault.what());
    }
}

void Service::OnKamailioEnd() {
    ready_.cancel();
    watched_.reset();
    isReady_ = false;
    state_.process = 0;
    state_.kamailio = kNotRunning + std::string("Kamailio ") + kamailio_.LastEnd();
    if (ending_) {
        signals_.cancel();
        return WriteState();
    }
    if (restartAtOnce_) {
        restartAtOnce_ = false;
        return StartKamailio();
    }
    if (Clock::now() - startedAt_ > kRunsWell) startDelay_ = kFirstDelay;
    Say("Kamailio " + kamailio_.LastEnd() + "; it is started again");
    StartLater();
}

void Service::StartLater() {
    WriteState();
    restart_.expires_after(startDelay_);
    startDelay_ = std::min(startDelay_ * 2, kLongestDelay);
    restart_.async_wait([this](error_code error) {
        if (!error) StartKamailio();
    });
}

// ---------------------------------------------------------------- what is told

void Service::WriteState() {
    state_.accounts.clear();
    if (plan_)
        for (const auto& [user, digest] : plan_->live.at("users"))
            state_.accounts.push_back(user);
    WriteStateNow();
    ReportNow();
}

void Service::WriteStateNow() try {
    WritePrivateFile(StateFile(options_.runFolder), ToJson(state_));
    lastStateFault_.clear();
} catch (const Failure& fault) {
    SayOnce(lastStateFault_, std::string(fault.what()) + "; --status tells what was so before");
}

void Service::ReportNow() {
    if (ending_) return;
    report_.Tell(WarningsOf(state_, {lastHostFault_, lastStoreFault_, lastStateFault_}),
                 [this] { return MetricsOf(state_, counts_, RegisteredAccounts()); });
}

std::optional<std::size_t> Service::RegisteredAccounts() try {
    std::set<std::string> users;
    for (const Registration& phone : ReadRegistrations(options_.runFolder))
        users.insert(phone.user);
    lastContactsFault_.clear();
    return users.size();
} catch (const Failure& fault) {
    SayOnce(lastContactsFault_, fault.what());
    return std::nullopt;
}

// What a full disk has not taken is written as soon as it can be.
void Service::ReportFromNowOn() {
    if (!lastStoreFault_.empty()) StoreNow();
    if (!lastStateFault_.empty()) WriteStateNow();
    ReportNow();
    look_.expires_after(telephony::kReportLook);
    look_.async_wait([this](error_code error) {
        if (!error) ReportFromNowOn();
    });
}

void Service::SayFaults() {
    std::string all;
    for (const Fault& fault : state_.faults)
        all += fault.record + "\n" + fault.reason + "\n";
    if (all == lastFaults_) return;
    lastFaults_ = all;
    for (const Fault& fault : state_.faults)
        Say("left out: " + OneLine(fault.record) + ": " + OneLine(fault.reason));
}

void Service::SayOnce(std::string& last, const std::string& text) {
    if (text == last) return;
    last = text;
    Say(text);
}

// ---------------------------------------------------------------- the other tasks

int Check(const Options& options) {
    std::optional<Records> records;
    try {
        records = Host(options.hostSocket).Read();
    } catch (const Failure& fault) {
        std::cerr << "sipproxy: " << fault.what() << "; looking at the last good records\n";
        const std::optional<std::string> text = ReadWholeFile(RecordsCacheFile(options));
        if (!text) throw Failure("there are no records of an earlier time either");
        records = FromJson(*text);
    }
    const Plan plan = MakePlan(*records, IsAddressOfThisMachine, ReachOf(options));
    std::cout << CheckText(plan);
    return plan.faults.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

int TellStatus(const Options& options) {
    if (!FolderLock::IsHeld(options.runFolder))
        throw Failure("no sipproxy runs with the folder " + options.runFolder);
    const std::optional<std::string> text = ReadWholeFile(StateFile(options.runFolder));
    if (!text) throw Failure("the sipproxy of " + options.runFolder + " has told nothing yet");
    const State state = StateFromJson(*text);
    const std::vector<Registration> registrations = ReadRegistrations(options.runFolder);
    std::cout << (options.json ? StatusJson(state, registrations) : StatusText(state, registrations));
    return EXIT_SUCCESS;
}

}  // namespace proxy
