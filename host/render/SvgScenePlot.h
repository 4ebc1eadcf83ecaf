#pragma once

#include <string>
#include <string_view>

#include "host/render/LevelTrace.h"
#include "host/scene/Scene.h"

// A picture of a scene and what its listener heard, as an SVG document: on the left
// the scene seen from above (paths coloured by time), on the right the level of
// each channel over time with the scene's events marked and labelled, under the
// title. Its size stays within a few megabytes whatever the scene.
std::string PlotScene(const LevelTrace& trace, const Scene& scene, std::string_view title);
