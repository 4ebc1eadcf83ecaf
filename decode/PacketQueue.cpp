#include "decode/PacketQueue.h"

namespace {

// About a millisecond at most, then the thread sleeps on the lock.
constexpr int kLockPolls = 20000;

void CpuRelax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

}  // namespace

void PacketQueue::Push(ffmpeg::PacketPtr packet) {
    const std::unique_lock lock = LockSoon();
    packets.push_back(std::move(packet));
    queued = packets.size();
}

std::unique_lock<std::mutex> PacketQueue::LockSoon() {
    std::unique_lock lock(mutex, std::try_to_lock);
    for (int poll = 0; !lock.owns_lock() && poll < kLockPolls; ++poll) {
        CpuRelax();
        (void)lock.try_lock();
    }
    if (!lock.owns_lock()) {
        lock.lock();
    }
    return lock;
}
