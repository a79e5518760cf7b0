// Start, end, devices and checks; the steps are in SequenceSteps.cpp.
#include "fuzz/SequenceHome.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sstream>

#include "fuzz/StateDocument.h"
#include "fuzz/Values.h"

namespace fuzz {
namespace {

// They stand in brackets behind the help: "what it does (key|index ...)".
std::vector<std::string> ParametersIn(const std::string& help) {
    if (!help.ends_with(')')) return {};
    std::string names = help.substr(help.rfind('(') + 1);
    names.pop_back();
    std::replace(names.begin(), names.end(), '|', ' ');
    std::istringstream words(names);
    return {std::istream_iterator<std::string>(words), {}};
}

}  // namespace

void SequenceHome::Run() {
    Create();
    Initialize();
    while (!bytes_.IsAtEnd()) {
        try {
            Step();
        } catch (const DriverTrouble&) {
            // The host logs it and goes on.
        }
        CheckWhatLeftTheAgent();
    }
    RequireSettles(State());
    TearDown();
}

test::FakeDevice& SequenceHome::Device(std::size_t slot) {
    if (slots_[slot]) return *slots_[slot];
    slots_[slot] = &NewDevice(DeviceId(bytes_), 1, "d" + std::to_string(slot));
    slots_[slot]->deviceKey = Key(bytes_);
    host.drivers.push_back(slots_[slot]);
    slots_[slot]->Every("requestToAddDevice", [this, slot] {
        if (slots_[slot]) Register(slot, slots_[slot]->id);
    });
    return *slots_[slot];
}

void SequenceHome::Register(std::size_t slot, unsigned long id) {
    ids_.insert(id);
    Agent().AddIntercomDevice(id, slots_[slot]);
}

bool SequenceHome::IsRegistered(const ISupportIntercom* device) {
    return std::any_of(ids_.begin(), ids_.end(),
                       [&](unsigned long id) { return Agent().GetIntercomDevice(id) == device; });
}

// What is called on the way may throw, delete the device or register it once more.
void SequenceHome::Delete(std::size_t slot) {
    test::FakeDevice* const device = slots_[slot];
    if (!device) return;
    for (const unsigned long id : std::set<unsigned long>(ids_))
        if (Agent().GetIntercomDevice(id) == device) Agent().OnDeviceRemoved(id);
    if (slots_[slot] != device || IsRegistered(device)) return;
    slots_[slot] = nullptr;
    std::erase(host.drivers, device);
    DeleteDevice(*device);
}

test::Recorder::Action SequenceHome::Reaction(std::size_t slot) {
    const std::size_t other = bytes_.Below(kSlots);
    const unsigned long id = DeviceId(bytes_);
    const std::string key = Key(bytes_);
    switch (bytes_.Below(10)) {
        case 0:
            return [this, id] { Agent().OnDeviceRemoved(id); };
        case 1:
            return [this, slot] { Delete(slot); };
        case 2:
            return [this, other] { Delete(other); };
        case 3:
            return [this, slot, id] {
                if (slots_[slot]) Register(slot, id);
            };
        case 4:
            return [this, other, id] {
                if (slots_[other]) Register(other, id);
            };
        case 5:
            return [this, id] { Agent().OnDeviceChanged(id, dvIntercom::DEVICE_CHANGED); };
        case 6:
            return [this, key] { Agent().AddRecentContact(key, key, "now", "1", true, false); };
        case 7:
            return [this, key] { Agent().EndOfflineSession(key, "down"); };
        case 8:
            return [this, key] { Ui("setSipProxyIP", {{"address", key}}); };
        default:
            return [] { throw DriverTrouble("a driver fails"); };
    }
}

void SequenceHome::CheckReply(const char* what, const dv::auto_com<DvXML::INode>& element) {
    if (element) RequireXml(what, element->NodeToText());
}

void SequenceHome::CheckWhatLeftTheAgent() {
    static const bool told = std::getenv("FUZZ_TRACE") != nullptr;
    constexpr std::string_view event = "ui ";
    for (const std::string& line : Take()) {
        if (told) std::puts(line.c_str());
        if (line.starts_with(event)) RequireXml("an event", std::string_view(line).substr(event.size()));
    }
}

SequenceHome::Commands SequenceHome::Listed(const std::vector<CommandInfo>& commands) {
    Commands listed;
    for (const CommandInfo& info : commands)
        listed.push_back({info.name, ParametersIn(info.help)});
    return listed;
}

const SequenceHome::Commands& SequenceHome::UiCommands() {
    static const Commands commands = Listed(Driver().GetUICmdDispatcher().Commands());
    return commands;
}

const SequenceHome::Commands& SequenceHome::PlainCommands() {
    static const Commands commands = Listed(Driver().GetCmdDispatcher().Commands());
    return commands;
}

}  // namespace fuzz
