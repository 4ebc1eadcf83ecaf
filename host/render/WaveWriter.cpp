#include "host/render/WaveWriter.h"

#include <array>
#include <vector>

namespace {

// The speakers of a sound's channels as a WAV's channel mask names them; other
// counts get libsndfile's default mask.
std::vector<int> SpeakersOf(int channels) {
    if (channels == 1) {
        return {SF_CHANNEL_MAP_MONO};
    }
    if (channels == 2) {
        return {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT};
    }
    return {};
}

}  // namespace

std::unique_ptr<WaveWriter> WaveWriter::Create(const std::filesystem::path& file, int channels,
                                               int sampleRate, std::string& error) {
    SF_INFO info{};
    info.channels = channels;
    info.samplerate = sampleRate;
    info.format = SF_FORMAT_WAVEX | SF_FORMAT_FLOAT;
    SNDFILE* opened = sf_open(file.c_str(), SFM_WRITE, &info);
    if (!opened) {
        error = sf_strerror(nullptr);
        return nullptr;
    }
    std::unique_ptr<WaveWriter> writer(new WaveWriter(opened));
    // A peak chunk carries the time it was written: two renders of one scene
    // would differ in it.
    sf_command(opened, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    if (std::vector<int> speakers = SpeakersOf(channels); !speakers.empty()) {
        sf_command(opened, SFC_SET_CHANNEL_MAP_INFO, speakers.data(),
                   static_cast<int>(speakers.size() * sizeof(int)));
    }
    return writer;
}

bool WaveWriter::Write(const float* samples, std::size_t frames) {
    const auto written = sf_writef_float(file_.get(), samples, static_cast<sf_count_t>(frames));
    frames_ += static_cast<std::size_t>(std::max<sf_count_t>(written, 0));
    return written == static_cast<sf_count_t>(frames);
}

bool WaveWriter::Close() {
    if (!file_) {
        return true;
    }
    return sf_close(file_.release()) == 0;
}
