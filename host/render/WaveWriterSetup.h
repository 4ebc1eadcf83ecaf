#pragma once

#include <filesystem>
#include <memory>
#include <string>

// OpenAL Soft's wave-writer backend for this process: while it lives, ALSOFT_CONF
// names a configuration of the host's own, in a temporary folder, that has the
// device write what the listener hears to a WAV file there, in real time.
// OpenAL Soft reads its configuration when the first device opens, so this is
// made before the sound system starts.
class WaveWriterSetup {
public:
    // Null, with the reason in `error`, if the user has ALSOFT_CONF set (theirs is
    // not replaced behind their back) or the folder cannot be made. An
    // ALSOFT_DRIVERS setting, which would override the configuration's driver,
    // is dropped for this process, with a log line saying so.
    static std::unique_ptr<WaveWriterSetup> Create(int sampleRate, std::string& error);
    ~WaveWriterSetup();  // removes the folder and unsets ALSOFT_CONF
    WaveWriterSetup(const WaveWriterSetup&) = delete;
    WaveWriterSetup& operator=(const WaveWriterSetup&) = delete;

    // The WAV the device writes; complete once the device has closed.
    std::filesystem::path recording() const { return folder_ / "heard.wav"; }

private:
    explicit WaveWriterSetup(std::filesystem::path folder) : folder_(std::move(folder)) {}

    std::filesystem::path folder_;
};
