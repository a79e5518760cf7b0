#include "telephony/callcontrol/Reporter.h"

#include <algorithm>
#include <utility>

#include "telephony/callcontrol/Log.h"

namespace telephony {
namespace {

Metric EndedCalls(const CallCounts& counts) {
    Metric metric = Metric::Counter("calls_total", "Calls that have ended, by kind and outcome", 0);
    metric.samples.clear();
    for (const auto& [key, count] : counts.calls)
        metric.samples.push_back(
            {Label("kind", std::string(TextOf(key.first))) + "," + Label("outcome", std::string(key.second)),
             count});
    return metric;
}

std::uint64_t LegsOf(const std::vector<CallReport>& calls) {
    std::uint64_t legs = 0;
    for (const CallReport& call : calls)
        legs += static_cast<std::uint64_t>(std::ranges::count_if(
            call.legs, [](const LegReport& leg) { return leg.state != LegState::Down; }));
    return legs;
}

bool IsUp(const std::string& state) {
    return state == "up";
}

}  // namespace

std::vector<Metric> MetricsOf(const CallTable& table, const OtherCounts& others) {
    const Event now = table.Snapshot();
    const CallCounts& counts = table.Counts();
    Metric media =
        Metric::Counter("rtpengine_errors_total", "Requests that rtpengine has not carried out", 0);
    media.samples = {{Label("reason", "refused"), others.mediaRefusals},
                     {Label("reason", "no_answer"), others.mediaSilences}};
    return {
        EndedCalls(counts),
        Metric::Gauge("running_calls", "Running calls", now.calls.size()),
        Metric::Gauge("running_legs", "Phones that are called or in a call", LegsOf(now.calls)),
        Metric::Gauge("registered_phones", "Phones that are registered", now.phones.size()),
        Metric::Gauge("away_phones", "Phones that are known and away", now.away.size()),
        Metric::Counter("invites_sent_total", "INVITEs sent, with those that are repeated for a password",
                        others.invites),
        Metric::Gauge("proxy_up", "Whether the SIP proxy is there", IsUp(now.proxy)),
        Metric::Gauge("rtpengine_up", "Whether rtpengine answers", IsUp(now.media)),
        std::move(media),
        Metric::Counter("clients_refused_total", "Connections that were not let in", others.clientsRefused),
        Metric::Counter("clients_closed_total", "Connections that were closed for a fault",
                        others.clientsClosed),
        Metric::Counter("packets_received_total", "RTP packets from the phones of ended calls",
                        counts.packetsReceived),
        Metric::Counter("packets_lost_total", "RTP packets that the phones of ended calls report as lost",
                        counts.packetsLost),
    };
}

std::vector<std::string> WarningsOf(const CallTable& table, const std::string& journal) {
    const Event now = table.Snapshot();
    std::vector<std::string> warnings;
    if (!IsUp(now.proxy)) warnings.push_back("the SIP proxy is away: no new calls; running ones go on");
    if (!IsUp(now.media)) warnings.push_back("rtpengine does not answer: no call can be made");
    if (!journal.empty())
        warnings.push_back("the journal cannot be written (" + journal +
                           "): if callcontrol dies, phones in calls stay off the hook");
    return warnings;
}

Reporter::Reporter(Loop& loop, std::string folder, const CallTable& table, const Journal& journal,
                   std::function<OtherCounts()> others)
    : table_(table),
      journal_(journal),
      others_(std::move(others)),
      report_(std::move(folder), "callcontrol", &LogLine),
      look_(loop) {
    // Not at once: whether rtpengine is there is known when it has answered.
    look_.Start(kReportLook, [this] { Look(); });
}

void Reporter::Look() {
    report_.Tell(WarningsOf(table_, journal_.Trouble()), [this] { return MetricsOf(table_, others_()); });
    look_.Start(kReportLook, [this] { Look(); });
}

}  // namespace telephony
