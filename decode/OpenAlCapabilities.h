#pragma once

#include "decode/DeviceCapabilities.h"

// The capabilities of the device of the current OpenAL context: each question is
// one OpenAL query, made when it is asked.
class OpenAlCapabilities final : public DeviceCapabilities {
public:
    [[nodiscard]] bool HasExtension(const char* name) const override;
    [[nodiscard]] std::uint32_t EnumValue(const char* formatName) const override;
};
