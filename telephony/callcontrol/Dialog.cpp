#include "telephony/callcontrol/Dialog.h"

#include <cctype>
#include <random>

namespace telephony {
namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

std::string RandomText() {
    std::random_device random;
    std::string text;
    for (int i = 0; i < 4; ++i) {
        char buffer[16];
        re_snprintf(buffer, sizeof buffer, "%08x", random());
        text += buffer;
    }
    return text;
}

bool AppendRoute(const struct sip_hdr* header, const struct sip_msg*, void* routes) {
    static_cast<std::vector<std::string>*>(routes)->push_back(AddressIn(Text(header->val)));
    return false;
}

// In an answer the route that is nearest to us stands last, in a request first.
std::vector<std::string> RecordRoutes(const struct sip_msg& message) {
    std::vector<std::string> routes;
    sip_msg_hdr_apply(&message, message.req, SIP_HDR_RECORD_ROUTE, &AppendRoute, &routes);
    return routes;
}

std::string ContactOf(const struct sip_msg& message) {
    const struct sip_hdr* contact = sip_msg_hdr(&message, SIP_HDR_CONTACT);
    return contact ? AddressIn(Text(contact->val)) : std::string();
}

}  // namespace

Dialog Dialog::Outgoing(const std::string& from, const std::string& to, const std::string& target) {
    Dialog dialog;
    dialog.callId = RandomText();
    dialog.localTag = RandomText().substr(0, 16);
    dialog.local = from + ";tag=" + dialog.localTag;
    dialog.remote = to;
    dialog.target = target;
    return dialog;
}

Dialog Dialog::Incoming(const struct sip_msg& invite) {
    Dialog dialog;
    dialog.callId = Text(invite.callid);
    char tag[20];
    // The tag that libre's replies to this message carry.
    re_snprintf(tag, sizeof tag, "%016llx", invite.tag);
    dialog.localTag = tag;
    dialog.remoteTag = Text(invite.from.tag);
    dialog.local = Text(invite.to.val) + ";tag=" + tag;
    dialog.remote = Text(invite.from.val);
    dialog.target = ContactOf(invite);
    dialog.routes = RecordRoutes(invite);
    dialog.remoteCseq = invite.cseq.num;
    return dialog;
}

void Dialog::Establish(const struct sip_msg& answer) {
    remote = Text(answer.to.val);
    remoteTag = Text(answer.to.tag);
    if (const std::string contact = ContactOf(answer); !contact.empty()) target = contact;
    if (!established) routes = RecordRoutes(answer);
    established = true;
}

bool Dialog::IsOf(const struct sip_msg& request) const {
    return View(request.callid) == callId && View(request.to.tag) == localTag &&
           (remoteTag.empty() || View(request.from.tag) == remoteTag);
}

std::string Dialog::Headers(const std::string& method, std::uint32_t number) const {
    std::string headers;
    for (const std::string& route : routes)
        headers += "Route: <" + route + ">\r\n";
    return headers + "From: " + local + "\r\nTo: " + remote + "\r\nCall-ID: " + callId +
           "\r\nCSeq: " + std::to_string(number) + " " + method + "\r\n";
}

void to_json(nlohmann::json& json, const Dialog& dialog) {
    json = {{"callId", dialog.callId},
            {"localTag", dialog.localTag},
            {"remoteTag", dialog.remoteTag},
            {"local", dialog.local},
            {"remote", dialog.remote},
            {"target", dialog.target},
            {"routes", dialog.routes},
            {"cseq", dialog.cseq},
            {"via", dialog.via},
            {"established", dialog.established}};
}

void from_json(const nlohmann::json& json, Dialog& dialog) {
    json.at("callId").get_to(dialog.callId);
    json.at("localTag").get_to(dialog.localTag);
    json.at("remoteTag").get_to(dialog.remoteTag);
    json.at("local").get_to(dialog.local);
    json.at("remote").get_to(dialog.remote);
    json.at("target").get_to(dialog.target);
    json.at("routes").get_to(dialog.routes);
    json.at("cseq").get_to(dialog.cseq);
    json.at("via").get_to(dialog.via);
    json.at("established").get_to(dialog.established);
}

std::string AddressIn(const std::string& header) {
    // A shown name between quotes may hold anything, brackets too.
    std::size_t name = 0;
    if (header.starts_with('"'))
        for (name = 1; name < header.size() && header[name] != '"'; ++name)
            if (header[name] == '\\') ++name;
    const std::size_t begin = header.find('<', name);
    const std::size_t end = header.find('>', begin);
    if (begin == std::string::npos || end == std::string::npos) return header.substr(0, header.find(';'));
    return header.substr(begin + 1, end - begin - 1);
}

std::string Quoted(const std::string& name) {
    std::string quoted = "\"";
    for (const char letter : name) {
        if (letter == '"' || letter == '\\') quoted += '\\';
        quoted += letter;
    }
    return quoted + "\"";
}

std::string UserPart(const std::string& user) {
    constexpr std::string_view kAllowed = "-_.!~*'()&=+$,;?/";
    std::string part;
    for (const char letter : user) {
        const auto byte = static_cast<unsigned char>(letter);
        if ((byte < 128 && std::isalnum(byte)) || kAllowed.find(letter) != std::string_view::npos) {
            part += letter;
        } else {
            part += '%';
            part += kHexDigits[byte >> 4];
            part += kHexDigits[byte & 15];
        }
    }
    return part;
}

std::string AddressOf(const std::string& name, const std::string& domain) {
    constexpr std::string_view kOfHosts = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-:";
    const std::size_t at = name.rfind('@');
    const bool hasHost = at != std::string::npos && at > 0 && at + 1 < name.size() &&
                         name.find_first_not_of(kOfHosts, at + 1) == std::string::npos;
    if (!hasHost) return "sip:" + UserPart(name) + "@" + domain;
    return "sip:" + UserPart(name.substr(0, at)) + name.substr(at);
}

std::string UserOf(std::string_view part) {
    const auto digit = [](char letter) {
        const std::string_view digits(kHexDigits);
        return digits.find(static_cast<char>(std::tolower(static_cast<unsigned char>(letter))));
    };
    std::string user;
    for (std::size_t i = 0; i < part.size(); ++i) {
        if (part[i] == '%' && i + 2 < part.size() && digit(part[i + 1]) < 16 && digit(part[i + 2]) < 16) {
            user += static_cast<char>(digit(part[i + 1]) * 16 + digit(part[i + 2]));
            i += 2;
        } else {
            user += part[i];
        }
    }
    return user;
}

}  // namespace telephony
