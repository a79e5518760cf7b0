// Tells the host of this program: metrics and warnings, as telephony/report/ writes them.
#ifndef TELEPHONY_CALLCONTROL_REPORTER_H
#define TELEPHONY_CALLCONTROL_REPORTER_H

#include <functional>
#include <string>
#include <vector>

#include "telephony/callcontrol/CallTable.h"
#include "telephony/callcontrol/Loop.h"
#include "telephony/report/Report.h"

namespace telephony {

/// What others than the table of calls have counted.
struct OtherCounts {
    std::uint64_t invites = 0;
    std::uint64_t mediaRefusals = 0;  // rtpengine has said no
    std::uint64_t mediaSilences = 0;  // rtpengine has not answered
    std::uint64_t clientsRefused = 0;
    std::uint64_t clientsClosed = 0;
};

std::vector<Metric> MetricsOf(const CallTable& table, const OtherCounts& others);
/// `journal`: why it cannot be written; empty when it can.
std::vector<std::string> WarningsOf(const CallTable& table, const std::string& journal);

class Reporter {
public:
    /// What it is given outlives it. Nothing is written when `folder` is empty.
    Reporter(Loop& loop, std::string folder, const CallTable& table, const Journal& journal,
             std::function<OtherCounts()> others);

private:
    void Look();

    const CallTable& table_;
    const Journal& journal_;
    const std::function<OtherCounts()> others_;
    Report report_;
    Timer look_;
};

}  // namespace telephony

#endif
