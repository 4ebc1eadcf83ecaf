#pragma once

#include <chrono>

#include "host/runtime/InterruptWatch.h"

// Paces the host's frames and notices Ctrl-C, so that a running command can stop
// cleanly instead of dying with the device open.
class FrameClock {
public:
    explicit FrameClock(std::chrono::nanoseconds period);
    FrameClock(const FrameClock&) = delete;
    FrameClock& operator=(const FrameClock&) = delete;

    // Sleeps until the next frame is due; false once the user has interrupted.
    bool Next();
    // When the next frame is due.
    std::chrono::steady_clock::time_point NextDue() const { return due_ + period_; }
    std::chrono::duration<double> Elapsed() const;
    static bool Interrupted() { return InterruptWatch::Interrupted(); }

private:
    InterruptWatch interrupts_;
    std::chrono::nanoseconds period_;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point due_;
};
