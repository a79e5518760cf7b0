#include "telephony/protocol/Command.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "telephony/protocol/Words.h"

namespace telephony {
namespace {

using nlohmann::json;

constexpr Words<CommandKind, 12> kCommands{{{CommandKind::Hello, "hello"},
                                            {CommandKind::Call, "call"},
                                            {CommandKind::Hangup, "hangup"},
                                            {CommandKind::Hold, "hold"},
                                            {CommandKind::Resume, "resume"},
                                            {CommandKind::Dtmf, "dtmf"},
                                            {CommandKind::Status, "status"},
                                            {CommandKind::PagePresent, "page-present"},
                                            {CommandKind::PageRinging, "page-ringing"},
                                            {CommandKind::PageAnswer, "page-answer"},
                                            {CommandKind::PageReject, "page-reject"},
                                            {CommandKind::PageKeyframe, "page-keyframe"}}};
// What ends an INVITE.
constexpr int kLowestRefusal = 400;
constexpr int kHighestRefusal = 699;

constexpr Words<CallKind, 3> kCallKinds{
    {{CallKind::Regular, "regular"}, {CallKind::Monitor, "monitor"}, {CallKind::Broadcast, "broadcast"}}};
constexpr Words<Direction, 4> kDirections{{{Direction::None, "none"},
                                           {Direction::Send, "send"},
                                           {Direction::Receive, "receive"},
                                           {Direction::Both, "both"}}};
constexpr Words<AnswerStyle, 4> kAnswerStyles{{{AnswerStyle::None, "none"},
                                               {AnswerStyle::CallInfo, "call-info"},
                                               {AnswerStyle::AlertInfo, "alert-info"},
                                               {AnswerStyle::AnswerMode, "answer-mode"}}};
constexpr Words<HoldStyle, 2> kHoldStyles{{{HoldStyle::Reinvite, "re-invite"}, {HoldStyle::Gate, "gate"}}};
constexpr Words<DigitStyle, 2> kDigitStyles{{{DigitStyle::Info, "info"}, {DigitStyle::Rfc4733, "rfc4733"}}};

// One object of a line. Each field that is asked for is known; what is left at the end is not.
class Fields {
public:
    Fields(const json& object, std::string what) : object_(object), what_(std::move(what)) {
        if (!object.is_object()) throw CommandError(what_ + " is not a JSON object");
    }

    const json* Find(const char* name) {
        known_.insert(name);
        const auto field = object_.find(name);
        return field == object_.end() ? nullptr : &*field;
    }

    const json& Get(const char* name) {
        if (const json* field = Find(name)) return *field;
        throw CommandError(what_ + ": the field \"" + name + "\" is missing");
    }

    bool Flag(const char* name, bool preset) {
        const json* field = Find(name);
        if (!field) return preset;
        if (!field->is_boolean()) Refuse(name, "must be true or false");
        return field->get<bool>();
    }

    template <typename Enum, std::size_t Count>
    Enum OneOf(const char* name, const Words<Enum, Count>& words, Enum preset) {
        const json* field = Find(name);
        if (!field) return preset;
        if (field->is_string())
            if (const auto value = ValueIn(words, field->get_ref<const std::string&>())) return *value;
        std::string choices;
        for (const auto& word : words)
            choices += (choices.empty() ? "" : ", ") + std::string(word.text);
        Refuse(name, "must be one of " + choices);
    }

    // A name goes into SIP headers: nothing in it may end a line.
    std::string Name(const json& field, const char* name) {
        if (!field.is_string()) Refuse(name, "must be a text");
        const std::string& text = field.get_ref<const std::string&>();
        if (text.empty()) Refuse(name, "must not be empty");
        if (text.size() > kLongestName)
            Refuse(name, "is longer than " + std::to_string(kLongestName) + " bytes");
        for (const char letter : text)
            if (static_cast<unsigned char>(letter) < ' ' || letter == '\x7f')
                Refuse(name, "must not contain control characters");
        return text;
    }

    std::string OptionalName(const char* name) {
        const json* field = Find(name);
        return field ? Name(*field, name) : std::string();
    }

    void EndOfFields() const {
        for (const auto& [name, value] : object_.items())
            if (!known_.contains(name)) throw CommandError(what_ + ": unknown field \"" + name + "\"");
    }

    [[noreturn]] void Refuse(const char* name, const std::string& why) const {
        throw CommandError(what_ + ": \"" + name + "\" " + why);
    }

private:
    const json& object_;
    const std::string what_;
    std::set<std::string> known_;
};

void ParseCodecs(Fields& fields, std::vector<std::string>& codecs) {
    const json* const list = fields.Find("codecs");
    if (!list) return;
    if (!list->is_array()) fields.Refuse("codecs", "must be a list");
    for (const json& codec : *list) {
        const std::string_view name = FindCodec(fields.Name(codec, "codecs"));
        if (name.empty()) fields.Refuse("codecs", "must be of PCMA, PCMU, G722, opus");
        if (std::ranges::find(codecs, name) != codecs.end()) fields.Refuse("codecs", "names one twice");
        codecs.emplace_back(name);
    }
}

Device ParseDevice(const json& object) {
    Fields fields(object, "device");
    Device device;
    device.user = fields.Name(fields.Get("user"), "user");
    device.name = fields.OptionalName("name");
    device.answer = fields.OneOf("answer", kAnswerStyles, AnswerStyle::None);
    device.hold = fields.OneOf("hold", kHoldStyles, HoldStyle::Reinvite);
    device.mayBeMonitored = fields.Flag("mayBeMonitored", false);
    device.page = fields.Flag("page", false);
    ParseCodecs(fields, device.codecs);
    fields.EndOfFields();
    return device;
}

void ParseHello(Fields& fields, Command& command) {
    const json& version = fields.Get("version");
    if (!version.is_number_integer()) fields.Refuse("version", "must be a whole number");
    command.version = version.get<int>();
    command.all = fields.Flag("all", false);
    const json* devices = fields.Find("devices");
    if (!devices) return;
    if (!devices->is_array() || devices->size() > kMostCallees)
        fields.Refuse("devices", "must be a list of at most " + std::to_string(kMostCallees));
    for (const json& device : *devices)
        command.devices.push_back(ParseDevice(device));
}

void ParseCall(Fields& fields, Command& command) {
    command.from = fields.Name(fields.Get("from"), "from");
    const json& to = fields.Get("to");
    if (!to.is_array() || to.empty() || to.size() > kMostCallees)
        fields.Refuse("to", "must be a list of 1 to " + std::to_string(kMostCallees) + " users");
    for (const json& user : to) {
        command.to.push_back(fields.Name(user, "to"));
        if (command.to.back() == command.from) fields.Refuse("to", "names the caller");
    }
    if (std::set<std::string>(command.to.begin(), command.to.end()).size() != command.to.size())
        fields.Refuse("to", "names a user twice");
    command.called = fields.OptionalName("called");
    command.callKind = fields.OneOf("kind", kCallKinds, CallKind::Regular);
    command.audio = fields.OneOf("audio", kDirections, Direction::Both);
    command.video = fields.OneOf("video", kDirections, Direction::None);
    command.ring = fields.Flag("ring", true);
    if (command.callKind == CallKind::Monitor && command.to.size() != 1)
        fields.Refuse("to", "must name one user in a monitor call");
    if (command.audio == Direction::None && command.video == Direction::None)
        fields.Refuse("audio", "and \"video\" must not both be none");
}

void ParseDtmf(Fields& fields, Command& command) {
    command.leg = fields.OptionalName("leg");
    command.digits = fields.Name(fields.Get("digits"), "digits");
    if (command.digits.size() > kMostDigits ||
        command.digits.find_first_not_of("0123456789*#ABCD") != std::string::npos)
        fields.Refuse("digits", "must be at most " + std::to_string(kMostDigits) + " of 0-9 * # A-D");
    command.by = fields.OneOf("by", kDigitStyles, DigitStyle::Info);
}

void ParsePage(Fields& fields, Command& command) {
    command.leg = fields.Name(fields.Get("leg"), "leg");
    if (command.kind == CommandKind::PagePresent) {
        fields.Get("present");
        command.present = fields.Flag("present", false);
    }
    if (command.kind == CommandKind::PageAnswer) {
        const json& sdp = fields.Get("sdp");
        if (!sdp.is_string() || sdp.get_ref<const std::string&>().empty())
            fields.Refuse("sdp", "must be a text that is not empty");
        command.sdp = sdp.get<std::string>();
    }
    if (command.kind == CommandKind::PageReject) {
        const json& code = fields.Get("code");
        const long number = code.is_number_integer() ? code.get<long>() : 0;
        if (number < kLowestRefusal || number > kHighestRefusal)
            fields.Refuse("code", "must be a whole number from 400 to 699");
        command.code = static_cast<int>(number);
        command.reason = fields.OptionalName("reason");
    }
}

Command ParseFields(const json& object) {
    Fields fields(object, "command");
    Command command;
    const auto kind = fields.OneOf("cmd", kCommands, CommandKind::Status);
    fields.Get("cmd");
    command.kind = kind;
    if (kind != CommandKind::Hello && kind != CommandKind::Status && kind != CommandKind::PagePresent)
        command.id = fields.Name(fields.Get("id"), "id");
    if (kind == CommandKind::Hello) ParseHello(fields, command);
    if (kind == CommandKind::Call) ParseCall(fields, command);
    if (kind == CommandKind::Dtmf) ParseDtmf(fields, command);
    if (kind == CommandKind::Hangup) command.leg = fields.OptionalName("leg");
    if (IsOfPages(kind)) ParsePage(fields, command);
    fields.EndOfFields();
    return command;
}

json ToJson(const Device& device) {
    json object{{"user", device.user}};
    if (!device.name.empty()) object["name"] = device.name;
    object["answer"] = TextIn(kAnswerStyles, device.answer);
    object["hold"] = TextIn(kHoldStyles, device.hold);
    object["mayBeMonitored"] = device.mayBeMonitored;
    if (!device.codecs.empty()) object["codecs"] = device.codecs;
    if (device.page) object["page"] = true;
    return object;
}

}  // namespace

Command ParseCommand(std::string_view line) {
    try {
        return ParseFields(json::parse(line));
    } catch (const json::exception& error) {
        throw CommandError(std::string("no JSON object: ") + error.what());
    }
}

std::string ToLine(const Command& command) {
    json object{{"cmd", TextOf(command.kind)}};
    if (!command.id.empty()) object["id"] = command.id;
    switch (command.kind) {
        case CommandKind::Hello:
            object["version"] = command.version;
            object["all"] = command.all;
            for (const Device& device : command.devices)
                object["devices"].push_back(ToJson(device));
            break;
        case CommandKind::Call:
            object.update({{"from", command.from},
                           {"to", command.to},
                           {"kind", TextOf(command.callKind)},
                           {"audio", TextOf(command.audio)},
                           {"video", TextOf(command.video)},
                           {"ring", command.ring}});
            if (!command.called.empty()) object["called"] = command.called;
            break;
        case CommandKind::Dtmf:
            object["digits"] = command.digits;
            object["by"] = TextOf(command.by);
            if (!command.leg.empty()) object["leg"] = command.leg;
            break;
        case CommandKind::Hangup:
            if (!command.leg.empty()) object["leg"] = command.leg;
            break;
        case CommandKind::PagePresent:
            object.update({{"leg", command.leg}, {"present", command.present}});
            break;
        case CommandKind::PageAnswer:
            object.update({{"leg", command.leg}, {"sdp", command.sdp}});
            break;
        case CommandKind::PageReject:
            object.update({{"leg", command.leg}, {"code", command.code}});
            if (!command.reason.empty()) object["reason"] = command.reason;
            break;
        case CommandKind::PageRinging:
        case CommandKind::PageKeyframe:
            object["leg"] = command.leg;
            break;
        case CommandKind::Hold:
        case CommandKind::Resume:
        case CommandKind::Status:
            break;
    }
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string_view FindCodec(std::string_view name) {
    const auto lower = [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? letter + ('a' - 'A') : letter;
    };
    const auto found = std::ranges::find_if(
        kCodecs, [&](std::string_view codec) { return std::ranges::equal(codec, name, {}, lower, lower); });
    return found == kCodecs.end() ? std::string_view() : *found;
}

bool IsOfPages(CommandKind kind) {
    return kind >= CommandKind::PagePresent;
}

std::string_view TextOf(CommandKind kind) {
    return TextIn(kCommands, kind);
}
std::string_view TextOf(CallKind kind) {
    return TextIn(kCallKinds, kind);
}
std::optional<CallKind> ToCallKind(std::string_view text) {
    return ValueIn(kCallKinds, text);
}
std::string_view TextOf(Direction direction) {
    return TextIn(kDirections, direction);
}
std::optional<Direction> ToDirection(std::string_view text) {
    return ValueIn(kDirections, text);
}
std::string_view TextOf(DigitStyle style) {
    return TextIn(kDigitStyles, style);
}

}  // namespace telephony
