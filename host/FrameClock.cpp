#include "host/FrameClock.h"

#include <csignal>
#include <thread>

namespace {

std::atomic<bool> interrupted{false};

extern "C" void OnInterrupt(int) {
    interrupted = true;
}

}  // namespace

FrameClock::FrameClock(std::chrono::nanoseconds period)
    : period_(period), start_(std::chrono::steady_clock::now()), due_(start_) {
    interrupted = false;
    std::signal(SIGINT, &OnInterrupt);
    std::signal(SIGTERM, &OnInterrupt);
}

FrameClock::~FrameClock() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

bool FrameClock::Next() {
    due_ += period_;
    std::this_thread::sleep_until(due_);
    return !interrupted;
}

std::chrono::duration<double> FrameClock::Elapsed() const {
    return std::chrono::steady_clock::now() - start_;
}

bool FrameClock::Interrupted() {
    return interrupted;
}
