#include "decode/OpenAlCapabilities.h"

#include <AL/al.h>

bool OpenAlCapabilities::HasExtension(const char* name) const {
    return alIsExtensionPresent(name) != AL_FALSE;
}

std::uint32_t OpenAlCapabilities::EnumValue(const char* formatName) const {
    return static_cast<std::uint32_t>(alGetEnumValue(formatName));
}
