#pragma once

#include <cstddef>
#include <vector>

// How loud each channel of a sound is over time: the RMS level of short windows
// in dB relative to full scale (a full-scale sine reads -3 dB).
struct LevelTrace {
    double windowSeconds = 0;
    double floorDb = 0;                         // silence, and anything quieter, reads this
    std::vector<std::vector<double>> channels;  // [channel][window]
};

// Measures a sound's levels as it is made, block by block, without keeping it.
class LevelMeter {
public:
    LevelMeter(int channels, int sampleRate, double windowSeconds, double floorDb);

    // `frames` frames of interleaved samples.
    void Add(const float* samples, std::size_t frames);
    // The trace so far; a last window that is not full counts what it has.
    LevelTrace Trace() const;

private:
    LevelTrace trace_;
    std::size_t windowFrames_;
    std::vector<double> power_;  // of the window being filled, per channel
    std::size_t filled_ = 0;     // frames in it
};
