#pragma once

#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "kep/ISoundInspector.h"
#include "kep/ISoundSystem.h"

// What a sound system holds, as JSON that two instances in step write alike: its
// sounds (name, duration) and its sources (id, position, gain, looping, mounted
// sound, playing). Nothing that differs between instances goes in: no OpenAL
// names, no file paths (each machine resolves its own).
nlohmann::json DescribeState(kep::ISoundSystem& sound, kep::ISoundInspector& inspector);

// Writes the document, indented; false with the reason in `error`.
bool WriteState(const std::filesystem::path& file, const nlohmann::json& state, std::string& error);
