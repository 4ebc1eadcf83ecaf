#pragma once

#include <cstdint>

// What the output format selection asks of the audio device: which extensions it
// offers, and the enumerators of formats that have no constant in the headers.
class DeviceCapabilities {
public:
    virtual ~DeviceCapabilities() = default;

    [[nodiscard]] virtual bool HasExtension(const char* name) const = 0;
    // The device's value for a format name; the caller stores it unchecked.
    [[nodiscard]] virtual std::uint32_t EnumValue(const char* formatName) const = 0;
};
