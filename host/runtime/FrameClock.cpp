#include "host/runtime/FrameClock.h"

#include <thread>

FrameClock::FrameClock(std::chrono::nanoseconds period)
    : period_(period), start_(std::chrono::steady_clock::now()), due_(start_) {}

bool FrameClock::Next() {
    due_ += period_;
    std::this_thread::sleep_until(due_);
    return !Interrupted();
}

std::chrono::duration<double> FrameClock::Elapsed() const {
    return std::chrono::steady_clock::now() - start_;
}
