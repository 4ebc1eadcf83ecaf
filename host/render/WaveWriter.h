#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

#include <sndfile.h>

// A WAV file written as a sound is made: 32-bit float in the extensible format,
// whose channel mask says which speaker each channel is for (left and right for
// stereo), so that readers take it as float and as stereo. Its header is
// complete once the writer is closed or destroyed, wherever the sound stopped.
class WaveWriter {
public:
    // Null, with the reason in `error`, if the file cannot be made.
    static std::unique_ptr<WaveWriter> Create(const std::filesystem::path& file, int channels,
                                              int sampleRate, std::string& error);

    // `frames` frames of interleaved samples, full scale at +-1. False if the
    // file could not take them (the disk is full, say).
    [[nodiscard]] bool Write(const float* samples, std::size_t frames);
    // Completes the header; false if the file could not be completed.
    [[nodiscard]] bool Close();
    std::size_t framesWritten() const { return frames_; }

private:
    struct Closer {
        void operator()(SNDFILE* file) const { sf_close(file); }
    };

    explicit WaveWriter(SNDFILE* file) : file_(file) {}

    std::unique_ptr<SNDFILE, Closer> file_;
    std::size_t frames_ = 0;
};
