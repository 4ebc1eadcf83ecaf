#include "host/net/ReplicationLink.h"

#include <exception>

#include <fmt/format.h>

#include "kep/Messages.h"

namespace replication {

std::vector<std::uint8_t> WriteFrame(kep::IInteractivePlugin& sender, bool full) {
    uxs::iobuf buffer(uxs::byte_order::little);
    sender.serialize(buffer, full);
    return buffer.take();
}

bool DeliverFrame(kep::IInteractivePlugin& receiver, std::span<const std::uint8_t> frame,
                  uxs::byte_order order) {
    uxs::ibuf buffer(frame, order);
    try {
        receiver.deserialize(buffer);
        return !buffer.fail() && buffer.avail() == 0;
    } catch (const std::exception& error) {
        kep::Error()("kep-host: dropped a replication frame of {} bytes: {}", frame.size(),
                     error.what());
        return false;
    }
}

}  // namespace replication
