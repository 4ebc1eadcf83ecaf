#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kep/PluginManager.h"
#include "kep/Subsystem.h"
#include "plugin/SoundSystem.h"

// A SoundSystem made through its registered factory and adopted by a plug-in
// manager installed as subsystem 0, as a host would. Stops and lets go of
// everything when it goes.
class SoundSystemHarness {
public:
    SoundSystemHarness() : manager_(std::make_shared<kep::PluginManager>()) {
        previous_ = kep::SetSubsystem(kep::SubsystemId::PluginManager, manager_);
    }
    ~SoundSystemHarness() {
        manager_->Clear();
        kep::SetSubsystem(kep::SubsystemId::PluginManager, previous_);
    }
    SoundSystemHarness(const SoundSystemHarness&) = delete;
    SoundSystemHarness& operator=(const SoundSystemHarness&) = delete;

    // Creates (declaring parameters and local data) another sound system.
    SoundSystem& Add(const std::string& tag = "sound") {
        auto object = kep::Object::create(util::type_id_of<SoundSystem>());
        auto* system = dynamic_cast<SoundSystem*>(object.get());
        manager_->AddPlugin(std::dynamic_pointer_cast<kep::BasePlugin>(object), tag);
        return *system;
    }
    void Start(SoundSystem& system, bool replicating) { manager_->Start(system, replicating); }
    void Stop(SoundSystem& system) { manager_->Stop(system); }
    kep::PluginManager& manager() { return *manager_; }

private:
    std::shared_ptr<kep::PluginManager> manager_;
    std::shared_ptr<kep::ISubsystem> previous_;
};

// What a sound system writes for the host to carry: a batch, or with `full` its
// whole state.
inline std::vector<std::uint8_t> WriteFrame(SoundSystem& system, bool full,
                                            uxs::byte_order order = uxs::byte_order::little) {
    uxs::iobuf buffer(order);
    system.serialize(buffer, full);
    return {buffer.data().begin(), buffer.data().end()};
}

// Hands a carried frame to a sound system for its next update.
inline void ReadFrame(SoundSystem& system, const std::vector<std::uint8_t>& frame,
                      uxs::byte_order order = uxs::byte_order::little) {
    uxs::ibuf buffer(frame, order);
    system.deserialize(buffer);
}
