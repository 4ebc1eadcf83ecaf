#pragma once

// What the plug-in tests share: sound systems made as a host makes them, the
// frames they write and read, and bytes as readable hex.

#include <cctype>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "kep/PluginManager.h"
#include "kep/Subsystem.h"
#include "plugin/SoundSystem.h"

// Sound systems made through the registered factory and adopted by a plug-in
// manager installed as subsystem 0, as a host would. Everything is stopped and
// let go when it goes.
class SoundSystemHarness {
public:
    SoundSystemHarness() : manager(std::make_shared<kep::PluginManager>()) {
        previous = kep::SetSubsystem(kep::SubsystemId::PluginManager, manager);
    }
    ~SoundSystemHarness() {
        manager->Clear();
        kep::SetSubsystem(kep::SubsystemId::PluginManager, previous);
    }
    SoundSystemHarness(const SoundSystemHarness&) = delete;
    SoundSystemHarness& operator=(const SoundSystemHarness&) = delete;

    // Creates another sound system (parameters and local data declared), started
    // unless told otherwise.
    SoundSystem& Add(const std::string& tag, bool replicating = false, bool start = true) {
        auto object = kep::Object::create(util::type_id_of<SoundSystem>());
        manager->AddPlugin(std::dynamic_pointer_cast<kep::BasePlugin>(object), tag);
        auto& system = dynamic_cast<SoundSystem&>(*object);
        if (start) {
            manager->Start(system, replicating);
        }
        return system;
    }
    // Sets a parameter of the plug-in's global property ("" local: its local one).
    void Set(SoundSystem& system, std::string_view name, std::string_view value,
             bool local = false) {
        auto* property = local ? system.GetPluginLocalProperty() : system.GetPluginProperty();
        property->SetParameterText(name, value);
    }

    std::shared_ptr<kep::PluginManager> manager;

private:
    std::shared_ptr<kep::ISubsystem> previous;
};

// What a sound system writes for the host to carry: a batch, or with `full` its
// whole state.
inline std::vector<std::uint8_t> WriteFrame(kep::IInteractivePlugin& system, bool full = false,
                                            uxs::byte_order order = uxs::byte_order::little) {
    uxs::iobuf buffer(order);
    system.serialize(buffer, full);
    return buffer.take();
}

// Hands a carried frame to a sound system for its next update.
inline void ReadFrame(kep::IInteractivePlugin& system, std::span<const std::uint8_t> frame,
                      uxs::byte_order order = uxs::byte_order::little) {
    uxs::ibuf buffer(frame, order);
    system.deserialize(buffer);
}

// "0B 00 00 00 ..."
inline std::string Hex(std::span<const std::uint8_t> bytes) {
    return fmt::format("{:02X}", fmt::join(bytes, " "));
}

// The bytes of a hex string; blanks and '|' separate nothing.
inline std::vector<std::uint8_t> Bytes(std::string_view hex) {
    std::vector<std::uint8_t> bytes;
    std::string digits;
    for (char c : hex) {
        if (std::isxdigit(static_cast<unsigned char>(c)) && (digits += c).size() == 2) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits, nullptr, 16)));
            digits.clear();
        }
    }
    return bytes;
}
