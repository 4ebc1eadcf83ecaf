#include "host/render/WaveFile.h"

#include <memory>

#include <sndfile.h>

#include "host/render/WaveWriter.h"

bool ReadWave(const std::filesystem::path& file, WaveData& wave, std::string& error) {
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, decltype(&sf_close)> opened(
        sf_open(file.c_str(), SFM_READ, &info), &sf_close);
    if (!opened) {
        error = sf_strerror(nullptr);
        return false;
    }
    wave.channels = info.channels;
    wave.sampleRate = info.samplerate;
    wave.samples.resize(static_cast<std::size_t>(info.frames) * info.channels);
    const sf_count_t read = sf_readf_float(opened.get(), wave.samples.data(), info.frames);
    wave.samples.resize(static_cast<std::size_t>(std::max<sf_count_t>(read, 0)) * info.channels);
    return true;
}

bool WriteWave(const std::filesystem::path& file, const WaveData& wave) {
    std::string error;
    const auto writer = WaveWriter::Create(file, wave.channels, wave.sampleRate, error);
    return writer && writer->Write(wave.samples.data(), wave.frames()) && writer->Close();
}
