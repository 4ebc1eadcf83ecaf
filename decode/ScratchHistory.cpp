#include "decode/ScratchHistory.h"

#include <algorithm>
#include <cstring>

void ScratchHistory::Record(std::size_t offset, std::size_t bytes) {
    while (!writes.empty() && writes.back().bytes <= bytes) {
        writes.pop_back();
    }
    if (bytes > 0) {
        writes.push_back({offset, bytes});
    }
}

void ScratchHistory::CopyOut(const std::uint8_t* pcm, const std::uint8_t* scratch, std::size_t from,
                             std::size_t to, std::uint8_t* out) const {
    // Newest first: each byte comes from the newest frame that reached it.
    std::size_t position = from;
    for (auto write = writes.rbegin(); write != writes.rend() && position < to; ++write) {
        if (write->bytes > position) {
            const std::size_t end = std::min(write->bytes, to);
            std::memcpy(out + (position - from), pcm + write->offset + position, end - position);
            position = end;
        }
    }
    if (position < to) {
        std::memcpy(out + (position - from), scratch + position, to - position);
    }
}
