#include "host/render/LevelTrace.h"

#include <algorithm>
#include <cmath>

LevelTrace MeasureLevels(const WaveData& wave, double windowSeconds, double floorDb) {
    LevelTrace trace{windowSeconds, floorDb, {}};
    const auto windowFrames =
        std::max<std::size_t>(1, static_cast<std::size_t>(windowSeconds * wave.sampleRate));
    trace.channels.resize(wave.channels);
    for (std::size_t first = 0; first < wave.frames(); first += windowFrames) {
        const std::size_t count = std::min(windowFrames, wave.frames() - first);
        for (int channel = 0; channel < wave.channels; ++channel) {
            double power = 0;
            for (std::size_t frame = first; frame < first + count; ++frame) {
                const double sample = wave.samples[frame * wave.channels + channel];
                power += sample * sample;
            }
            const double level = 10 * std::log10(power / count);
            trace.channels[channel].push_back(std::max(level, floorDb));
        }
    }
    return trace;
}
