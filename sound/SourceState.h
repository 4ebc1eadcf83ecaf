#pragma once

#include <string>

#include <osg/Vec3f>

// What can be observed of one source, in the order a state snapshot carries it.
struct SourceState {
    osg::Vec3f position{0, 0, 0};
    bool playing = false;  // the state test: true for every live source
    bool started = false;
    osg::Vec3f direction{0, 0, 0};
    float outerAngle = 0;  // degrees
    float outerGain = 0;
    std::string soundName;  // empty when no sound is mounted

    friend bool operator==(const SourceState&, const SourceState&) = default;
};
