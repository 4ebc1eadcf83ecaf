#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/scene/Scene.h"

// A moment of a scene worth marking: Play or Stop pressed on an object or a
// source, or the camera at one of its keyframes.
struct SceneEvent {
    enum class Kind { Play, Stop, CameraKey };
    enum class Target { Object, Source, Camera };

    double time = 0;  // seconds
    Kind kind = Kind::Play;
    Target target = Target::Object;
    std::size_t index = 0;  // of the object, source or keyframe
    std::string label;      // "play door", "camera 2"
};

// Every event of the scene in time order. At one moment stops come before plays,
// so that a sound stopped and played at once starts again.
std::vector<SceneEvent> TimelineOf(const Scene& scene);
