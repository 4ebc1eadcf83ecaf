#pragma once

#include <string>

#include "host/render/SvgDocument.h"

// The colours that say when: a scale from deep blue at a scene's start through
// purple and red to orange at its end, even in lightness so that no moment stands
// out, and dark enough throughout to show on white.

// How many steps the scale has as drawn: a path is coloured step by step.
constexpr int kTimeColourSteps = 32;

// The colour of a moment, as a fraction of the scene's duration (0 to 1; beyond
// is held), as "#rrggbb".
std::string TimeColour(double fraction);

// The scale as a bar across `bar`, its steps left to right, with the scene's start
// and end marked in seconds under it and its name beside it.
void DrawTimeLegend(std::string& svg, const SvgBox& bar, double duration);
