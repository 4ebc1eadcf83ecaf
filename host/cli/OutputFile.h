#pragma once

#include <filesystem>

// Whether a file can be written there: its folder exists, or has been made, and
// the file can be opened for writing (a file that was not there is not left
// behind). Checked before a long run, so that its result is not lost at the end.
// False, with the reason on standard error, if not.
bool Writable(const std::filesystem::path& file);

// Whether two paths name one file: the same file where both exist (hard links
// and links included), else the same path once made absolute and normal.
bool SameFile(const std::filesystem::path& one, const std::filesystem::path& other);
