#include "host/scene/SceneLoader.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <system_error>

#include <fmt/format.h>

#include "host/scene/CameraPose.h"
#include "host/scene/JsonWithLines.h"
#include "host/scene/SceneDataRoot.h"
#include "host/scene/SceneFields.h"
#include "host/scene/SoundFileProbe.h"

namespace {

using nlohmann::json;

// Many more frames than a host draws would only spin the processor.
constexpr double kMaxFrameRate = 1000;
// Linear gains beyond +60 dB only clip; a larger number is a mistake.
constexpr double kMaxGain = 1000;
// OpenAL's AL_MAX_GAIN: a source's gain above it is heard as it.
constexpr double kMostHeardSourceGain = 1;

// A list no longer than its budget, checked before it is read.
const json& ListAt(const json& value, const std::string& path, std::size_t most,
                   std::string_view what) {
    const json& list = ArrayAt(value, path);
    if (list.size() > most) {
        throw SceneFault{path, fmt::format("expected at most {} {}", most, what)};
    }
    return list;
}

std::vector<double> ReadTimes(ObjectFields& fields, std::string_view name, double duration) {
    std::vector<double> times;
    const json* value = fields.Optional(name);
    if (!value) {
        return times;
    }
    const std::string path = fields.PathOf(name);
    const json& list = ListAt(*value, path, kMostPresses, "times");
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
    if (list.size() > kMostKeyframes) {
        throw SceneFault{path, fmt::format("expected at most {} keyframes", kMostKeyframes)};
    }
    std::vector<Keyframe<T>> keys;
    for (std::size_t index = 0; index < list.size(); ++index) {
        ObjectFields fields(list[index], ElementPath(path, index));
        Keyframe<T> key;
        key.time = NumberAt(fields.Required("time"), fields.PathOf("time"));
        if (key.time < 0 || (!keys.empty() && key.time <= keys.back().time)) {
            throw SceneFault{fields.PathOf("time"),
                             "expected a time of at least 0 s, later than the keyframe before"};
        }
        if (key.time > kMostSceneSeconds) {
            throw SceneFault{fields.PathOf("time"),
                             fmt::format("expected a time of at most {} s", kMostSceneSeconds)};
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
    object.name = fields.Name("name", path);
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
    source.name = fields.Name("name", path);
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
    if (value.size() > kMostSceneItems) {
        throw SceneFault{"sounds", fmt::format("expected at most {} sounds", kMostSceneItems)};
    }
    const SceneFileLookup lookup(folder);
    for (const auto& [name, file] : value.items()) {
        const std::string path = fields.PathOf(name);
        RejectControlCharacters(name, path);
        const std::string& written = scene.sounds[name] = StringAt(*fields.Optional(name), path);
        if (lookup.GetFilePath(written).empty()) {
            // Where a climbing name was looked for is not where a reader may think.
            throw SceneFault{path, SceneFileLookup::Climbs(written)
                                       ? fmt::format("file not found: {} ({})", written,
                                                     lookup.InFolder(written).string())
                                       : fmt::format("file not found: {}", written)};
        }
    }
}

// Each sound file once, after everything else was found right: probing reads
// files, the rest only the scene.
void ProbeSounds(const Scene& scene) {
    struct Probed {
        std::optional<std::string> why;
        double pcmBytes = 0;
    };
    const SceneFileLookup lookup(scene.folder);
    std::map<std::string, Probed> probed;  // by the file's path
    double pcmBytes = 0;                   // of every sound: each name is decoded anew
    for (const auto& [name, written] : scene.sounds) {
        const std::string file = lookup.GetFilePath(written);
        auto found = probed.find(file);
        if (found == probed.end()) {
            Probed result;
            result.why = ProbeSoundFile(file, &result.pcmBytes);
            found = probed.emplace(file, std::move(result)).first;
        }
        if (found->second.why) {
            throw SceneFault{MemberPath("sounds", name),
                             fmt::format("cannot be decoded: {}", *found->second.why)};
        }
        pcmBytes += found->second.pcmBytes;
        if (pcmBytes > static_cast<double>(kMostDecodedBytes)) {
            throw SceneFault{
                MemberPath("sounds", name),
                fmt::format("the scene's sounds up to this one decode to about {:.0f} MiB, "
                            "more than the {} MiB a scene may hold",
                            pcmBytes / (1 << 20), kMostDecodedBytes >> 20)};
        }
    }
}

// The longest a scene may last here, and why.
void CheckDuration(double duration, const SceneLimits& limits) {
    if (duration <= 0) {
        throw SceneFault{"duration", "expected a number of seconds greater than 0"};
    }
    if (duration > limits.maxDuration && limits.maxDuration < kMostSceneSeconds) {
        throw SceneFault{"duration", fmt::format("expected at most {} s ({:g} h) for this command",
                                                 limits.maxDuration, limits.maxDuration / 3600)};
    }
    if (duration > kMostSceneSeconds) {
        throw SceneFault{"duration", fmt::format("expected at most {} s (about {:.0f} days)",
                                                 kMostSceneSeconds, kMostSceneSeconds / 86400)};
    }
}

Scene ReadScene(const json& document, const std::filesystem::path& folder,
                const SceneLimits& limits) {
    ObjectFields fields(document, "");
    Scene scene;
    scene.folder = folder;
    scene.duration = NumberAt(fields.Required("duration"), "duration");
    CheckDuration(scene.duration, limits);
    scene.frameRate = fields.Number("frameRate", scene.frameRate, 1, kMaxFrameRate);
    scene.volume = fields.Number("volume", scene.volume, 0, kMaxGain);
    if (const json* sounds = fields.Optional("sounds")) {
        ReadSounds(*sounds, folder, scene);
    }
    if (const json* objects = fields.Optional("objects")) {
        const json& list = ListAt(*objects, "objects", kMostSceneItems, "objects");
        for (std::size_t index = 0; index < list.size(); ++index) {
            scene.objects.push_back(ReadObject(list[index], ElementPath("objects", index), scene));
        }
    }
    if (const json* sources = fields.Optional("sources")) {
        const json& list = ListAt(*sources, "sources", kMostSceneItems, "sources");
        for (std::size_t index = 0; index < list.size(); ++index) {
            scene.sources.push_back(ReadSource(list[index], ElementPath("sources", index), scene));
        }
    }
    const json* camera = fields.Optional("camera");
    scene.camera = camera ? ReadCamera(*camera, "camera") : std::vector<Keyframe<View>>{{0, {}}};
    fields.RejectOthers();
    ProbeSounds(scene);
    return scene;
}

// Control characters in a file name, a member's name or FFmpeg's text would break
// the one line a message is: they are written as JSON escapes.
std::string EscapeControlCharacters(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        escaped += code < 0x20 || code == 0x7f ? fmt::format("\\u{:04x}", code)
                                               : std::string(1, character);
    }
    return escaped;
}

std::string Located(const std::filesystem::path& file, int line, std::string_view path,
                    std::string_view message) {
    std::string text = file.string();
    if (line > 0) {
        text += fmt::format(":{}", line);
    }
    return EscapeControlCharacters(path.empty() ? fmt::format("{}: {}", text, message)
                                                : fmt::format("{}: {}: {}", text, path, message));
}

// A gain the scene gives that OpenAL hears as less.
struct CappedGain {
    std::string path;
    std::string written;
};

// The first capped gain in the file, if any.
std::optional<CappedGain> FirstCappedGain(const Scene& scene, const JsonWithLines& document) {
    std::optional<CappedGain> first;
    int firstLine = 0;
    const auto consider = [&](std::string path, std::string written) {
        const int line = document.LineOf(path);
        if (!first || line < firstLine) {
            first = CappedGain{std::move(path), std::move(written)};
            firstLine = line;
        }
    };
    const auto object = std::find_if(scene.objects.begin(), scene.objects.end(),
                                     [](auto& item) { return item.gain > kMostHeardSourceGain; });
    if (object != scene.objects.end()) {
        consider(ElementPath("objects", object - scene.objects.begin()) + ".gain",
                 fmt::format("{}", object->gain));
    }
    const auto source = std::find_if(scene.sources.begin(), scene.sources.end(),
                                     [](auto& item) { return item.gain > kMostHeardSourceGain; });
    if (source != scene.sources.end()) {
        consider(ElementPath("sources", source - scene.sources.begin()) + ".gain",
                 fmt::format("{}", source->gain));
    }
    return first;
}

// The whole file, unless it is larger than a scene may be.
std::optional<std::string> ReadWhole(const std::filesystem::path& file, std::string& error) {
    std::error_code status;
    // Only regular files: reading a FIFO would wait for a writer.
    if (!std::filesystem::is_regular_file(file, status)) {
        error = Located(file, 0, "", "not found");
        return std::nullopt;
    }
    const std::uintmax_t size = std::filesystem::file_size(file, status);
    if (!status && size > kMostSceneBytes) {
        error = Located(file, 0, "",
                        fmt::format("{} bytes, more than the {} ({} MiB) a scene file may hold",
                                    size, kMostSceneBytes, kMostSceneBytes >> 20));
        return std::nullopt;
    }
    std::ifstream stream(file, std::ios::binary);
    std::string content;
    content.reserve(status ? 0 : static_cast<std::size_t>(std::min(size, kMostSceneBytes)));
    // Read in blocks, so that a file grown since it was measured is still caught.
    char block[1 << 16];
    while (stream.read(block, sizeof block) || stream.gcount() > 0) {
        content.append(block, static_cast<std::size_t>(stream.gcount()));
        if (content.size() > kMostSceneBytes) {
            error = Located(
                file, 0, "",
                fmt::format("more than the {} bytes a scene file may hold", kMostSceneBytes));
            return std::nullopt;
        }
    }
    if (!stream.is_open() || stream.bad()) {
        error = Located(file, 0, "", "cannot be read");
        return std::nullopt;
    }
    return content;
}

}  // namespace

std::optional<Scene> LoadScene(const std::filesystem::path& file, std::string& error,
                               const SceneLimits& limits, std::vector<std::string>* warnings) {
    std::optional<std::string> content = ReadWhole(file, error);
    if (!content) {
        return std::nullopt;
    }
    auto parsed = ParseJsonWithLines(std::move(*content));
    if (const auto* syntax = std::get_if<JsonError>(&parsed)) {
        error = Located(file, syntax->line, syntax->path, syntax->message);
        return std::nullopt;
    }
    const auto& document = std::get<JsonWithLines>(parsed);
    std::error_code status;
    try {
        Scene scene = ReadScene(document.document,
                                std::filesystem::absolute(file, status).parent_path(), limits);
        scene.file = file;
        if (const auto capped = FirstCappedGain(scene, document); capped && warnings) {
            warnings->push_back(
                Located(file, document.LineOf(capped->path), capped->path,
                        fmt::format("{} is heard as {}: OpenAL caps a source's gain at {}",
                                    capped->written, kMostHeardSourceGain, kMostHeardSourceGain)));
        }
        return scene;
    } catch (const SceneFault& fault) {
        error = Located(file, document.LineOf(fault.path), fault.path, fault.message);
        return std::nullopt;
    }
}
