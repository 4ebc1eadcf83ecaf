#include "host/render/LevelTrace.h"

#include <algorithm>
#include <cmath>

namespace {

double LevelDb(double power, std::size_t frames, double floorDb) {
    return std::max(10 * std::log10(power / static_cast<double>(frames)), floorDb);
}

}  // namespace

LevelMeter::LevelMeter(int channels, int sampleRate, double windowSeconds, double floorDb)
    : trace_{windowSeconds, floorDb, std::vector<std::vector<double>>(channels)},
      windowFrames_(std::max<std::size_t>(1, static_cast<std::size_t>(windowSeconds * sampleRate))),
      power_(channels) {}

void LevelMeter::Add(const float* samples, std::size_t frames) {
    const std::size_t channels = power_.size();
    for (std::size_t frame = 0; frame < frames; ++frame) {
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const double sample = samples[frame * channels + channel];
            power_[channel] += sample * sample;
        }
        if (++filled_ == windowFrames_) {
            for (std::size_t channel = 0; channel < channels; ++channel) {
                trace_.channels[channel].push_back(
                    LevelDb(power_[channel], filled_, trace_.floorDb));
                power_[channel] = 0;
            }
            filled_ = 0;
        }
    }
}

LevelTrace LevelMeter::Trace() const {
    LevelTrace trace = trace_;
    if (filled_ > 0) {
        for (std::size_t channel = 0; channel < power_.size(); ++channel) {
            trace.channels[channel].push_back(LevelDb(power_[channel], filled_, trace.floorDb));
        }
    }
    return trace;
}
