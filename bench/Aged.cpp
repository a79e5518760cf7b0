// Writing and reading a saved state in a heap that has lived: persist_1000 and read_1000 (see XmlWrite.cpp
// and XmlRead.cpp) after an agent carried out 1,000,000 mixed commands of all subjects, drawn with a fixed
// seed.
//
//     persist_aged   GetPersistState and its text, with 1,000 contacts that were all changed before
//     read_aged      that text to a tree
//
// The reference is the same in a fresh process, so each side needs a process of its own:
//
//     bench_aged --benchmark_filter=/ours
//     bench_aged --benchmark_filter=/reference
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>

#include "bench/support/ContactHome.h"
#include "bench/support/DeviceHome.h"

namespace {

constexpr int kCommands = 1'000'000;
constexpr int kContacts = 1000;
constexpr unsigned long kDevices = 100;
/// Groups, routes and the like have as many different names or keys: about half of them are there at any
/// time.
constexpr unsigned long kNames = 200;
/// So often the host asks for a document or a user interface for a whole list.
constexpr int kCommandsForADocument = 1000;

// Plays the commands of a household. It goes on living beside what is measured, and what it holds lies
// between.
class Life {
public:
    Life() {
        for (int played = 1; played <= kCommands; ++played) {
            PlayOne();
            if (played % kCommandsForADocument == 0) benchmark::DoNotOptimize(home_.GetAgent().State());
        }
    }

private:
    void PlayOne();
    void PlayContact();
    void PlayGroup();
    void PlaySipRecord();
    void PlayDevice();
    void PlayRecentCall();

    unsigned long Draw(unsigned long bound) { return random_() % bound; }
    std::string Name() { return "name " + std::to_string(Draw(kNames)); }
    std::string DeviceId() { return std::to_string(bench::DeviceHome::kFirstId + Draw(kDevices)); }
    // What is refused, as a household's double taps are, is part of life.
    void Ui(const dv::auto_com<ICmdMessage>& message) {
        benchmark::DoNotOptimize(home_.GetAgent().Ui(*message));
    }

    std::mt19937 random_;
    unsigned long newestGroup_ = 0;
    bench::DeviceHome home_{kDevices};
    const std::array<bench::ContactBook, 2> editions_{bench::MakeContacts(kContacts),
                                                      bench::MakeContacts(kContacts, 1)};
};

void Life::PlayOne() {
    switch (Draw(5)) {
        case 0:
            return PlayContact();
        case 1:
            return PlayGroup();
        case 2:
            return PlaySipRecord();
        case 3:
            return PlayDevice();
        default:
            return PlayRecentCall();
    }
}

void Life::PlayContact() {
    const bench::Contact& contact = editions_[Draw(2)][Draw(kContacts)];
    switch (Draw(3)) {
        case 0:
            return Ui(bench::AddMessage(contact));
        case 1:
            return Ui(bench::EditMessage(contact));
        default:
            return Ui(bench::Message("deleteContact", {{"contactId", std::to_string(contact.id)}}));
    }
}

// Ids of groups grow without end, so one near the newest is drawn.
void Life::PlayGroup() {
    const std::string id = std::to_string(newestGroup_ - Draw(std::min(newestGroup_ + 1, kNames)));
    switch (Draw(4)) {
        case 0: {
            const auto group = home_.GetAgent().Ui(*bench::Message("addGroup", {{"name", Name()}}));
            if (group->NodeGetName() == "group") ++newestGroup_;
            return;
        }
        case 1:
            return Ui(bench::Message(
                "setGroupState",
                {{"groupId", id}, {"name", Name()}, {"xml", "<d><i>" + DeviceId() + "</i><i>7</i></d>"}}));
        case 2:
            return Ui(bench::Message("getGroup", {{"groupId", id}}));
        default:
            return Ui(bench::Message("deleteGroup", {{"groupId", id}}));
    }
}

void Life::PlaySipRecord() {
    constexpr std::array kAdd{"addRoute", "addAcl", "addConfig"};
    constexpr std::array kErase{"eraseRoute", "eraseAcl", "eraseConfig"};
    const unsigned long kind = Draw(4);
    const bool add = Draw(2) == 0;
    if (kind == kAdd.size())
        return Ui(bench::Message(add ? "editService" : "removeService",
                                 {{"name", Name()}, {"host", "sip.example"}}));
    Ui(bench::Message(add ? kAdd[kind] : kErase[kind],
                      {{"key", Name()}, {"domain", "home.example"}, {"port", "5060"}}));
}

void Life::PlayDevice() {
    switch (Draw(4)) {
        case 0:
            return Ui(bench::Message("setDeviceState", {{"idDevice", DeviceId()}, {"state", "2"}}));
        case 1:
            return Ui(bench::Message("getDeviceState", {{"idDevice", DeviceId()}}));
        case 2:
            return home_.GetAgent().Plain(
                *bench::Message("SIP_REGULAR_CALL", {{"source", DeviceId()}, {"destination", DeviceId()}}));
        default:
            return home_.GetAgent()->OnDeviceChanged(bench::DeviceHome::kFirstId, dvIntercom::DEVICE_DND);
    }
}

void Life::PlayRecentCall() {
    const std::string name = Name();
    if (Draw(2) == 0)
        return home_.GetAgent()->AddRecentContact(name, name + "@home", "12:00", "60", true, false);
    Ui(bench::Message("deleteRecentContact", {{"id", std::to_string(Draw(kNames))}}));
}

void BeAged() {
    static const Life life;
}

bench::ContactHome& Home() {
    static bench::ContactHome home(kContacts);
    return home;
}

// Only the first benchmark of a process says how the process is to be.
void Begin(bool aged) {
    static const bool processIsAged = aged;
    if (aged != processIsAged)
        bench::GiveUp("a process is either aged or fresh: run with --benchmark_filter=/ours or =/reference");
    if (aged) BeAged();
}

template <bool aged>
void Persist(benchmark::State& state) {
    Begin(aged);
    for (auto _ : state) {
        state.PauseTiming();
        Home().EditAll();
        state.ResumeTiming();
        benchmark::DoNotOptimize(Home().State());
    }
}

template <bool aged>
void Read(benchmark::State& state) {
    Begin(aged);
    static const std::string text = Home().State();
    for (auto _ : state) {
        const auto document = DvXML::CreateXmlDocument("");
        if (document->DocumentParse(text) != 0) bench::GiveUp(document->DocumentGetError());
        benchmark::DoNotOptimize(document->DocumentGetRoot());
    }
}

}  // namespace

BENCHMARK(Persist<true>)->Name("persist_aged/ours");
BENCHMARK(Persist<false>)->Name("persist_aged/reference");
BENCHMARK(Read<true>)->Name("read_aged/ours");
BENCHMARK(Read<false>)->Name("read_aged/reference");
