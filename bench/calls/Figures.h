// What is measured of real calls. Each figure starts the programs that it needs, in a network of its own, and
// ends them.
#ifndef BENCH_CALLS_FIGURES_H
#define BENCH_CALLS_FIGURES_H

#include <sys/types.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bench/calls/Ears.h"

namespace bench {

/// From a command to the first sound of the other at both phones: by the agent, or dialled at a phone that a
/// bare Kamailio connects. {"seconds": [...]}
nlohmann::json BaresipSound();
nlohmann::json BaresipSoundDirect();
nlohmann::json LinphoneSound();
nlohmann::json LinphoneSoundDirect();

/// From the button at the door until 20 phones ring: through call control, and by Kamailio alone, as it does
/// when call control is away. {"seconds": [...], "reference": [...]}
nlohmann::json Doorbell();
/// From the agent's command until 20 listeners are up, and the processor while they listen.
/// {"seconds": [...], "cores": [...]}
nlohmann::json Broadcast();

/// From applySIPProxyChanges until a REGISTER is answered again, with 10 calls of 20 phones.
/// {"seconds": [...], "calls_lost": n, "registrations_lost": n}
nlohmann::json ProxyRestart();
/// The same of a bare Kamailio that is ended and started. {"seconds": [...]}
nlohmann::json BareRestart();
/// The host killed and started in 10 calls of 20 phones. {"calls_lost": n, "sessions_lost": n, "seconds":
/// [...]}
nlohmann::json HostKilled();

/// 50 calls at once. {"lost": n, "packets": n, "cores": [...]}
nlohmann::json FiftyCalls();
/// Calls set up and ended in a second. {"rate": [...]}
nlohmann::json CallRate();
/// PSS of all programs of calls when nobody calls; the reference is Kamailio's and rtpengine's of it.
/// {"bytes": [...], "reference": [...]}
nlohmann::json IdleMemory();

/// How much of a core these processes take in that time.
double CoresTaken(const std::vector<pid_t>& processes, std::chrono::milliseconds during);

}  // namespace bench

#endif
