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
};

// Reads a sound file libsndfile knows (OpenAL Soft's wave writer's WAV among
// them) as float samples. False with the reason in `error` if it cannot.
[[nodiscard]] bool ReadWave(const std::filesystem::path& file, WaveData& wave, std::string& error);

// Writes the sound as a 32-bit float WAV (see WaveWriter); false if the file
// could not be written.
[[nodiscard]] bool WriteWave(const std::filesystem::path& file, const WaveData& wave);
