#include "host/net/MemoryGuard.h"

#include <algorithm>
#include <cstdio>

#include <malloc.h>
#include <unistd.h>

namespace replication {

namespace {

constexpr auto kCheckPeriod = std::chrono::milliseconds(50);
// ZeroMQ frees a closed connection's messages on its own thread, soon after.
constexpr auto kSettleTime = std::chrono::milliseconds(200);
// Between breaches: the shortest wait, and the longest, which the wait doubles up
// to while closing connections frees nothing (the memory is held elsewhere), so
// that honest peers are not cut off again and again.
constexpr auto kShortestWait = std::chrono::milliseconds(250);
constexpr auto kLongestWait = std::chrono::seconds(16);
// Sanitizers keep memory of their own (freed blocks held back, shadow memory).
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint64_t kSanitizerAllowance = 1ull << 30;
#else
constexpr std::uint64_t kSanitizerAllowance = 0;
#endif

}  // namespace

std::uint64_t ResidentBytes() {
    std::FILE* statm = std::fopen("/proc/self/statm", "r");
    if (!statm) {
        return 0;
    }
    unsigned long long pages = 0, resident = 0;
    const bool read = std::fscanf(statm, "%llu %llu", &pages, &resident) == 2;
    std::fclose(statm);
    return read ? resident * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) : 0;
}

MemoryGuard::MemoryGuard(std::uint64_t allowance)
    : base_(ResidentBytes()),
      allowance_(allowance + kSanitizerAllowance),
      resident_(base_),
      wait_(kShortestWait) {}

bool MemoryGuard::Breached(std::uint64_t held) {
    const auto now = Clock::now();
    const std::uint64_t most = base_ + held + allowance_;
    if (settling_ && now - breached_ >= kSettleTime) {
        settling_ = false;
        ::malloc_trim(0);
        const bool freed = ResidentBytes() <= most;
        wait_ = freed ? kShortestWait : std::min<Clock::duration>(2 * wait_, kLongestWait);
    }
    if (now - checked_ < kCheckPeriod || now - breached_ < wait_) {
        return false;
    }
    checked_ = now;
    resident_ = ResidentBytes();
    if (resident_ <= most) {
        return false;
    }
    breached_ = now;
    settling_ = true;
    return true;
}

}  // namespace replication
