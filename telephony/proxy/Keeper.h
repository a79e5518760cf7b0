// The process between sipproxy and Kamailio; see Kamailio.h.
#ifndef TELEPHONY_PROXY_KEEPER_H
#define TELEPHONY_PROXY_KEEPER_H

#include <string>

namespace proxy {

/// What sipproxy sends to have Kamailio end; that it closes the connection means the same.
inline constexpr char kAskToEnd = 'e';

/// Starts `program` with the script in `folder` and watches it. Tells its process number through
/// `connection`, on a line, and its wait status behind that when all of its processes have ended.
/// To be called in a process forked for it.
[[noreturn]] void Keep(const std::string& program, const std::string& folder, int connection);

}  // namespace proxy

#endif
