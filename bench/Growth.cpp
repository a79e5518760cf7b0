// What adding costs in a large home.
//
//     add_contact   100 contacts added to 100,000 (ours) and to 100 (reference)
//     add_group     the same with groups
//     add_route     the same with routes
//     load_state    from the text of a saved state to an agent that runs with it: once 100,000 contacts
//     (ours),
//                   and 100 times 1,000 contacts (reference)
//
// Each tells what one record took. What was added is taken out again, and what was loaded is ended, while
// nothing is measured.
#include <benchmark/benchmark.h>

#include <optional>
#include <string>
#include <vector>

#include "bench/support/Agent.h"
#include "bench/support/Contacts.h"
#include "bench/support/PerItem.h"

namespace {

constexpr int kMany = 100'000;
constexpr int kHundred = 100;
constexpr int kThousand = 1000;
constexpr int kAdded = 100;

using Messages = std::vector<dv::auto_com<ICmdMessage>>;

// An agent with many records of one kind, the commands that add some, and those that take them out again.
struct GrowingHome {
    explicit GrowingHome(const dv::auto_com<DvXML::INode>& savedState) : agent(savedState.get()) {}

    void Run(const Messages& messages) {
        for (const auto& message : messages)
            bench::ExpectDone(agent.Ui(*message));
    }

    bench::Agent agent;
    Messages add;
    Messages remove;
};

void Measure(benchmark::State& state, GrowingHome& home) {
    for (auto _ : state) {
        home.Run(home.add);
        state.PauseTiming();
        home.Run(home.remove);
        state.ResumeTiming();
    }
    bench::TellPerItem(state, kAdded);
}

template <int count>
void AddContact(benchmark::State& state) {
    static GrowingHome home(bench::SavedState(bench::MakeContacts(count)));
    if (home.add.empty()) {
        const bench::ContactBook contacts = bench::MakeContacts(count + kAdded);
        for (int id = count + kAdded; id > count; --id) {
            home.add.push_back(bench::AddMessage(contacts[static_cast<std::size_t>(id) - 1]));
            home.remove.push_back(bench::Message("deleteContact", {{"contactId", std::to_string(id)}}));
        }
    }
    Measure(state, home);
}

dv::auto_com<DvXML::INode> GroupsState(int count) {
    auto state = DvXML::CreateXmlNode("IntercomState", "");
    state->NodeAddNamedInt("nextGroupId", count + 1);
    const auto list = DvXML::CreateXmlNode("groups", "");
    for (int id = 1; id <= count; ++id) {
        const auto group = DvXML::CreateXmlNode("group", "");
        group->NodeAddNamedInt("groupId", id);
        group->NodeAddNamedValue("name", "Group " + std::to_string(id));
        list->NodeAddChild(group.get());
    }
    state->NodeAddChild(list.get());
    return state;
}

// A deleted group's id is not used again.
template <int count>
void AddGroup(benchmark::State& state) {
    static GrowingHome home(GroupsState(count));
    if (home.add.empty()) {
        for (int number = 1; number <= kAdded; ++number)
            home.add.push_back(bench::Message("addGroup", {{"name", "New group " + std::to_string(number)}}));
    }
    static int nextId = count + 1;
    for (auto _ : state) {
        home.Run(home.add);
        state.PauseTiming();
        for (int added = 0; added < kAdded; ++added)
            bench::ExpectDone(
                home.agent.Ui(*bench::Message("deleteGroup", {{"groupId", std::to_string(nextId++)}})));
        state.ResumeTiming();
    }
    bench::TellPerItem(state, kAdded);
}

std::string RouteKey(int number) {
    return "route-" + std::to_string(number);
}

dv::auto_com<DvXML::INode> RoutesState(int count) {
    auto state = DvXML::CreateXmlNode("IntercomState", "");
    const auto list = DvXML::CreateXmlNode("routes", "");
    for (int number = 1; number <= count; ++number) {
        const auto route = DvXML::CreateXmlNode("State", "");
        route->NodeAddNamedValue("key", RouteKey(number));
        list->NodeAddChild(route.get());
    }
    state->NodeAddChild(list.get());
    return state;
}

template <int count>
void AddRoute(benchmark::State& state) {
    static GrowingHome home(RoutesState(count));
    if (home.add.empty()) {
        for (int number = count + 1; number <= count + kAdded; ++number) {
            home.add.push_back(bench::Message("addRoute", {{"key", RouteKey(number)},
                                                           {"method", "INVITE"},
                                                           {"event", ""},
                                                           {"matchingPattern", "^0"},
                                                           {"rewriteExp", "sip:0@provider"},
                                                           {"order", "1"}}));
            home.remove.push_back(bench::Message("eraseRoute", {{"key", RouteKey(number)}}));
        }
    }
    Measure(state, home);
}

template <int count>
void LoadState(benchmark::State& state) {
    static const std::string text = bench::SavedState(bench::MakeContacts(count))->NodeToText();
    for (auto _ : state) {
        for (int loaded = 0; loaded < kMany; loaded += count) {
            const auto document = DvXML::CreateXmlDocument("");
            document->DocumentParse(text);
            std::optional<bench::Agent> agent(document->DocumentGetRoot());
            state.PauseTiming();
            agent.reset();
            state.ResumeTiming();
        }
    }
    bench::TellPerItem(state, kMany);
}

}  // namespace

BENCHMARK(AddContact<kMany>)->Name("add_contact/ours");
BENCHMARK(AddContact<kHundred>)->Name("add_contact/reference");
BENCHMARK(AddGroup<kMany>)->Name("add_group/ours");
BENCHMARK(AddGroup<kHundred>)->Name("add_group/reference");
BENCHMARK(AddRoute<kMany>)->Name("add_route/ours");
BENCHMARK(AddRoute<kHundred>)->Name("add_route/reference");
BENCHMARK(LoadState<kMany>)->Name("load_state/ours");
BENCHMARK(LoadState<kThousand>)->Name("load_state/reference");
