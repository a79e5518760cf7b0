// intercomctl phones, calls and hangup: what call control knows, and the end of a call.
#include <algorithm>
#include <array>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "client/CallControl.h"
#include "client/Commands.h"

using telephony::CallReport;
using telephony::Command;
using telephony::CommandKind;
using telephony::Event;
using telephony::EventKind;
using telephony::LegReport;
using telephony::RegisteredPhone;

namespace {

constexpr char kNothing[] = "-";

using Row = std::vector<std::string>;

// Phones choose many of these texts: none of them may move the cursor.
std::string Clean(const std::string& text) {
    std::string clean = text.empty() ? kNothing : text;
    for (char& c : clean)
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
    return clean;
}

// In characters, so that names in any language keep the columns straight.
std::size_t WidthOf(const std::string& text) {
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

void PrintTable(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths(rows.front().size());
    for (const Row& row : rows)
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], WidthOf(row[column]));
    for (const Row& row : rows) {
        for (std::size_t column = 0; column + 1 < row.size(); ++column)
            std::cout << row[column] << std::string(widths[column] - WidthOf(row[column]) + 2, ' ');
        std::cout << row.back() << "\n";
    }
}

std::string Time(std::time_t seconds) {
    if (seconds == 0) return kNothing;
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%Y-%m-%dT%H:%M:%SZ");
    return text.str();
}

std::string Duration(double seconds) {
    constexpr long kMinute = 60;
    constexpr long kHour = 60 * kMinute;
    const long whole = static_cast<long>(seconds);
    std::ostringstream text;
    text << whole / kHour << std::setfill('0') << ":" << std::setw(2) << whole % kHour / kMinute << ":"
         << std::setw(2) << whole % kMinute;
    return text.str();
}

// Of "<sip:hall@192.0.2.7:5060;transport=tcp>": 192.0.2.7:5060.
std::string AddressIn(const std::string& contact) {
    const std::size_t scheme = contact.find(':');
    const std::size_t at = contact.find('@');
    const std::size_t before = at != contact.npos ? at : scheme;
    if (before == contact.npos) return contact;
    const std::string address = contact.substr(before + 1);
    return address.substr(0, address.find_first_of(";>?"));
}

Row PhoneRow(const RegisteredPhone& phone, bool away) {
    const std::string state = !away ? "registered" : phone.reason.empty() ? "away" : "away, " + phone.reason;
    return {Clean(phone.user),
            Clean(phone.name),
            Clean(state),
            Time(phone.since),
            Clean(AddressIn(phone.contact)),
            Clean(phone.agent)};
}

void AddCall(std::vector<Row>& rows, const CallReport& call) {
    for (const LegReport& leg : call.legs) {
        std::string codecs = leg.codecs;
        std::ranges::replace(codecs, ' ', ',');
        rows.push_back({Clean(call.id), std::string(TextOf(call.kind)), Clean(call.state),
                        call.state == "calling" ? kNothing : Duration(call.seconds), Clean(leg.user),
                        std::string(TextOf(leg.role)), std::string(TextOf(leg.state)), Clean(codecs),
                        std::to_string(leg.packetsReceived),
                        leg.packetsLost < 0 ? kNothing : std::to_string(leg.packetsLost),
                        leg.jitter < 0 ? kNothing : std::to_string(leg.jitter) + " ms"});
    }
}

void WantNoArguments(const Options& options) {
    if (!options.arguments.empty())
        throw WrongUse(options.command + " takes no arguments, not \"" + options.arguments.front() + "\"");
}

const std::string& SocketOf(const Options& options) {
    if (options.callControl.empty())
        throw WrongUse(
            "where call control is, is not known: give --call-control PATH, or set "
            "INTERCOM_CALLCONTROL_SOCKET, to the path of its socket");
    return options.callControl;
}

void Warn(const std::string& text) {
    std::cerr << "intercomctl: " << text << "\n";
}

}  // namespace

ExitStatus RunPhones(const Options& options, const Connection&) {
    WantNoArguments(options);
    CallControl callControl(SocketOf(options));
    const Event snapshot = callControl.Snapshot();
    if (snapshot.proxy != "up") Warn("the SIP proxy is away; this is what was known before");
    if (options.raw) {
        std::cout << callControl.Line() << "\n";
        return EXIT_DONE;
    }
    std::vector<Row> rows;
    for (const RegisteredPhone& phone : snapshot.phones)
        rows.push_back(PhoneRow(phone, false));
    for (const RegisteredPhone& phone : snapshot.away)
        rows.push_back(PhoneRow(phone, true));
    if (rows.empty()) {
        std::cout << "No phone is registered, and none is known.\n";
        return EXIT_DONE;
    }
    std::ranges::sort(rows);
    rows.insert(rows.begin(), {"user", "name", "state", "since", "address", "agent"});
    PrintTable(rows);
    return EXIT_DONE;
}

ExitStatus RunCalls(const Options& options, const Connection&) {
    WantNoArguments(options);
    CallControl callControl(SocketOf(options));
    const Event snapshot = callControl.Snapshot();
    if (snapshot.media != "up") Warn("rtpengine does not answer; the calls have no sound");
    if (options.raw) {
        std::cout << callControl.Line() << "\n";
        return EXIT_DONE;
    }
    if (snapshot.calls.empty()) {
        std::cout << "No call is running.\n";
        return EXIT_DONE;
    }
    std::vector<Row> rows = {
        {"call", "kind", "state", "duration", "user", "role", "leg", "codecs", "received", "lost", "jitter"}};
    for (const CallReport& call : snapshot.calls)
        AddCall(rows, call);
    PrintTable(rows);
    return EXIT_DONE;
}

ExitStatus RunHangup(const Options& options, const Connection&) {
    if (options.arguments.size() != 1) throw WrongUse("hangup needs one call; intercomctl calls lists them");
    const std::string& id = options.arguments.front();
    CallControl callControl(SocketOf(options));
    callControl.Snapshot();
    Command hangup;
    hangup.kind = CommandKind::Hangup;
    hangup.id = id;
    callControl.Send(hangup);
    for (;;) {
        const Event event = callControl.Next();
        if (event.kind == EventKind::Refused)
            throw Failure(EXIT_NO_ANSWER, Clean(event.reason) + "; intercomctl calls lists them");
        if (event.kind != EventKind::Ended || event.id != id) continue;
        std::cout << "Call " << Clean(id) << " has ended.\n";
        return EXIT_DONE;
    }
}
