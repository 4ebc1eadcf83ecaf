#pragma once

#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "kep/ISoundInspector.h"
#include "kep/ISoundSystem.h"

// What a sound system holds, as JSON that two instances in step write alike:
//   sounds   name; seconds, the exact length of its buffer (null if it cannot be
//            described); wholeSeconds, the sound system's own duration (whole
//            seconds, rounded up)
//   sources  id, position, gain, looping, the mounted sound, and live: the sound
//            system's IsPlaying, true while the source exists, stopped or not
// Nothing that differs between instances goes in: no OpenAL names, no file paths
// (each machine resolves its own), and not whether OpenAL is sounding a source
// now: a joiner starts a sound when its batch arrives, and one that caught up by
// a snapshot starts every started source again from its beginning, looping.
nlohmann::json DescribeState(kep::ISoundSystem& sound, kep::ISoundInspector& inspector);

// Writes the document, indented; false with the reason in `error`.
bool WriteState(const std::filesystem::path& file, const nlohmann::json& state, std::string& error);
