#pragma once

#include <memory>
#include <string>

// The device a render plays into: OpenAL Soft's loopback device, which mixes
// only when asked and exactly as many samples as asked, so a scene renders as
// fast as the machine allows and the same way every time.
//
// How the sound system gets it: the plug-in opens its device as it always does,
// with alcOpenDevice and alcCreateContext. kep-host defines those two functions
// itself and exports them, and an executable comes first in the dynamic linker's
// search order, so the plug-in's calls land here. While a LoopbackDevice is
// armed, they open the loopback device and give its context the render's format;
// otherwise they hand the call to OpenAL Soft unchanged (run, play and join keep
// the real device). Every other call goes to OpenAL Soft directly.
struct LoopbackFormat {
    int sampleRate = 44100;  // Hz
    bool hrtf = false;       // binaural stereo for headphones, through OpenAL Soft's HRTF
    int voices = 256;        // sources that may sound at once
};

class LoopbackDevice {
public:
    static constexpr int kChannels = 2;

    // Null, with the reason in `error`, if OpenAL Soft cannot render that format
    // on a loopback device, or a device is armed already.
    static std::unique_ptr<LoopbackDevice> Arm(const LoopbackFormat& format, std::string& error);
    ~LoopbackDevice();  // disarms; the sound system closes the device itself
    LoopbackDevice(const LoopbackDevice&) = delete;
    LoopbackDevice& operator=(const LoopbackDevice&) = delete;

    // Whether the sound system opened the device and made its context; false with
    // the reason in `error` if not, or if it could not have what was asked (HRTF).
    [[nodiscard]] bool Opened(std::string& error) const;
    // Mixes the next `frames` frames of interleaved stereo float samples.
    void Render(float* samples, int frames) const;

    const LoopbackFormat& format() const { return format_; }

private:
    explicit LoopbackDevice(const LoopbackFormat& format) : format_(format) {}

    LoopbackFormat format_;
};
