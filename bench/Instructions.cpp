// One operation, carried out a few times, for counting its instructions: unlike a time, their number hardly
// differs from one run to the next.
//
//     counted_operations              list the operations, each with how often it is carried out
//     counted_operations OPERATION    carry it out; scripts/instructions runs this under callgrind
//
// callgrind counts between the two requests in Count only. What an operation returns is given back there too.
#include <valgrind/callgrind.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "bench/support/ContactHome.h"
#include "bench/support/DeviceHome.h"

namespace {

constexpr int kContacts = 1000;
constexpr unsigned long kDevices = 1000;
constexpr int kTimes = 100;

template <class Operation>
void Count(int times, const Operation& operation) {
    CALLGRIND_TOGGLE_COLLECT;
    for (int done = 0; done < times; ++done)
        operation();
    CALLGRIND_TOGGLE_COLLECT;
}

void Persist() {
    bench::ContactHome home(kContacts);
    home.State();
    home.EditAll();
    Count(1, [&] { home.State(); });
}

void NextDocument() {
    bench::ContactHome home(kContacts);
    home.State();
    Count(1, [&] {
        home.EditNext();
        home.State();
    });
}

void Read() {
    const std::string text = bench::ContactHome(kContacts).State();
    Count(1, [&] {
        const auto document = DvXML::CreateXmlDocument("");
        if (document->DocumentParse(text) != 0) bench::GiveUp(document->DocumentGetError());
    });
}

void GetPopupTimeout() {
    bench::Agent agent;
    const auto message = bench::Message("getPopupTimeout");
    Count(kTimes, [&] { bench::ExpectDone(agent.Ui(*message)); });
}

std::string DeviceId(unsigned long number) {
    return std::to_string(bench::DeviceHome::kFirstId + number);
}

void GetDeviceState() {
    bench::DeviceHome home(kDevices);
    const auto message = bench::Message("getDeviceState", {{"idDevice", DeviceId(500)}});
    Count(kTimes, [&] { bench::ExpectDone(home.GetAgent().Ui(*message)); });
}

void SetDeviceState() {
    bench::DeviceHome home(kDevices);
    const auto message = bench::Message("setDeviceState", {{"idDevice", DeviceId(500)}, {"state", "2"}});
    Count(kTimes, [&] { bench::ExpectDone(home.GetAgent().Ui(*message)); });
}

void RegularCall() {
    bench::DeviceHome home(kDevices);
    const auto message = bench::Message(
        "SIP_REGULAR_CALL",
        {{"source", DeviceId(500)}, {"destination", DeviceId(7)}, {"video", "0"}, {"ring", "1"}});
    Count(kTimes, [&] { home.GetAgent().Plain(*message); });
}

void OnDeviceChanged() {
    bench::DeviceHome home(kDevices);
    Count(kTimes, [&] {
        home.GetAgent()->OnDeviceChanged(bench::DeviceHome::kFirstId + 500, dvIntercom::DEVICE_CURRENT_STATE);
    });
}

void GetDeviceList() {
    bench::DeviceHome home(kDevices);
    const auto message = bench::Message("getDeviceList");
    Count(1, [&] { bench::ExpectDone(home.GetAgent().Ui(*message)); });
}

// Commands that can be carried out once only: as many different ones.
void CountEach(bench::Agent& agent, const std::vector<dv::auto_com<ICmdMessage>>& messages) {
    std::size_t next = 0;
    Count(static_cast<int>(messages.size()), [&] { bench::ExpectDone(agent.Ui(*messages[next++])); });
}

void AddContact() {
    std::vector<dv::auto_com<ICmdMessage>> messages;
    for (const bench::Contact& contact : bench::MakeContacts(kContacts + kTimes))
        if (contact.id > kContacts) messages.push_back(bench::AddMessage(contact));
    bench::Agent agent(bench::SavedState(bench::MakeContacts(kContacts)).get());
    CountEach(agent, messages);
}

void AddGroup() {
    std::vector<dv::auto_com<ICmdMessage>> messages;
    for (int number = 1; number <= kTimes; ++number)
        messages.push_back(bench::Message("addGroup", {{"name", "Group " + std::to_string(number)}}));
    bench::Agent agent;
    CountEach(agent, messages);
}

struct Row {
    std::string_view name;
    void (*run)();
    int times;
};

constexpr Row kOperations[] = {
    {"persist_1000_contacts", Persist, 1},
    {"next_document", NextDocument, 1},
    {"read_1000_contacts", Read, 1},
    {"getPopupTimeout", GetPopupTimeout, kTimes},
    {"getDeviceState", GetDeviceState, kTimes},
    {"setDeviceState", SetDeviceState, kTimes},
    {"SIP_REGULAR_CALL", RegularCall, kTimes},
    {"OnDeviceChanged", OnDeviceChanged, kTimes},
    {"getDeviceList_1000_devices", GetDeviceList, 1},
    {"addContact", AddContact, kTimes},
    {"addGroup", AddGroup, kTimes},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc == 1) {
        for (const Row& row : kOperations)
            std::printf("%s %d\n", row.name.data(), row.times);
        return 0;
    }
    for (const Row& row : kOperations) {
        if (argc != 2 || row.name != argv[1]) continue;
        row.run();
        return 0;
    }
    std::fprintf(stderr, "counted_operations: name one operation of those it lists without arguments\n");
    return 2;
}
