#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/runtime/HostContext.h"
#include "host/scene/Scene.h"
#include "host/scene/SceneDataRoot.h"
#include "host/scene/SceneTimeline.h"
#include "kep/Entity.h"
#include "kep/HumanInput.h"
#include "kep/ISoundInspector.h"

// Plays a scene on a sound system of the host, one host frame per scene frame:
// presses Play and Stop when their times come, moves the sources along their
// keyframes and puts the listener where the camera is.
//
// The sound system is a standalone instance, whose frame update never moves the
// listener, so each frame places the listener itself (SetListener). The camera is
// also offered as the human-input plug-in the system's "HumanInputTag" names, so
// that a replaying instance would follow the same path.
struct ScenePlayerOptions {
    // A replicating system records its operations for other instances.
    bool replicating = false;
    // Called each frame after the scene's operations and before the plug-ins'
    // update: where a replicating system's batch is written.
    std::function<void()> beforeUpdate;
};

class ScenePlayer {
public:
    ScenePlayer(HostContext& context, const Scene& scene, ScenePlayerOptions options = {});
    ~ScenePlayer();  // takes the scene's objects away
    ScenePlayer(const ScenePlayer&) = delete;
    ScenePlayer& operator=(const ScenePlayer&) = delete;

    // Starts the sound system and loads everything the scene needs; false, with
    // the reason in error(), if anything cannot be had.
    [[nodiscard]] bool Start();
    const std::string& error() const { return error_; }
    // What the scene will play otherwise than it says (sources beyond the
    // device's limit), found by Start.
    const std::vector<std::string>& warnings() const { return warnings_; }
    // Runs the scene's frames at its frame rate on the wall clock, from its start
    // to its end and for `extraSeconds` more, calling afterFrame with the scene
    // time after each. False if the user interrupted it (Ctrl-C).
    bool PlayInRealTime(double extraSeconds, const std::function<void(double)>& afterFrame);
    // Runs one frame, whenever the caller wants it: the events due by its time
    // (frame / frame rate), the sources' and the listener's places, and the
    // plug-ins' update. Frames are played in order from 0.
    void PlayFrame(int frame);
    // Sources that sound now, the objects' included.
    int PlayingSources() const;
    // The scene's sound system, once started.
    const std::shared_ptr<kep::IBasePlugin>& plugin() const { return plugin_; }
    // Takes the objects away and stops the sound system, which closes the device.
    void Stop();

private:
    struct PlacedSource {
        std::int32_t id = -1;
        const SceneSource* scene = nullptr;
    };

    double TimeOf(int frame) const;
    bool Fail(std::string error);
    bool LoadSounds();
    bool MakeObjects();
    bool MakeSources();
    void Fire(const SceneEvent& event);
    void PlaceListener(double time);

    HostContext& context_;
    const Scene& scene_;
    ScenePlayerOptions options_;
    SceneDataRoot dataRoot_;
    std::vector<SceneEvent> timeline_;
    std::size_t nextEvent_ = 0;
    int lastFrame_ = 0;  // frame 0 is the scene's start, this one its end
    std::shared_ptr<kep::IBasePlugin> plugin_;
    std::shared_ptr<kep::ISoundSystem> sound_;
    kep::ISoundInspector* inspector_ = nullptr;
    std::shared_ptr<kep::ScriptedCamera> camera_;
    std::vector<std::unique_ptr<kep::Entity>> objects_;
    std::vector<PlacedSource> sources_;
    std::string error_;
    std::vector<std::string> warnings_;
};
