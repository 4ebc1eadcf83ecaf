#pragma once

#include <vector>

#include "host/render/WaveFile.h"

// How loud each channel of a sound is over time: the RMS level of short windows
// in dB relative to full scale (a full-scale sine reads -3 dB).
struct LevelTrace {
    double windowSeconds = 0;
    double floorDb = 0;                         // silence, and anything quieter, reads this
    std::vector<std::vector<double>> channels;  // [channel][window]
};

LevelTrace MeasureLevels(const WaveData& wave, double windowSeconds, double floorDb);
