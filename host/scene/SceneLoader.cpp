#include "host/scene/SceneLoader.h"

#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <set>
#include <system_error>

#include <fmt/format.h>

#include "host/scene/CameraPose.h"
#include "host/scene/JsonWithLines.h"
#include "host/scene/SceneFields.h"
#include "kep/DataManager.h"

namespace {

using nlohmann::json;

// Many more frames than a host draws would only spin the processor.
constexpr double kMaxFrameRate = 1000;
// Linear gains beyond +60 dB only clip; a larger number is a mistake.
constexpr double kMaxGain = 1000;

std::vector<double> ReadTimes(ObjectFields& fields, std::string_view name, double duration) {
    std::vector<double> times;
    const json* value = fields.Optional(name);
    if (!value) {
        return times;
    }
    const std::string path = fields.PathOf(name);
    const json& list = ArrayAt(*value, path);
    for (std::size_t index = 0; index < list.size(); ++index) {
        const std::string elementPath = ElementPath(path, index);
        const double time = NumberAt(list[index], elementPath);
        if (time < 0 || time > duration) {
            throw SceneFault{elementPath, fmt::format("expected a time from 0 s to the duration, "
                                                      "{} s",
                                                      duration)};
        }
        times.push_back(time);
    }
    return times;
}

// Keyframes in increasing time, each an object read by readValue(fields, path).
template <class T, class ReadValue>
std::vector<Keyframe<T>> ReadKeyframes(const json& list, const std::string& path,
                                       ReadValue readValue) {
    std::vector<Keyframe<T>> keys;
    for (std::size_t index = 0; index < list.size(); ++index) {
        ObjectFields fields(list[index], ElementPath(path, index));
        Keyframe<T> key;
        key.time = NumberAt(fields.Required("time"), fields.PathOf("time"));
        if (key.time < 0 || (!keys.empty() && key.time <= keys.back().time)) {
            throw SceneFault{fields.PathOf("time"),
                             "expected a time of at least 0 s, later than the keyframe before"};
        }
        key.value = readValue(fields);
        fields.RejectOthers();
        keys.push_back(std::move(key));
    }
    if (keys.empty()) {
        throw SceneFault{path, "expected at least one keyframe"};
    }
    return keys;
}

std::string ReadSoundName(ObjectFields& fields, const Scene& scene) {
    std::string sound = StringAt(fields.Required("sound"), fields.PathOf("sound"));
    if (!scene.sounds.contains(sound)) {
        throw SceneFault{fields.PathOf("sound"), fmt::format("unknown sound \"{}\"", sound)};
    }
    return sound;
}

SceneObject ReadObject(const json& value, const std::string& path, const Scene& scene) {
    ObjectFields fields(value, path);
    SceneObject object;
    object.name = fields.String("name", path);
    object.sound = ReadSoundName(fields, scene);
    object.looping = fields.Bool("looping", false);
    object.gain = fields.Number("gain", 1, 0, kMaxGain);
    object.play = ReadTimes(fields, "play", scene.duration);
    object.stop = ReadTimes(fields, "stop", scene.duration);
    fields.RejectOthers();
    return object;
}

std::vector<Keyframe<osg::Vec3f>> ReadPosition(const json& value, const std::string& path) {
    const json& list = ArrayAt(value, path);
    if (list.empty()) {
        throw SceneFault{path,
                         "expected [x, y, z] or keyframes [{\"time\": t, \"at\": [x, y, z]}, ...]"};
    }
    if (list.front().is_number()) {
        return {{0, VectorAt(value, path)}};
    }
    return ReadKeyframes<osg::Vec3f>(list, path, [](ObjectFields& key) {
        return VectorAt(key.Required("at"), key.PathOf("at"));
    });
}

SceneSource ReadSource(const json& value, const std::string& path, const Scene& scene) {
    ObjectFields fields(value, path);
    SceneSource source;
    source.name = fields.String("name", path);
    source.sound = ReadSoundName(fields, scene);
    source.position = ReadPosition(fields.Required("position"), fields.PathOf("position"));
    source.direction = fields.Vector("direction", source.direction);
    if (const json* cone = fields.Optional("cone")) {
        ObjectFields coneFields(*cone, fields.PathOf("cone"));
        source.outerAngle = static_cast<float>(coneFields.Number("outerAngle", 360, 0, 360));
        source.outerGain = static_cast<float>(coneFields.Number("outerGain", 0, 0, 1));
        coneFields.RejectOthers();
    }
    source.gain = static_cast<float>(fields.Number("gain", 1, 0, kMaxGain));
    source.looping = fields.Bool("looping", false);
    source.play = ReadTimes(fields, "play", scene.duration);
    source.stop = ReadTimes(fields, "stop", scene.duration);
    fields.RejectOthers();
    return source;
}

View ReadView(ObjectFields& fields) {
    View view;
    view.eye = fields.Vector("eye", view.eye);
    view.direction = fields.Vector("direction", view.direction);
    view.up = fields.Vector("up", view.up);
    if (view.direction.length2() == 0) {
        throw SceneFault{fields.PathOf("direction"), "expected a direction, not [0, 0, 0]"};
    }
    osg::Vec3f side = view.direction ^ view.up;
    if (side.length2() <= 1e-12f * view.direction.length2() * view.up.length2()) {
        throw SceneFault{fields.PathOf("up"), "expected a direction across the view direction"};
    }
    return view;
}

std::vector<Keyframe<View>> ReadCamera(const json& value, const std::string& path) {
    ObjectFields fields(value, path);
    std::vector<Keyframe<View>> camera;
    if (const json* keys = fields.Optional("path")) {
        camera = ReadKeyframes<View>(ArrayAt(*keys, fields.PathOf("path")), fields.PathOf("path"),
                                     [](ObjectFields& key) { return ReadView(key); });
    } else {
        camera = {{0, ReadView(fields)}};
    }
    fields.RejectOthers();
    return camera;
}

void ReadSounds(const json& value, const std::filesystem::path& folder, Scene& scene) {
    ObjectFields fields(value, "sounds");
    kep::DataManager lookup;
    lookup.AddRoot(folder);
    for (const auto& [name, file] : value.items()) {
        const std::string path = fields.PathOf(name);
        scene.sounds[name] = StringAt(*fields.Optional(name), path);
        if (lookup.GetFilePath(scene.sounds[name]).empty()) {
            throw SceneFault{path, fmt::format("file not found: {}", scene.sounds[name])};
        }
    }
}

Scene ReadScene(const json& document, const std::filesystem::path& folder) {
    ObjectFields fields(document, "");
    Scene scene;
    scene.folder = folder;
    scene.duration = NumberAt(fields.Required("duration"), "duration");
    if (scene.duration <= 0) {
        throw SceneFault{"duration", "expected a number of seconds greater than 0"};
    }
    scene.frameRate = fields.Number("frameRate", scene.frameRate, 1, kMaxFrameRate);
    scene.volume = fields.Number("volume", scene.volume, 0, kMaxGain);
    if (const json* sounds = fields.Optional("sounds")) {
        ReadSounds(*sounds, folder, scene);
    }
    if (const json* objects = fields.Optional("objects")) {
        const json& list = ArrayAt(*objects, "objects");
        for (std::size_t index = 0; index < list.size(); ++index) {
            scene.objects.push_back(ReadObject(list[index], ElementPath("objects", index), scene));
        }
    }
    if (const json* sources = fields.Optional("sources")) {
        const json& list = ArrayAt(*sources, "sources");
        for (std::size_t index = 0; index < list.size(); ++index) {
            scene.sources.push_back(ReadSource(list[index], ElementPath("sources", index), scene));
        }
    }
    const json* camera = fields.Optional("camera");
    scene.camera = camera ? ReadCamera(*camera, "camera") : std::vector<Keyframe<View>>{{0, {}}};
    fields.RejectOthers();
    return scene;
}

std::string Located(const std::filesystem::path& file, int line, std::string_view path,
                    std::string_view message) {
    std::string text = file.string();
    if (line > 0) {
        text += fmt::format(":{}", line);
    }
    return path.empty() ? fmt::format("{}: {}", text, message)
                        : fmt::format("{}: {}: {}", text, path, message);
}

}  // namespace

std::optional<Scene> LoadScene(const std::filesystem::path& file, std::string& error) {
    std::error_code status;
    // Only regular files: reading a FIFO would wait for a writer.
    if (!std::filesystem::is_regular_file(file, status)) {
        error = Located(file, 0, "", "not found");
        return std::nullopt;
    }
    std::ifstream stream(file, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(stream), {}};
    if (!stream.is_open() || stream.bad()) {
        error = Located(file, 0, "", "cannot be read");
        return std::nullopt;
    }
    auto parsed = ParseJsonWithLines(content);
    if (const auto* syntax = std::get_if<JsonError>(&parsed)) {
        error = Located(file, syntax->line, syntax->path, syntax->message);
        return std::nullopt;
    }
    const auto& document = std::get<JsonWithLines>(parsed);
    try {
        Scene scene =
            ReadScene(document.document, std::filesystem::absolute(file, status).parent_path());
        scene.file = file;
        return scene;
    } catch (const SceneFault& fault) {
        error = Located(file, document.LineOf(fault.path), fault.path, fault.message);
        return std::nullopt;
    }
}
