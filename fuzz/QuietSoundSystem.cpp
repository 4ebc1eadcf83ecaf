#include "fuzz/QuietSoundSystem.h"

#include <cstdlib>
#include <memory>

extern "C" {
#include <libavutil/log.h>
}

#include "kep/Messages.h"

namespace {

class QuietSink final : public kep::MessageSink {
public:
    void write(kep::MessageLevel, std::string_view) override {}
};

}  // namespace

SoundSystem& QuietSoundSystem(bool replicating) {
    setenv("ALSOFT_DRIVERS", "null", 0);
    kep::SetMessageSink(std::make_shared<QuietSink>());
    av_log_set_level(AV_LOG_QUIET);
    // Never destroyed, since the fuzzer ends the process from inside its loop; held
    // by a static, so LeakSanitizer sees it reachable.
    static auto* system = new std::shared_ptr<SoundSystem>(std::dynamic_pointer_cast<SoundSystem>(
        kep::Object::create(util::type_id_of<SoundSystem>())));
    (*system)->Start(replicating);
    return **system;
}
