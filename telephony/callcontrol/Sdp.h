// The little that is read and changed in session descriptions (RFC 4566). They pass as text: what the ends
// and rtpengine settle is theirs.
#ifndef TELEPHONY_CALLCONTROL_SDP_H
#define TELEPHONY_CALLCONTROL_SDP_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "telephony/protocol/Command.h"

namespace telephony {

/// The description that stands for the end that is not called yet: an address that is real and a port that is
/// dead, since phones take "0.0.0.0" for a call on hold. The directions are those of who is offered it, the
/// codecs (of kCodecs) those of its sound.
std::string PlaceholderSdp(const std::string& address, const std::vector<std::string>& codecs,
                           Direction audio, Direction video);

/// The same with these codecs for sound alone, in this order, and what is no codec (telephone-events). As it
/// was when it has none of them.
std::string WithCodecs(std::string_view sdp, const std::vector<std::string>& codecs);

/// The same with another direction in each of its media. None is "inactive".
std::string WithDirection(std::string_view sdp, Direction direction);

/// The same as a description of ours. A phone that is first told of a placeholder and then of the other end
/// must see one origin whose version rises (RFC 3264, section 8), or may take the change for none.
std::string WithOrigin(std::string_view sdp, std::uint64_t session, std::uint64_t version,
                       const std::string& address);

/// Of all its media; Both when nothing is said.
Direction DirectionOf(std::string_view sdp);

/// Seen from the other end: what one sends the other receives.
Direction Mirrored(Direction direction);

/// What may be done when one end wishes this and the other that.
Direction Common(Direction one, Direction other);

/// "PCMA/8000 VP8/90000": the first codec of each media that is not refused.
std::string CodecsOf(std::string_view sdp);

/// "192.0.2.1:5004", where the first media is received; empty when there is none.
std::string ReceivesAt(std::string_view sdp);

}  // namespace telephony

#endif
