// Writing the saved state, against pugixml.
//
//     persist_N       GetPersistState and the text of what it returns, with N contacts, all changed since the
//     last
//                     document (not measured): the whole of it is made anew
//     next_document   one contact of 1,000 edited, then the same: what every change of a home costs
//
// The reference builds the same document in pugixml from the same values, held in plain structures, and
// writes it without white space into a string; before anything is measured both texts are compared. Both
// sides give back what they took.
#include <benchmark/benchmark.h>

#include <pugixml.hpp>
#include <string>

#include "bench/support/ContactHome.h"

namespace {

class StringWriter final : public pugi::xml_writer {
public:
    void write(const void* data, std::size_t size) override {
        text.append(static_cast<const char*>(data), size);
    }

    std::string text;
};

template <class Value>
void AddNamed(pugi::xml_node& parent, const char* name, const Value& value) {
    parent.append_child(name).text().set(value);
}

void AddContact(pugi::xml_node& list, const bench::Contact& contact) {
    pugi::xml_node element = list.append_child("contact");
    AddNamed(element, "contactId", contact.id);
    AddNamed(element, "displayName", contact.displayName.c_str());
    AddNamed(element, "firstName", contact.firstName.c_str());
    AddNamed(element, "lastName", contact.lastName.c_str());
    pugi::xml_node phones = element.append_child("phoneType");
    for (const bench::Phone& phone : contact.phones) {
        pugi::xml_node number = phones.append_child(phone.kind.c_str());
        number.append_attribute("speedDial").set_value(phone.speedDial);
        number.text().set(phone.number.c_str());
    }
}

std::string ReferenceState(const bench::ContactBook& contacts) {
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("IntercomState");
    AddNamed(root, "version", "0.0.0.1");
    AddNamed(root, "nextGroupId", 1);
    AddNamed(root, "popupTimeout", 20);
    root.append_child("order").append_child("devices");
    root.append_child("groups");
    pugi::xml_node list = root.append_child("contacts");
    for (const bench::Contact& contact : contacts)
        AddContact(list, contact);
    AddNamed(root, "maxRecentCalls", 50);
    for (const char* const name : {"routes", "acls", "configs", "services"})
        root.append_child(name);
    StringWriter writer;
    document.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
    return std::move(writer.text);
}

// Made once for each size: a benchmark's function runs several times.
template <int count>
bench::ContactHome& Home() {
    static bench::ContactHome home(count);
    return home;
}

template <int count>
const bench::ContactBook& Contacts() {
    static const bench::ContactBook contacts = [] {
        bench::ContactBook made = bench::MakeContacts(count);
        if (ReferenceState(made) != bench::ContactHome(count).State())
            bench::GiveUp("the two sides write different documents");
        return made;
    }();
    return contacts;
}

template <int count>
void Persist(benchmark::State& state) {
    bench::ContactHome& home = Home<count>();
    for (auto _ : state) {
        state.PauseTiming();
        home.EditAll();
        state.ResumeTiming();
        benchmark::DoNotOptimize(home.State());
    }
}

template <int count>
void PersistReference(benchmark::State& state) {
    const bench::ContactBook& contacts = Contacts<count>();
    for (auto _ : state)
        benchmark::DoNotOptimize(ReferenceState(contacts));
}

void NextDocument(benchmark::State& state) {
    bench::ContactHome& home = Home<1000>();
    benchmark::DoNotOptimize(home.State());
    for (auto _ : state) {
        home.EditNext();
        benchmark::DoNotOptimize(home.State());
    }
}

}  // namespace

BENCHMARK(Persist<1000>)->Name("persist_1000/ours");
BENCHMARK(PersistReference<1000>)->Name("persist_1000/reference");
BENCHMARK(Persist<10000>)->Name("persist_10000/ours");
BENCHMARK(PersistReference<10000>)->Name("persist_10000/reference");
BENCHMARK(NextDocument)->Name("next_document/ours");
BENCHMARK(PersistReference<1000>)->Name("next_document/reference");
