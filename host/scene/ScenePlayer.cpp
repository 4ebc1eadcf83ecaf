#include "host/scene/ScenePlayer.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "host/runtime/FrameClock.h"
#include "host/runtime/RunningSoundSystem.h"
#include "host/scene/CameraPose.h"
#include "host/scene/Keyframes.h"
#include "kep/ISoundProperty.h"

namespace {

// The plug-in tag under which the scene's camera is offered.
constexpr const char* kCameraTag = "scene camera";

// The first frame at or after a time; a time a hair's breadth before a frame
// (a rounding error) belongs to that frame.
int FrameAt(double time, double frameRate) {
    return static_cast<int>(std::ceil(time * frameRate - 1e-6));
}

}  // namespace

ScenePlayer::ScenePlayer(HostContext& context, const Scene& scene, ScenePlayerOptions options)
    : context_(context),
      scene_(scene),
      options_(std::move(options)),
      dataRoot_(scene.folder),
      timeline_(TimelineOf(scene)),
      lastFrame_(FrameAt(scene.duration, scene.frameRate)) {}

ScenePlayer::~ScenePlayer() {
    for (auto& object : objects_) {
        object->RemoveAll();
    }
}

bool ScenePlayer::Start() {
    camera_ = std::make_shared<kep::ScriptedCamera>();
    context_.plugins().AddPlugin(camera_, kCameraTag);
    std::optional<RunningSoundSystem> system =
        StartRunningSoundSystem(context_, "scene", options_.replicating);
    if (!system) {
        return Fail(kNoDeviceMessage);
    }
    plugin_ = system->plugin;
    sound_ = system->sound;
    inspector_ = system->inspector;
    plugin_->GetPluginLocalProperty()->SetParameterText("HumanInputTag", kCameraTag);
    // After the start: the system applies "Volume" when it changes on an open device.
    plugin_->GetPluginProperty()->SetParameterText("Volume", fmt::format("{}", scene_.volume));
    return LoadSounds() && MakeObjects() && MakeSources();
}

bool ScenePlayer::Fail(std::string error) {
    error_ = std::move(error);
    return false;
}

bool ScenePlayer::LoadSounds() {
    for (const auto& [name, file] : scene_.sounds) {
        // Objects load their sound through their property; only sources need it here.
        const bool sourceUsesIt =
            std::any_of(scene_.sources.begin(), scene_.sources.end(),
                        [&name](const SceneSource& source) { return source.sound == name; });
        if (sourceUsesIt && !sound_->CreateSound(name, file)) {
            return Fail(fmt::format("kep-host: sound {} ({}) could not be loaded", name, file));
        }
    }
    return true;
}

bool ScenePlayer::MakeObjects() {
    for (const SceneObject& object : scene_.objects) {
        auto& entity = objects_.emplace_back(std::make_unique<kep::Entity>(object.name));
        kep::Property* property = entity->AddUserProperty("sound");
        auto* soundProperty = kep::query<kep::ISoundProperty>(property);
        if (!soundProperty) {
            return Fail("kep-host: no plug-in offers the sound property");
        }
        property->SetParameterText("Looping", object.looping ? "true" : "false");
        property->SetParameterText("Filename", scene_.sounds.at(object.sound));
        // After "Filename": the property hands its gain only to a source it has.
        property->SetParameterText("Gain", fmt::format("{}", object.gain));
        if (soundProperty->duration() == 0) {
            return Fail(
                fmt::format("kep-host: the sound of object {} could not be loaded", object.name));
        }
    }
    return true;
}

bool ScenePlayer::MakeSources() {
    const auto limit = static_cast<std::size_t>(std::max(inspector_->SourceLimit(), 0));
    bool ranOut = false;
    for (const SceneSource& source : scene_.sources) {
        const std::int32_t id = sound_->CreateSource(source.position.front().value, source.looping);
        const bool mounted = id >= 1 && sound_->MountSound(id, source.sound);
        // Past the device's limit OpenAL makes no source, and every call on one logs
        // "Invalid Name": the scene plays on with the sources it has, and one line
        // says why the others are silent.
        const bool beyondLimit = !mounted && limit > 0 && inspector_->ListSources().size() > limit;
        if (!mounted && !beyondLimit) {
            return Fail(fmt::format("kep-host: source {} could not be made", source.name));
        }
        if (!mounted && !ranOut) {
            warnings_.push_back(fmt::format(
                "kep-host: the scene has {} sources, and the audio device makes at most {} "
                "(ALC_MONO_SOURCES + ALC_STEREO_SOURCES): source {} and the {} after it stay "
                "silent",
                scene_.sources.size(), limit, source.name,
                scene_.sources.size() - sources_.size() - 1));
            ranOut = true;
        }
        const osg::Vec3f& direction = source.direction;
        sound_->SetSpingDirection(id, direction.x(), direction.y(), direction.z());
        sound_->SetSpingCone(id, source.outerAngle, source.outerGain);
        sound_->SetGain(id, source.gain);
        sources_.push_back({id, &source});
    }
    return true;
}

bool ScenePlayer::PlayInRealTime(double extraSeconds,
                                 const std::function<void(double)>& afterFrame) {
    const int frames = lastFrame_ + FrameAt(extraSeconds, scene_.frameRate);
    FrameClock clock(std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(1 / scene_.frameRate)));
    for (int frame = 0; frame <= frames; ++frame) {
        if (frame > 0 && !clock.Next()) {
            return false;
        }
        PlayFrame(frame);
        afterFrame(TimeOf(frame));
    }
    return true;
}

double ScenePlayer::TimeOf(int frame) const {
    return std::min(frame / scene_.frameRate, scene_.duration);
}

void ScenePlayer::PlayFrame(int frame) {
    const double time = TimeOf(frame);
    for (; nextEvent_ < timeline_.size() &&
           FrameAt(timeline_[nextEvent_].time, scene_.frameRate) <= frame;
         ++nextEvent_) {
        Fire(timeline_[nextEvent_]);
    }
    for (const PlacedSource& source : sources_) {
        if (source.scene->position.size() > 1) {
            sound_->SetPosition(source.id, ValueAt(source.scene->position, time, &Lerp));
        }
    }
    PlaceListener(time);
    if (options_.beforeUpdate) {
        options_.beforeUpdate();
    }
    context_.UpdatePlugins();
    for (auto& object : objects_) {
        object->Update();
    }
}

void ScenePlayer::Fire(const SceneEvent& event) {
    const bool play = event.kind == SceneEvent::Kind::Play;
    if (event.target == SceneEvent::Target::Object) {
        kep::Property* property = objects_[event.index]->properties().front().get();
        property->SetParameterText(play ? "Play" : "Stop", "true");
    } else if (event.target == SceneEvent::Target::Source) {
        const PlacedSource& source = sources_[event.index];
        if (play) {
            sound_->PlaySound(source.id, source.scene->looping);
        } else {
            sound_->StopSound(source.id);
        }
    }
}

void ScenePlayer::PlaceListener(double time) {
    const kep::math::pos_6d pose = PoseOf(ValueAt(scene_.camera, time, &BlendViews));
    camera_->SetPose(pose);
    // The listener gets what a replaying instance following the camera would.
    osg::Vec3f eye, direction, up;
    pose.eye_dir_up(eye, direction, up);
    sound_->SetListener(eye, direction, up);
}

int ScenePlayer::PlayingSources() const {
    int playing = 0;
    for (std::int32_t id : inspector_->ListSources()) {
        playing += inspector_->IsSourcePlaying(id);
    }
    return playing;
}

void ScenePlayer::Stop() {
    for (auto& object : objects_) {
        object->RemoveAll();
    }
    objects_.clear();
    if (plugin_) {
        context_.plugins().Stop(*plugin_);
    }
}
