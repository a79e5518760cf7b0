#include "drivers/panel/PanelConfig.h"

#include <algorithm>
#include <limits>

#include "drivers/calls/Values.h"
#include "host/glue/Numbers.h"

using namespace dvIntercom;

namespace {

template <class Number>
std::string RangeFault() {
    using Limits = std::numeric_limits<Number>;
    return "a number from " + std::to_string(Limits::min()) + " to " + std::to_string(Limits::max());
}

// Strict reading by the type of the member. Returns what was expected; empty when `out` was set.
std::string ReadStrictly(std::string& out, const std::string& text) {
    out = text;
    return "";
}

std::string ReadStrictly(bool& out, const std::string& text) {
    const std::optional<bool> flag = Values::ReadFlag(text);
    if (!flag) return "true or false";
    out = *flag;
    return "";
}

template <class Number>
std::string ReadStrictly(Number& out, const std::string& text) {
    using Limits = std::numeric_limits<Number>;
    const std::optional<std::int64_t> number = Values::ReadWhole(text, Limits::min(), Limits::max());
    if (!number) return RangeFault<Number>();
    out = static_cast<Number>(*number);
    return "";
}

// Reading that never fails, for a value in the home file whose fault has been reported.
void ReadLeniently(std::string& out, const std::string& text) {
    out = text;
}

void ReadLeniently(bool& out, const std::string& text) {
    out = dv::ParseBool(text);
}

template <class Number>
void ReadLeniently(Number& out, const std::string& text) {
    using Limits = std::numeric_limits<Number>;
    out = static_cast<Number>(std::clamp<int>(dv::ParseInt(text), Limits::min(), Limits::max()));
}

}  // namespace

const std::vector<PanelConfig::Row>& PanelConfig::Rows() {
    static const std::vector<Row> rows = {
        {"key", &PanelConfig::key},
        {"name", &PanelConfig::name},
        {"version", &PanelConfig::version},
        {"doorStation", &PanelConfig::doorStation},
        {"thirdParty", &PanelConfig::thirdParty},
        {"camera", &PanelConfig::camera},
        {"display", &PanelConfig::display},
        {"answerWithVideo", &PanelConfig::answerWithVideo, DEVICE_SEND_VIDEO},
        {"dnd", &PanelConfig::dnd, DEVICE_DND},
        {"autoAnswer", &PanelConfig::autoAnswer, DEVICE_AUTO_ANSWER},
        {"monitorMode", &PanelConfig::monitorMode, DEVICE_MONITOR_MODE},
        {"excludeFromNav", &PanelConfig::excludeFromNav, DEVICE_EXCLUDE_NAV},
        {"ringDoorbell", &PanelConfig::ringDoorbell, DEVICE_RING_TONE},
        {"speakerVolume", &PanelConfig::speakerVolume, DEVICE_VOLUME},
        {"currentState", &PanelConfig::currentState, DEVICE_CURRENT_STATE},
        {"registerAtStart", &PanelConfig::registerAtStart},
        {"answerRequests", &PanelConfig::answerRequests},
        {"simulateCalls", &PanelConfig::simulateCalls},
    };
    return rows;
}

const PanelConfig::Row* PanelConfig::FindRow(std::string_view name) {
    const auto& rows = Rows();
    const auto found =
        std::find_if(rows.begin(), rows.end(), [name](const Row& row) { return row.name == name; });
    return found == rows.end() ? nullptr : &*found;
}

std::string PanelConfig::Names() {
    std::string names;
    for (const Row& row : Rows())
        names.append(names.empty() ? "" : ", ").append(row.name);
    return names;
}

void PanelConfig::Read(const DvXML::INode& config, const std::function<void(const std::string&)>& report) {
    for (DvXML::INode* const child : config.NodeChildren()) {
        const std::string element(child->NodeGetName());
        const std::string text(child->NodeGetText());
        const Row* const row = FindRow(element);
        if (element == "buttons") {
            if (!buttons) buttons = dv::auto_com<DvXML::INode>::share(child);
        } else if (!row) {
            report("config: <" + element + "> means nothing to a panel; it knows " + Names() + ", buttons");
        } else if (config.NodeFindChild(element) != child) {
            report("config: <" + element + "> stands there twice; the first one counts");
        } else if (const std::string fault = Change(*row, text); !fault.empty()) {
            std::visit([&](auto member) { ReadLeniently(this->*member, text); }, row->member);
            report("config: " + fault);
        }
    }
}

std::string PanelConfig::Change(const Row& row, const std::string& text) {
    const std::string expected =
        std::visit([&](auto member) { return ReadStrictly(this->*member, text); }, row.member);
    if (expected.empty()) return "";
    return std::string(row.name) + " must be " + expected + ", not \"" + text + "\"";
}
