#include "host/render/WaveWriterSetup.h"

#include <cstdlib>
#include <fstream>
#include <system_error>

#include <fmt/format.h>

#include "kep/Messages.h"

namespace {

// Stereo float, so that nothing is clipped or rounded on the way to the file;
// short periods, so that what is played reaches the file soon after it starts;
// plain stereo panning without HRTF, whatever the machine's own settings.
constexpr const char* kConfiguration =
    "[general]\n"
    "drivers = wave\n"
    "channels = stereo\n"
    "sample-type = float32\n"
    "frequency = {0}\n"
    "period_size = 256\n"
    "periods = 2\n"
    "hrtf = false\n"
    "stereo-mode = speakers\n"
    "[wave]\n"
    "file = {1}\n"
    "bformat = false\n";

}  // namespace

std::unique_ptr<WaveWriterSetup> WaveWriterSetup::Create(int sampleRate, std::string& error) {
    if (const char* userConfiguration = std::getenv("ALSOFT_CONF")) {
        error = fmt::format(
            "ALSOFT_CONF is set ({}); a recording writes its own OpenAL Soft configuration "
            "and will not replace yours: unset ALSOFT_CONF to record",
            userConfiguration);
        return nullptr;
    }
    std::error_code status;
    std::string pattern =
        (std::filesystem::temp_directory_path(status) / "kep-host-recording.XXXXXX");
    if (status || !mkdtemp(pattern.data())) {
        error = "no temporary folder could be made for the wave writer";
        return nullptr;
    }
    std::unique_ptr<WaveWriterSetup> setup(new WaveWriterSetup(pattern));
    const std::filesystem::path configuration = setup->folder_ / "alsoft.conf";
    std::ofstream file(configuration);
    file << fmt::format(kConfiguration, sampleRate, setup->recording().string());
    file.close();
    if (!file) {
        error = fmt::format("{} could not be written", configuration.string());
        return nullptr;
    }
    if (const char* drivers = std::getenv("ALSOFT_DRIVERS")) {
        kep::Info()(
            "kep-host: ALSOFT_DRIVERS={} is ignored for this recording: it would override "
            "the wave writer",
            drivers);
        unsetenv("ALSOFT_DRIVERS");
    }
    setenv("ALSOFT_CONF", configuration.c_str(), 1);
    return setup;
}

WaveWriterSetup::~WaveWriterSetup() {
    unsetenv("ALSOFT_CONF");
    std::error_code status;
    std::filesystem::remove_all(folder_, status);
}
