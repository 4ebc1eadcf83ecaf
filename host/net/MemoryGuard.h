#pragma once

#include <chrono>
#include <cstdint>

namespace replication {

// ZeroMQ bounds its queues in whole messages, so a message whose parts never end,
// or subscriptions without number, make a process that receives them grow without
// limit, and an admitted peer (or anyone, without keys) can send them. The guard
// notices the process's resident memory passing what it allows beyond the
// program's own; the caller then closes and opens again every connection, which
// frees what they held.
class MemoryGuard {
public:
    // The base is the resident memory now.
    explicit MemoryGuard(std::uint64_t allowance);

    // Whether the resident memory is past the base, plus what the program holds
    // on purpose (`held`: loaded sounds), by more than the allowance. Checked every
    // few frames' time. After a breach, the memory the closed connections held is
    // handed back to the system; if that brought it under the limit, the next
    // breach may come soon, else the wait for it doubles.
    bool Breached(std::uint64_t held = 0);

    std::uint64_t resident() const { return resident_; }

private:
    using Clock = std::chrono::steady_clock;

    std::uint64_t base_;
    std::uint64_t allowance_;
    std::uint64_t resident_ = 0;
    Clock::time_point checked_{};
    Clock::time_point breached_{};
    Clock::duration wait_;
    bool settling_ = false;
};

// The process's resident memory in bytes, 0 if it cannot be read.
std::uint64_t ResidentBytes();

}  // namespace replication
