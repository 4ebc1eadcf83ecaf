// Any bytes a peer sends: read as a batch or a snapshot by a replaying instance,
// then applied by its Update, then everything it made is taken away again. What a
// joiner's check lets through, the sound system reads to its last byte, and the
// payload with repeated loads left out passes the check with none left.
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <string>
#include <vector>

#include "fuzz/QuietSoundSystem.h"
#include "host/net/PayloadCheck.h"

namespace {

using replication::PayloadOrder;

// The check's promise about what it accepted.
void CheckAccepted(replication::FrameKind kind, std::span<const std::uint8_t> payload,
                   const replication::PayloadOutline& outline, bool readWhole) {
    if (!readWhole) {
        __builtin_trap();
    }
    std::vector<std::string> refused;
    const auto kept =
        replication::WithoutRepeatedLoads(PayloadOrder::Little, payload, outline, {}, refused);
    if (!kept) {
        return;
    }
    std::string error;
    const auto again = replication::CheckPayload(kind, PayloadOrder::Little, *kept, error);
    if (!again ||
        replication::WithoutRepeatedLoads(PayloadOrder::Little, *kept, *again, {}, refused)) {
        __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static SoundSystem& receiver = QuietSoundSystem(false);
    const std::span<const std::uint8_t> payload(data, size);
    const auto kind =
        size > 0 && data[0] == 1 ? replication::FrameKind::Snapshot : replication::FrameKind::Batch;
    std::string error;
    const auto outline = replication::CheckPayload(kind, PayloadOrder::Little, payload, error);
    uxs::ibuf buffer(payload);
    bool readWhole = false;
    try {
        receiver.deserialize(buffer);
        readWhole = !buffer.fail() && buffer.avail() == 0;
    } catch (const std::bad_alloc&) {
        // How a string longer than any allocation may meet is refused.
    }
    if (outline) {
        CheckAccepted(kind, payload, *outline, readWhole);
    }
    receiver.Update();
    receiver.DeleteSourcesAndSounds();
    return 0;
}
