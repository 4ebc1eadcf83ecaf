#pragma once

#include <chrono>
#include <cstdint>

// Bytes per second over the last second or so, from a running total.
class RateMeter {
public:
    double Update(std::uint64_t total) {
        const auto now = std::chrono::steady_clock::now();
        const std::chrono::duration<double> span = now - since_;
        if (span.count() >= 1) {
            rate_ = static_cast<double>(total - totalThen_) / span.count();
            since_ = now;
            totalThen_ = total;
        }
        return rate_;
    }

private:
    std::chrono::steady_clock::time_point since_ = std::chrono::steady_clock::now();
    std::uint64_t totalThen_ = 0;
    double rate_ = 0;
};
