// What grows with the number of devices, and what must not.
//
// One device of many; 1,000 operations on devices drawn at random, of 100,000 (ours) and of 10 (reference):
//
//     regular_call       SIP_REGULAR_CALL from one device to another, up to the caller's StartSipCall
//     get_device_state   getDeviceState
//     device_changed     OnDeviceChanged, as a driver calls it
//
// All devices; once with 100,000 devices (ours), and 1,000 times with 100 devices (reference), so that both
// sides see as many devices and their times compare as those of one device:
//
//     device_list     getDeviceList
//     broadcast_all   SIP_BROADCAST_CALL from the first device to all
//     room_rename     the system event of a room's new name, after which every device is told and announced
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/support/DeviceHome.h"
#include "bench/support/PerItem.h"

namespace {

constexpr unsigned long kMany = 100'000;
constexpr unsigned long kFew = 10;
constexpr unsigned long kHundred = 100;
constexpr std::size_t kOperations = 1000;
constexpr unsigned long kFirstId = bench::DeviceHome::kFirstId;

// Made once for each size: a benchmark's function runs several times.
template <unsigned long devices>
bench::DeviceHome& Home() {
    static bench::DeviceHome home(devices);
    return home;
}

using Messages = std::vector<dv::auto_com<ICmdMessage>>;

template <unsigned long devices>
void RegularCall(benchmark::State& state) {
    bench::DeviceHome& home = Home<devices>();
    Messages messages;
    unsigned long source = kFirstId;
    for (const unsigned long destination : home.DrawIds(kOperations)) {
        messages.push_back(bench::Message("SIP_REGULAR_CALL", {{"source", std::to_string(source)},
                                                               {"destination", std::to_string(destination)},
                                                               {"video", "0"},
                                                               {"ring", "1"}}));
        source = destination;
    }
    const std::size_t before = home.GetDevice(kFirstId).Calls();
    for (auto _ : state) {
        for (const auto& message : messages)
            home.GetAgent().Plain(*message);
    }
    if (home.GetDevice(source).Calls() + home.GetDevice(kFirstId).Calls() == before)
        bench::GiveUp("nobody was called");
    bench::TellPerItem(state, kOperations);
}

template <unsigned long devices>
void GetDeviceState(benchmark::State& state) {
    bench::DeviceHome& home = Home<devices>();
    Messages messages;
    for (const unsigned long id : home.DrawIds(kOperations))
        messages.push_back(bench::Message("getDeviceState", {{"idDevice", std::to_string(id)}}));
    for (auto _ : state) {
        for (const auto& message : messages)
            bench::ExpectDone(home.GetAgent().Ui(*message));
    }
    bench::TellPerItem(state, kOperations);
}

template <unsigned long devices>
void DeviceChanged(benchmark::State& state) {
    bench::DeviceHome& home = Home<devices>();
    const std::vector<unsigned long> ids = home.DrawIds(kOperations);
    for (auto _ : state) {
        for (const unsigned long id : ids)
            home.GetAgent()->OnDeviceChanged(id, dvIntercom::DEVICE_CURRENT_STATE);
    }
    bench::TellPerItem(state, kOperations);
}

template <unsigned long devices>
void DeviceList(benchmark::State& state) {
    bench::DeviceHome& home = Home<devices>();
    const auto message = bench::Message("getDeviceList");
    if (home.GetAgent().Ui(*message)->NodeChildCount() != devices) bench::GiveUp("devices are missing");
    for (auto _ : state) {
        for (unsigned long seen = 0; seen < kMany; seen += devices)
            benchmark::DoNotOptimize(home.GetAgent().Ui(*message));
    }
    bench::TellPerItem(state, kMany);
}

template <unsigned long devices>
void BroadcastAll(benchmark::State& state) {
    bench::DeviceHome& home = Home<devices>();
    const auto destinations = DvXML::CreateXmlNode("destinations", "");
    for (unsigned long id = kFirstId; id < kFirstId + devices; ++id)
        destinations->NodeAddNamedULong("id", id);
    const auto message = bench::Message("SIP_BROADCAST_CALL", {{"source", std::to_string(kFirstId)},
                                                               {"destinations", destinations->NodeToText()}});
    const std::size_t before = home.GetDevice(kFirstId).Calls();
    home.GetAgent().Plain(*message);
    if (home.GetDevice(kFirstId).Calls() != before + devices - 1)
        bench::GiveUp("not all devices were called");
    for (auto _ : state) {
        for (unsigned long seen = 0; seen < kMany; seen += devices)
            home.GetAgent().Plain(*message);
    }
    bench::TellPerItem(state, kMany);
}

dv::auto_com<DvXML::INode> RoomRenamed() {
    auto event = DvXML::CreateXmlNode("event", "");
    event->NodeAddNamedValue("name", "OnItemNameChanged");
    for (const char* const name : {"iditem", "idroom"}) {
        const auto parameter = DvXML::CreateXmlNode("param", 4711);
        parameter->NodeAddNamedValue("name", name);
        event->NodeAddChild(parameter.get());
    }
    return event;
}

template <unsigned long devices>
void RoomRename(benchmark::State& state) {
    bench::DeviceHome& home = Home<devices>();
    const auto event = RoomRenamed();
    for (auto _ : state) {
        for (unsigned long seen = 0; seen < kMany; seen += devices)
            home.GetAgent()->OnSystemEvent(*event);
    }
    bench::TellPerItem(state, kMany);
}

}  // namespace

BENCHMARK(RegularCall<kMany>)->Name("regular_call/ours");
BENCHMARK(RegularCall<kFew>)->Name("regular_call/reference");
BENCHMARK(GetDeviceState<kMany>)->Name("get_device_state/ours");
BENCHMARK(GetDeviceState<kFew>)->Name("get_device_state/reference");
BENCHMARK(DeviceChanged<kMany>)->Name("device_changed/ours");
BENCHMARK(DeviceChanged<kFew>)->Name("device_changed/reference");
BENCHMARK(DeviceList<kMany>)->Name("device_list/ours");
BENCHMARK(DeviceList<kHundred>)->Name("device_list/reference");
BENCHMARK(BroadcastAll<kMany>)->Name("broadcast_all/ours");
BENCHMARK(BroadcastAll<kHundred>)->Name("broadcast_all/reference");
BENCHMARK(RoomRename<kMany>)->Name("room_rename/ours");
BENCHMARK(RoomRename<kHundred>)->Name("room_rename/reference");
