#pragma once

#include <string_view>

#include "kep/Plugin.h"
#include "uxs/guid.h"

// What the library tells the host about itself and its one plug-in.
kep::PluginLibraryDescriptor& LibraryDescriptor();
const uxs::guid& SoundSystemTypeGuid();
inline constexpr std::string_view kSoundSystemTypeName = "SoundSystem";
