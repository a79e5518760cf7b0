#include "drivers/calls/DeviceConfig.h"

#include <set>

#include "drivers/calls/Values.h"

namespace {

constexpr std::size_t kLongestUser = 64;
// What a SIP address may carry left of the "@" without escapes, less what only confuses.
constexpr std::string_view kUserLetters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.+~!*";

}  // namespace

void ReadChildren(const DvXML::INode& element, const ConfigReaders& readers, std::string_view repeated) {
    const std::string place(element.NodeGetName());
    std::set<std::string> seen;
    for (const DvXML::INode* const child : element.NodeChildren()) {
        const std::string name(child->NodeGetName());
        const auto reader = readers.find(name);
        if (reader == readers.end()) {
            std::string known;
            for (const auto& [row, read] : readers)
                known += (known.empty() ? "" : ", ") + row;
            throw ConfigError("<" + name + "> means nothing in <" + place + ">; it takes " + known);
        }
        if (!seen.insert(name).second && name != repeated)
            throw ConfigError("<" + name + "> stands twice in <" + place + ">");
        reader->second(*child);
    }
}

std::string TextOf(const DvXML::INode& element) {
    return std::string(element.NodeGetText());
}

std::function<void(const DvXML::INode&)> IntoText(std::string& out) {
    return [&out](const DvXML::INode& element) { out = TextOf(element); };
}

std::function<void(const DvXML::INode&)> IntoFlag(bool& out) {
    return [&out](const DvXML::INode& element) {
        const auto flag = Values::ReadFlag(element.NodeGetText());
        if (!flag)
            throw ConfigError("<" + std::string(element.NodeGetName()) + "> must be true or false, not \"" +
                              TextOf(element) + "\"");
        out = *flag;
    };
}

std::function<void(const DvXML::INode&)> IntoTime(std::chrono::milliseconds& out,
                                                  std::chrono::milliseconds min,
                                                  std::chrono::milliseconds max) {
    return [&out, min, max](const DvXML::INode& element) {
        const auto time = Values::ReadWhole(element.NodeGetText(), min.count(), max.count());
        if (!time)
            throw ConfigError("<" + std::string(element.NodeGetName()) + "> must be a number from " +
                              std::to_string(min.count()) + " to " + std::to_string(max.count()) +
                              " (milliseconds), not \"" + TextOf(element) + "\"");
        out = std::chrono::milliseconds(*time);
    };
}

ConfigReaders DeviceConfig::Readers() {
    ConfigReaders readers = {
        {"key", IntoText(key)},
        {"name", IntoText(name)},
        {"user", IntoText(user)},
        {"camera", IntoFlag(camera)},
        {"display", IntoFlag(display)},
        {"mayBeMonitored", IntoFlag(mayBeMonitored)},
        {"callControl", IntoText(callControl)},
    };
    for (const DeviceSettings::Row& row : DeviceSettings::Rows())
        readers[row.name] = [this, &row](const DvXML::INode& setting) {
            if (const std::string fault = settings.Change(row, TextOf(setting)); !fault.empty())
                throw ConfigError(fault);
        };
    return readers;
}

void DeviceConfig::Complete() {
    if (key.empty()) throw ConfigError("<key> is missing; it names the device, and its SIP user");
    if (name.empty()) name = key;
    if (user.empty()) user = key;
    if (user.find_first_not_of(kUserLetters) != std::string::npos || user.size() > kLongestUser)
        throw ConfigError("the SIP user \"" + user + "\" must be up to " + std::to_string(kLongestUser) +
                          " letters, digits or - _ . + ~ ! *; give <user>");
    if (name.size() > telephony::kLongestName)
        throw ConfigError("<name> is longer than " + std::to_string(telephony::kLongestName) + " bytes");
}
