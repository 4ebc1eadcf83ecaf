// Any file: its bytes written to a temporary file and decoded whole.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "decode/FFStream.h"
#include "fuzz/QuietSoundSystem.h"

namespace {

// One file per process, rewritten for every input and removed at exit.
const std::string& TemporaryFile() {
    static const std::string path = [] {
        std::string name = "/tmp/kep-decoder-fuzz-XXXXXX";
        const int descriptor = mkstemp(name.data());
        if (descriptor < 0) {
            std::abort();
        }
        close(descriptor);
        std::atexit([] { std::remove(TemporaryFile().c_str()); });
        return name;
    }();
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The decoder needs a current OpenAL context: the system's device gives it one.
    static SoundSystem& system = QuietSoundSystem(false);
    (void)system;
    std::FILE* file = std::fopen(TemporaryFile().c_str(), "wb");
    if (!file || std::fwrite(data, 1, size, file) != size || std::fclose(file) != 0) {
        std::abort();
    }
    try {
        const FFStream stream(TemporaryFile());
    } catch (const std::exception&) {
        // Refused files are reported by an exception; only a crash is a finding.
    }
    return 0;
}
