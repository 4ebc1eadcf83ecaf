#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <osg/Vec3f>

#include "host/scene/Keyframes.h"

// A scene as kep-host plays it: sounds, scene objects carrying a sound property,
// sources driven directly, and a camera the listener follows. Distances are in
// metres in OpenAL's axes (right-handed: +X right, +Y up, -Z ahead of an
// unturned listener); times in seconds from the scene's start; gains linear.
// docs/scenes.md describes the file that holds one.

// Where the camera is and how it is turned.
struct View {
    osg::Vec3f eye{0, 0, 0};
    osg::Vec3f direction{0, 0, -1};
    osg::Vec3f up{0, 1, 0};
};

// A scene object with the user property "sound", whose Play and Stop buttons
// are pressed at the given times. The property plays at the origin.
struct SceneObject {
    std::string name;
    std::string sound;  // a key of Scene::sounds
    bool looping = false;
    double gain = 1;
    std::vector<double> play;
    std::vector<double> stop;
};

// A source made and driven through kep::ISoundSystem.
struct SceneSource {
    std::string name;
    std::string sound;                           // a key of Scene::sounds
    std::vector<Keyframe<osg::Vec3f>> position;  // one keyframe for a source that stays put
    osg::Vec3f direction{0, 0, 0};               // zero: sounds the same all round
    float outerAngle = 360;                      // degrees
    float outerGain = 0;
    float gain = 1;
    bool looping = false;
    std::vector<double> play;
    std::vector<double> stop;
};

struct Scene {
    std::filesystem::path file;                 // as it was named to the loader
    std::filesystem::path folder;               // where its sounds are looked up
    double duration = 0;                        // seconds
    double frameRate = 50;                      // host frames per second
    double volume = 1;                          // the plug-in's "Volume"
    std::map<std::string, std::string> sounds;  // name -> file, relative to folder
    std::vector<SceneObject> objects;
    std::vector<SceneSource> sources;
    std::vector<Keyframe<View>> camera;  // at least one
};
