#include "host/net/MemoryGuard.h"

#include <cstdio>
#include <string>

#include <malloc.h>
#include <unistd.h>

#include "kep/ISoundInspector.h"

namespace replication {

namespace {

constexpr auto kCheckPeriod = std::chrono::milliseconds(50);
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

std::uint64_t LoadedBytes(kep::ISoundInspector& inspector) {
    std::uint64_t total = 0;
    for (const std::string& name : inspector.ListSounds()) {
        kep::SoundDescription sound;
        total += inspector.DescribeSound(name, sound) ? sound.byteSize : 0;
    }
    return total;
}

MemoryGuard::MemoryGuard(std::uint64_t allowance, Held held)
    : base_(ResidentBytes()),
      allowance_(allowance + kSanitizerAllowance),
      held_(std::move(held)),
      resident_(base_) {}

std::uint64_t MemoryGuard::Limit() const {
    return base_ + (held_ ? held_() : 0) + allowance_;
}

bool MemoryGuard::Breached() {
    const auto now = Clock::now();
    if (now - checked_ < kCheckPeriod) {
        return false;
    }
    checked_ = now;
    resident_ = ResidentBytes();
    return resident_ > Limit();
}

bool MemoryGuard::Recovered() {
    ::malloc_trim(0);
    resident_ = ResidentBytes();
    return resident_ <= Limit();
}

bool MemoryGuard::Settled() {
    if (Recovered()) {
        return true;
    }
    base_ += resident_ - Limit();
    return false;
}

}  // namespace replication
