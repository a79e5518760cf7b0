// What a device is doing, as getCurrentState tells it.
#ifndef DRIVERS_CALLS_CALLSTATE_H
#define DRIVERS_CALLS_CALLSTATE_H

/// While there is a call; after it the state is what it was before.
enum CallState : int { STATE_CALLING = 1, STATE_RINGING = 2, STATE_CONNECTED = 3 };

/// The device is not there: its phone is not registered.
inline constexpr int kStateAway = 4;

#endif
