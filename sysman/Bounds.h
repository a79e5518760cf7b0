// How long anything may take. The caller waits for us in the middle of its work, 200 ms at most;
// a request has at most three steps that wait: for the lock, for an end, for a start.
#ifndef SYSMAN_BOUNDS_H
#define SYSMAN_BOUNDS_H

#include <chrono>

inline constexpr std::chrono::milliseconds kLongestStep{50};

/// What a disabled program gets for an orderly end, unless SYSMAN_GRACE_SECONDS says otherwise.
inline constexpr std::chrono::seconds kDefaultGrace{5};

#endif
