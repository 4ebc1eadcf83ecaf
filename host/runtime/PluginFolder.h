#pragma once

#include <filesystem>

// Where kep-host looks for plug-in libraries when --plugins names no folder: the
// installed plug-in folder beside the running program (<bin>/../lib/kep/plugins)
// when it exists, so that an installed kep-host never reaches into a build tree;
// otherwise the folder of the build it was compiled in.
std::filesystem::path DefaultPluginFolder();
