// The smallest commands: what the way from a message to its handler costs.
//
//     get_popup_timeout        getPopupTimeout, from a message that there is to the reply
//     small_get_device_state   getDeviceState of the one device, likewise
//
// The reference does what the handler does, called directly. What counts is the difference of both.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/support/DeviceHome.h"
#include "host/interfaces/ICmdMessage.h"

namespace {

void GetPopupTimeout(benchmark::State& state) {
    bench::Agent agent;
    const auto message = bench::Message("getPopupTimeout");
    for (auto _ : state)
        benchmark::DoNotOptimize(agent.Ui(*message));
}

void GetPopupTimeoutReference(benchmark::State& state) {
    bench::Agent agent;
    for (auto _ : state)
        benchmark::DoNotOptimize(DvXML::CreateXmlNode("timeout", agent->GetPopupTimeout()));
}

void GetDeviceState(benchmark::State& state) {
    bench::DeviceHome home(1);
    const auto message =
        bench::Message("getDeviceState", {{"idDevice", std::to_string(bench::DeviceHome::kFirstId)}});
    for (auto _ : state)
        benchmark::DoNotOptimize(home.GetAgent().Ui(*message));
}

void GetDeviceStateReference(benchmark::State& state) {
    bench::DeviceHome home(1);
    const auto message =
        bench::Message("getDeviceState", {{"idDevice", std::to_string(bench::DeviceHome::kFirstId)}});
    for (auto _ : state) {
        ISupportIntercom* const device = home.GetAgent()->getIntercomDevice(message->GetULong("idDevice"));
        benchmark::DoNotOptimize(device->toXml(dvIntercom::DEVICE_CURRENT_STATE));
    }
}

}  // namespace

BENCHMARK(GetPopupTimeout)->Name("get_popup_timeout/ours");
BENCHMARK(GetPopupTimeoutReference)->Name("get_popup_timeout/reference");
BENCHMARK(GetDeviceState)->Name("small_get_device_state/ours");
BENCHMARK(GetDeviceStateReference)->Name("small_get_device_state/reference");
