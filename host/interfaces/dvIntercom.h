// Numbers that the agent and the device drivers share. Values outside the tables do cross
// the border, so the underlying type is fixed.
#ifndef HOST_INTERFACES_DVINTERCOM_H
#define HOST_INTERFACES_DVINTERCOM_H

namespace dvIntercom {

/// What changed about a device. Each value has a UI event of its own.
enum DeviceProps : int {
    DEVICE_CHANGED = 0,         // also: the full description
    DEVICE_UPDATED = 1,
    DEVICE_DND = 2,
    DEVICE_AUTO_ANSWER = 3,
    DEVICE_MONITOR_MODE = 4,
    DEVICE_CURRENT_STATE = 5,
    DEVICE_SEND_VIDEO = 6,
    DEVICE_EXCLUDE_NAV = 7,
    DEVICE_RING_TONE = 8,
    DEVICE_VOLUME = 9,          // never reported to user interfaces
    DEVICE_PROPS_COUNT = 10
};

/// The direction in which a medium flows, seen from the device that is told.
enum MediaMode : int {
    MEDIA_SEND_RECEIVE = 0,
    MEDIA_SEND_ONLY = 1,
    MEDIA_RECEIVE_ONLY = 2,
    MEDIA_NONE = 3
};

/// The audio mode of a regular call that is not to ring; what it means is the driver's.
inline constexpr MediaMode MEDIA_WITHOUT_RING = static_cast<MediaMode>(-1);

/// findSessionId's answer when there is no session.
inline constexpr unsigned char NO_SESSION = 255;

}  // namespace dvIntercom

#endif
