#pragma once

#include <string>

#include "host/render/SvgDocument.h"
#include "host/scene/Scene.h"

// The scene seen from above, x across and z down the page (so that an unturned
// listener, facing -Z, faces up), with a metre grid: each source's path over the
// scene's time and the camera's (dashed), coloured by time, the way the listener
// faces at a few moments, the listener's start, the objects (which play at the
// origin), and the sources labelled by name. Paths with more keyframes than can be
// seen are thinned, so that what is drawn stays bounded whatever the scene.

// Room the map takes outside its square: its heading above, the z scale on the
// left, the x scale and the time colour legend below.
constexpr double kSceneMapRoomAbove = 26, kSceneMapRoomLeft = 56, kSceneMapRoomBelow = 78;

// Draws the map in the square `area`.
void DrawSceneMap(std::string& svg, const Scene& scene, const SvgBox& area);
