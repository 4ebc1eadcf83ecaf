#pragma once

#include <memory>
#include <string_view>

#include "kep/Messages.h"
#include "plugin/SoundSystem.h"

// What the benchmark programs share: sound systems made and started as a host
// would, and log lines dropped so that only the figures are printed.

inline std::shared_ptr<SoundSystem> StartedSystem(bool replicating) {
    auto system = std::dynamic_pointer_cast<SoundSystem>(
        kep::Object::create(util::type_id_of<SoundSystem>()));
    system->Start(replicating);
    return system;
}

inline void DropLogLines() {
    class QuietSink final : public kep::MessageSink {
    public:
        void write(kep::MessageLevel, std::string_view) override {}
    };
    kep::SetMessageSink(std::make_shared<QuietSink>());
}
