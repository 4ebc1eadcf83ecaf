#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/render/LevelTrace.h"
#include "host/scene/SceneTimeline.h"

// A picture for a person: the level of each channel (left and right for a
// stereo sound) over the scene's time, with its events marked and labelled,
// as an SVG document.
std::string PlotLevels(const LevelTrace& trace, const std::vector<SceneEvent>& events,
                       double duration, std::string_view title);
