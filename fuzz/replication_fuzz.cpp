// Any bytes a peer sends: read as a batch or a snapshot by a replaying instance,
// then applied by its Update, then everything it made is taken away again.
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>

#include "fuzz/QuietSoundSystem.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static SoundSystem& receiver = QuietSoundSystem(false);
    uxs::ibuf buffer(std::span(data, size));
    try {
        receiver.deserialize(buffer);
    } catch (const std::bad_alloc&) {
        // How a string longer than any allocation may meet is refused.
    }
    receiver.Update();
    receiver.DeleteSourcesAndSounds();
    return 0;
}
