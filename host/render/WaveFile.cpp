#include "host/render/WaveFile.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>

namespace {

constexpr std::uint16_t kFormatPcm = 1;
constexpr std::uint16_t kFormatFloat = 3;
// The extensible format names the real one in the first two bytes of its subformat.
constexpr std::uint16_t kFormatExtensible = 0xFFFE;
constexpr std::size_t kExtensibleSubformat = 24;

// Little-endian fields, whatever the machine's byte order.
std::uint32_t ReadLittle(const char* bytes, int width) {
    std::uint32_t value = 0;
    for (int i = width - 1; i >= 0; --i) {
        value = value << 8 | static_cast<std::uint8_t>(bytes[i]);
    }
    return value;
}

void PutLittle(std::string& out, std::uint32_t value, int width) {
    for (int i = 0; i < width; ++i) {
        out.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
    }
}

struct SampleFormat {
    std::uint16_t tag = 0;
    int bits = 0;
};

bool Readable(SampleFormat format) {
    return format.tag == kFormatFloat
               ? format.bits == 32
               : format.tag == kFormatPcm && (format.bits == 16 || format.bits == 32);
}

// One sample of a readable format as a float at full scale 1.
float DecodeSample(const char* bytes, SampleFormat format) {
    const std::uint32_t raw = ReadLittle(bytes, format.bits / 8);
    if (format.tag == kFormatFloat) {
        float sample = 0;
        std::memcpy(&sample, &raw, sizeof sample);
        return sample;
    }
    return format.bits == 16 ? static_cast<std::int16_t>(raw) / 32768.0f
                             : static_cast<float>(static_cast<std::int32_t>(raw) / 2147483648.0);
}

}  // namespace

WaveData WaveData::Slice(std::size_t first, std::size_t count) const {
    WaveData slice{channels, sampleRate, {}};
    first = std::min(first, frames());
    count = std::min(count, frames() - first);
    const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(first * channels);
    slice.samples.assign(begin, begin + static_cast<std::ptrdiff_t>(count * channels));
    return slice;
}

bool ReadWave(const std::filesystem::path& file, WaveData& wave, std::string& error) {
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    const std::string_view all(bytes);
    if (!stream.is_open() || all.size() < 12 || all.substr(0, 4) != "RIFF" ||
        all.substr(8, 4) != "WAVE") {
        error = "not a WAVE file";
        return false;
    }
    SampleFormat format;
    std::string_view data;
    for (std::size_t at = 12; at + 8 <= all.size();) {
        const std::string_view id = all.substr(at, 4);
        std::size_t size = ReadLittle(all.data() + at + 4, 4);
        at += 8;
        // A writer that never came back to fill in its sizes leaves 0 or too much:
        // the data then runs to the end of the file.
        if (id == "data" && (size == 0 || size > all.size() - at)) {
            size = all.size() - at;
        }
        const std::string_view body = all.substr(at, std::min(size, all.size() - at));
        if (id == "fmt " && body.size() >= 16) {
            format.tag = static_cast<std::uint16_t>(ReadLittle(body.data(), 2));
            wave.channels = static_cast<int>(ReadLittle(body.data() + 2, 2));
            wave.sampleRate = static_cast<int>(ReadLittle(body.data() + 4, 4));
            format.bits = static_cast<int>(ReadLittle(body.data() + 14, 2));
            if (format.tag == kFormatExtensible && body.size() >= kExtensibleSubformat + 2) {
                format.tag =
                    static_cast<std::uint16_t>(ReadLittle(body.data() + kExtensibleSubformat, 2));
            }
        } else if (id == "data") {
            data = body;
        }
        at += size + (size & 1);  // chunks are padded to an even size
    }
    if (wave.channels <= 0 || wave.sampleRate <= 0 || !Readable(format)) {
        error = "not 16- or 32-bit integer or 32-bit float PCM";
        return false;
    }
    const std::size_t sampleBytes = format.bits / 8;
    const std::size_t count = data.size() / sampleBytes / wave.channels * wave.channels;
    wave.samples.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        wave.samples[i] = DecodeSample(data.data() + i * sampleBytes, format);
    }
    return true;
}

bool WriteWave(const std::filesystem::path& file, const WaveData& wave) {
    constexpr std::uint32_t kFormatBytes = 16;
    const auto dataBytes = static_cast<std::uint32_t>(wave.samples.size() * sizeof(float));
    std::string header = "RIFF";
    PutLittle(header, 4 + (8 + kFormatBytes) + (8 + dataBytes), 4);
    header += "WAVEfmt ";
    PutLittle(header, kFormatBytes, 4);
    PutLittle(header, kFormatFloat, 2);
    PutLittle(header, wave.channels, 2);
    PutLittle(header, wave.sampleRate, 4);
    PutLittle(header, wave.sampleRate * wave.channels * sizeof(float), 4);  // bytes per second
    PutLittle(header, wave.channels * sizeof(float), 2);                    // bytes per frame
    PutLittle(header, 32, 2);
    header += "data";
    PutLittle(header, dataBytes, 4);
    std::string body;
    body.reserve(dataBytes);
    for (float sample : wave.samples) {
        std::uint32_t raw = 0;
        std::memcpy(&raw, &sample, sizeof raw);
        PutLittle(body, raw, 4);
    }
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream << header << body;
    stream.close();
    return !stream.fail();
}
