#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

// A sound as interleaved float samples, full scale at +-1.
struct WaveData {
    int channels = 0;
    int sampleRate = 0;  // Hz
    std::vector<float> samples;

    std::size_t frames() const { return channels ? samples.size() / channels : 0; }
    // The frames from `first` on, `count` of them or as many as there are.
    WaveData Slice(std::size_t first, std::size_t count) const;
};

// Reads a RIFF WAVE file of 16- or 32-bit integer or 32-bit float PCM, plain or
// in the extensible format, as OpenAL Soft's wave writer writes them. False
// with the reason in `error` if it cannot.
[[nodiscard]] bool ReadWave(const std::filesystem::path& file, WaveData& wave, std::string& error);

// Writes the sound as 32-bit float PCM; false if the file could not be written.
[[nodiscard]] bool WriteWave(const std::filesystem::path& file, const WaveData& wave);
