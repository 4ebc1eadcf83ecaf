#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// What the decoder's scratch buffer would hold had each frame been converted into
// it, for frames converted straight into the PCM instead. A padded block carries
// the scratch buffer's bytes beyond its own samples: those of the latest frame
// that reached that far, or the silence the buffer was allocated with. Frames are
// remembered by where their bytes lie in the PCM.
class ScratchHistory {
public:
    // The scratch buffer was allocated anew, silent.
    void Clear() { writes.clear(); }
    // A frame's first `bytes` scratch bytes now lie in the PCM at `offset`.
    void Record(std::size_t offset, std::size_t bytes);
    // Copies scratch bytes [from, to) as they would stand now into out, from the
    // PCM or, where no remembered frame reached, from the (silent) scratch buffer.
    void CopyOut(const std::uint8_t* pcm, const std::uint8_t* scratch, std::size_t from,
                 std::size_t to, std::uint8_t* out) const;

private:
    struct Write {
        std::size_t offset;
        std::size_t bytes;
    };
    // Oldest first; each reaches further than every newer one, since a frame hides
    // the older ones it covers.
    std::vector<Write> writes;
};
