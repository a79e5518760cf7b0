// Several clients change the agent's state, and the host is killed at any moment, again and again: every
// change that was answered is there afterwards, and every start succeeds.
//
// KILL_ROUNDS=N in the environment plays N rounds instead of 20, KILL_SEED=N repeats the random choices of a
// run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <thread>

#include "tests/model/Dice.h"
#include "tests/process/support/ProcessFixture.h"

namespace driverhost {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::Not;

constexpr std::size_t kClients = 4;
constexpr std::size_t kRecords = 6;  // of each kind, for each client
constexpr std::size_t kLongestLoad = 150;
constexpr std::size_t kLongestEnd = 40;

using Values = std::map<std::string, std::string>;  // "contact 7" to its name, "group a" to its id

unsigned int FromEnvironment(const char* name, unsigned int otherwise) {
    const char* const text = std::getenv(name);
    return text ? static_cast<unsigned int>(std::stoul(text)) : otherwise;
}

void Collect(const std::string& document, const char* form, const std::string& kind, bool swapped,
             Values& values) {
    const std::regex pattern(form);
    for (std::sregex_iterator found(document.begin(), document.end(), pattern), end; found != end; ++found)
        values[kind + (*found)[swapped ? 2 : 1].str()] = (*found)[swapped ? 1 : 2];
}

Values ReadState(const std::string& document) {
    Values values;
    Collect(document, "<contact><contactId>([0-9]+)</contactId><displayName>([^<]*)</displayName>",
            "contact ", false, values);
    Collect(document, "<group><groupId>([0-9]+)</groupId><name>([^<]*)</name>", "group ", true, values);
    Collect(document, "<service>[^<]*<name>([^<]*)</name><host>([^<]*)</host>", "service ", false, values);
    return values;
}

// A client with records of its own. It knows of each what the host has answered; when the host was killed
// before it answered, the record may also be what was asked for.
class Client {
public:
    Client(std::size_t number, std::uint64_t seed) : prefix_(std::to_string(number)), dice_(seed + number) {}

    /// Changes records until the host no longer answers.
    void Run(int port) {
        try {
            HttpConnection connection(port);
            while (Change(connection)) {
            }
        } catch (const std::runtime_error&) {
            // it was killed
        }
    }

    /// Compares what the host holds now with what the client knows, and learns it; what is wrong, or empty.
    std::string Check(const Values& found) {
        for (auto& [key, possible] : possible_) {
            const auto value = found.find(key);
            const std::string now = value == found.end() ? std::string() : value->second;
            const bool isGroup = key.starts_with("group ");
            const std::string known = isGroup && !now.empty() ? kThere : now;
            if (!possible.contains(known))
                return key + " is '" + now + "' after '" + *possible.begin() + "' was answered";
            possible = {known};
            if (isGroup) ids_[key] = now;
        }
        return {};
    }

    int Answered() const { return answered_; }
    const std::string& Trouble() const { return trouble_; }

private:
    static constexpr char kThere[] = "there";

    bool Change(HttpConnection& connection) {
        const std::string record = prefix_ + std::to_string(dice_.Below(kRecords));
        switch (dice_.Below(3)) {
            case 0:
                return ChangeContact(connection, record);
            case 1:
                return ChangeGroup(connection, record);
            default:
                return ChangeService(connection, record);
        }
    }

    bool ChangeContact(HttpConnection& connection, const std::string& record) {
        const std::string key = "contact " + record;
        const std::string form = "contactId=" + record;
        if (Known(key).empty()) return AddNamed(connection, key, "addContact", form);
        if (dice_.Coin()) return Send(connection, key, "", "deleteContact", form);
        return AddNamed(connection, key, "editContact", form);
    }

    bool AddNamed(HttpConnection& connection, const std::string& key, const char* command,
                  const std::string& form) {
        const std::string name = "name" + std::to_string(++changes_);
        return Send(connection, key, name, command, form + "&displayName=" + name);
    }

    bool ChangeGroup(HttpConnection& connection, const std::string& record) {
        const std::string key = "group g" + record;
        if (!Known(key).empty()) return Send(connection, key, "", "deleteGroup", "groupId=" + ids_[key]);
        if (!Send(connection, key, kThere, "addGroup", "name=g" + record)) return false;
        static const std::regex id("<groupId>([0-9]+)</groupId>");
        std::smatch found;
        if (std::regex_search(reply_, found, id)) ids_[key] = found[1];
        return true;
    }

    bool ChangeService(HttpConnection& connection, const std::string& record) {
        const std::string host = "host" + std::to_string(++changes_);
        return Send(connection, "service s" + record, host, "editService",
                    "name=s" + record + "&host=" + host);
    }

    const std::string& Known(const std::string& key) {
        auto& possible = possible_[key];
        if (possible.empty()) possible.insert("");
        return *possible.begin();
    }

    // False when the answer is not a success, as while the host ends.
    bool Send(HttpConnection& connection, const std::string& key, const std::string& value,
              const std::string& command, const std::string& form) {
        Known(key);
        possible_[key].insert(value);
        const HttpAnswer answer = connection.Ask("POST", "/drivers/agent/commands/" + command, form);
        if (answer.status != 200) return false;
        if (answer.body.starts_with("<fail"))
            trouble_ = command + " " + form + " was answered " + answer.body;
        possible_[key] = {value};
        reply_ = answer.body;
        ++answered_;
        return true;
    }

    const std::string prefix_;
    model::Dice dice_;
    std::map<std::string, std::set<std::string>> possible_;  // an empty text: there is no such record
    std::map<std::string, std::string> ids_;
    std::string reply_;
    std::string trouble_;
    int changes_ = 0;
    int answered_ = 0;
};

class KillLoop : public ProcessFixture {
protected:
    KillLoop() {
        WriteHome(Driver(1, "agent", "intercom_agent") +
                  Driver(101, "hall", "panel", "<key>hall</key><name>Hall</name>"));
        for (std::size_t number = 1; number <= kClients; ++number)
            clients_.emplace_back(number, seed_);
    }

    /// Starts the host and checks that everything that was answered is there.
    void StartAndCheck() {
        const auto begin = std::chrono::steady_clock::now();
        Start();
        startTime_ = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
        const HttpAnswer state = Ask("GET", "/drivers/agent/state");
        ASSERT_EQ(state.status, 200) << state.body;
        const Values found = ReadState(state.body);
        for (Client& client : clients_)
            ASSERT_EQ(client.Check(found), "") << state.body;
        EXPECT_EQ(Ask("GET", "/health").body, "<health>ok</health>");
        EXPECT_THAT(Log(), Not(HasSubstr(" 3 ")));
    }

    /// All clients change records for a while; then `end` ends the host.
    template <class End>
    void Load(End end) {
        std::vector<std::thread> threads;
        for (Client& client : clients_)
            threads.emplace_back([this, &client] { client.Run(port_); });
        Wait(dice_.Below(kLongestLoad));
        end();
        for (std::thread& thread : threads)
            thread.join();
    }

    static void Wait(std::size_t time) { std::this_thread::sleep_for(milliseconds(time)); }

    void KillDuringStart() {
        Launch();
        Wait(dice_.Below(static_cast<std::size_t>(startTime_.count()) + 5));
        Kill();
    }

    void KillDuringEnd() {
        host_->Signal(SIGTERM);
        Wait(dice_.Below(kLongestEnd));
        Kill();
    }

    void PlayRound(unsigned int round) {
        switch (round % 4) {
            case 0:
                KillDuringStart();
                break;
            case 1:
                StartAndCheck();
                Load([this] { KillDuringEnd(); });
                break;
            default:
                StartAndCheck();
                Load([this] { Kill(); });
        }
    }

    int Answered() const {
        int sum = 0;
        for (const Client& client : clients_)
            sum += client.Answered();
        return sum;
    }

    const unsigned int seed_ = FromEnvironment("KILL_SEED", std::random_device()());
    model::Dice dice_{seed_};
    std::vector<Client> clients_;
    milliseconds startTime_{50};
};

TEST_F(KillLoop, WhatWasAnsweredIsThereAfterEveryKillAndNoStartFails) {
    const unsigned int rounds = FromEnvironment("KILL_ROUNDS", 20);
    std::cout << "KILL_SEED=" << seed_ << "\n";
    const auto end = std::chrono::steady_clock::now() + test::kPatience;
    const auto isTooBusy = [&] { return Answered() == 0 && std::chrono::steady_clock::now() < end; };
    for (unsigned int round = 0; round < rounds || isTooBusy(); ++round) {
        SCOPED_TRACE("KILL_SEED=" + std::to_string(seed_) + ", round " + std::to_string(round));
        PlayRound(round);
        if (HasFailure()) return;
    }
    StartAndCheck();
    for (const Client& client : clients_)
        EXPECT_EQ(client.Trouble(), "");
    EXPECT_EQ(Stop(), 0);
    std::cout << Answered() << " changes were answered in " << rounds << " rounds\n";
    EXPECT_GT(Answered(), 0);
}

}  // namespace
}  // namespace driverhost
