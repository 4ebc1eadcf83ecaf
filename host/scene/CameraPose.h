#pragma once

#include "host/scene/Scene.h"
#include "kep/HumanInput.h"

// kepcore's poses are Z-up with +Y ahead at zero angles, while a scene speaks
// OpenAL's axes (+Y up, -Z ahead). The sound system hands the vectors that
// eye_dir_up gives straight to OpenAL, so a camera offered to it as a human-input
// plug-in must carry the pose whose eye_dir_up gives back the scene's own numbers.

// That pose: eye_dir_up of it gives the view's eye, its direction (normalised)
// and its up made perpendicular to the direction.
kep::math::pos_6d PoseOf(const View& view);

// Between two views: the eye moves along a line; the camera turns at a steady
// rate the shorter way round (a half turn goes whichever way it picks).
View BlendViews(const View& from, const View& to, double fraction);
