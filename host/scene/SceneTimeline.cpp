#include "host/scene/SceneTimeline.h"

#include <algorithm>

#include <fmt/format.h>

namespace {

void AddPresses(std::vector<SceneEvent>& events, SceneEvent::Target target, std::size_t index,
                const std::string& name, const std::vector<double>& play,
                const std::vector<double>& stop) {
    for (double time : play) {
        events.push_back({time, SceneEvent::Kind::Play, target, index, "play " + name});
    }
    for (double time : stop) {
        events.push_back({time, SceneEvent::Kind::Stop, target, index, "stop " + name});
    }
}

}  // namespace

std::vector<SceneEvent> TimelineOf(const Scene& scene) {
    std::vector<SceneEvent> events;
    for (std::size_t index = 0; index < scene.objects.size(); ++index) {
        const SceneObject& object = scene.objects[index];
        AddPresses(events, SceneEvent::Target::Object, index, object.name, object.play,
                   object.stop);
    }
    for (std::size_t index = 0; index < scene.sources.size(); ++index) {
        const SceneSource& source = scene.sources[index];
        AddPresses(events, SceneEvent::Target::Source, index, source.name, source.play,
                   source.stop);
    }
    // A fixed camera has one keyframe, which marks nothing.
    for (std::size_t index = 0; scene.camera.size() > 1 && index < scene.camera.size(); ++index) {
        events.push_back({scene.camera[index].time, SceneEvent::Kind::CameraKey,
                          SceneEvent::Target::Camera, index, fmt::format("camera {}", index)});
    }
    std::stable_sort(events.begin(), events.end(), [](const SceneEvent& a, const SceneEvent& b) {
        return a.time < b.time || (a.time == b.time && a.kind == SceneEvent::Kind::Stop &&
                                   b.kind != SceneEvent::Kind::Stop);
    });
    return events;
}
