#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace kep {
class ISoundInspector;
}

namespace replication {

// ZeroMQ bounds its queues in whole messages, so a message whose parts never end,
// or subscriptions without number, make a process that receives them grow without
// limit, and an admitted peer (or anyone, without keys) can send them. The guard
// notices the process's resident memory passing what it allows beyond the
// program's own; the caller then closes every connection, which frees what they
// held, lets it settle, and opens them again.
class MemoryGuard {
public:
    // What the program holds on purpose (loaded sounds), in bytes.
    using Held = std::function<std::uint64_t()>;
    // How long closed connections take to give their memory back.
    static constexpr auto kSettleTime = std::chrono::milliseconds(200);

    // The base is the resident memory now.
    MemoryGuard(std::uint64_t allowance, Held held);

    // Whether the resident memory is past the base plus what is held by more than
    // the allowance. Checked at most every few frames' time.
    bool Breached();
    // Once the connections have been closed kSettleTime: hands what they held back
    // to the system; false if the memory is still past the limit. What remains
    // then is not the peers': it becomes the base.
    bool Settled();
    // As Settled, but what remains stays counted: more connections may be closed.
    bool Recovered();

    std::uint64_t resident() const { return resident_; }

private:
    using Clock = std::chrono::steady_clock;

    std::uint64_t Limit() const;

    std::uint64_t base_;
    std::uint64_t allowance_;
    Held held_;
    std::uint64_t resident_ = 0;
    Clock::time_point checked_{};
};

// The process's resident memory in bytes, 0 if it cannot be read.
std::uint64_t ResidentBytes();
// Bytes of PCM in the sounds a sound system holds.
std::uint64_t LoadedBytes(kep::ISoundInspector& inspector);

}  // namespace replication
