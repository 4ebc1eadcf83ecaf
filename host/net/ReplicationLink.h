#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kep/Plugin.h"

// Carries replication frames between interactive plug-ins. A frame is the whole
// buffer one serialize call writes; a transport between processes carries the
// same bytes. The host's buffers are little-endian.
namespace replication {

// What the sender recorded since its last frame (full: its whole state).
std::vector<std::uint8_t> WriteFrame(kep::IInteractivePlugin& sender, bool full);

// Hands a frame to a receiver for its next update. False if the receiver could
// not read it: an exception escaped (logged, the frame dropped), or it read past
// the frame's end or stopped short of it.
bool DeliverFrame(kep::IInteractivePlugin& receiver, std::span<const std::uint8_t> frame,
                  uxs::byte_order order = uxs::byte_order::little);

}  // namespace replication
