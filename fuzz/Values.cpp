#include "fuzz/Values.h"

#include <map>

#include "tests/model/Pools.h"

namespace fuzz {
namespace {

namespace pools = model::pools;

constexpr std::size_t kLongestText = 24;
constexpr std::size_t kLongestDocument = 100;
constexpr std::size_t kMostItems = 14;  // more than the phones that keep their order

std::string DeviceIdText(ByteReader& bytes) {
    return bytes.Byte() < 200 ? std::to_string(DeviceId(bytes)) : bytes.Pick(pools::kIdTexts);
}

std::string NumberText(ByteReader& bytes) {
    return bytes.Byte() < 128 ? std::to_string(bytes.Below(6)) : bytes.Pick(pools::kNumberTexts);
}

std::string GroupName(ByteReader& bytes) {
    return bytes.Pick(pools::kGroupNames);
}

std::string Address(ByteReader& bytes) {
    return bytes.Pick(pools::kAddresses);
}

std::string IdList(ByteReader& bytes) {
    std::string list = "<ids>";
    for (std::size_t count = bytes.Below(kMostItems); count > 0; --count)
        list.append("<id>").append(DeviceIdText(bytes)).append("</id>");
    return list + "</ids>";
}

std::string Phones(ByteReader& bytes) {
    std::string list = "<phones>";
    for (std::size_t count = bytes.Below(kMostItems); count > 0; --count) {
        const std::string& kind = bytes.Pick(pools::kKinds);
        list.append("<" + kind + (bytes.Flag() ? " speedDial=\"true\">" : ">"));
        list.append(NumberText(bytes)).append("</" + kind + ">");
    }
    return list + "</phones>";
}

using Maker = std::string (*)(ByteReader&);

Maker MakerFor(const std::string& parameter) {
    static const std::map<std::string, Maker> makers = {
        {"groupId", &NumberText},   {"name", &GroupName},
        {"groupName", &GroupName},  {"idDevice", &DeviceIdText},
        {"source", &DeviceIdText},  {"destination", &DeviceIdText},
        {"xml", &IdList},           {"destinations", &IdList},
        {"timeout", &NumberText},   {"key", &Key},
        {"index", &NumberText},     {"order", &NumberText},
        {"mask", &NumberText},      {"port", &NumberText},
        {"family", &NumberText},    {"transport", &NumberText},
        {"video", &NumberText},     {"ring", &NumberText},
        {"contactId", &NumberText}, {"id", &NumberText},
        {"phoneType", &Phones},     {"address", &Address},
        {"domain", &Address},       {"host", &Address}};
    const auto found = makers.find(parameter);
    return found == makers.end() ? &Text : found->second;
}

}  // namespace

unsigned long DeviceId(ByteReader& bytes) {
    return bytes.Pick(pools::kDeviceIds);
}

std::string Text(ByteReader& bytes) {
    const unsigned int way = bytes.Byte();
    if (way < 128) return bytes.Pick(pools::kCarried);
    return way < 160 ? bytes.Pick(pools::kNotCarried) : bytes.Text(kLongestText);
}

std::string Key(ByteReader& bytes) {
    return bytes.Pick(pools::kKeys);
}

std::string Value(ByteReader& bytes, const std::string& parameter) {
    return bytes.Byte() < 230 ? MakerFor(parameter)(bytes) : bytes.Text(kLongestDocument);
}

}  // namespace fuzz
