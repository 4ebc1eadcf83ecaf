#pragma once

#include <filesystem>

// A file can be written there: its folder exists, or has been made. False, with
// the reason on standard error, if not.
bool FolderMade(const std::filesystem::path& file);
