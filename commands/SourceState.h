#pragma once

#include <string>

#include <osg/Vec3f>

// What a state snapshot carries of one source.
struct SourceState {
    osg::Vec3f position{0, 0, 0};
    bool playing = false;
    bool started = false;
    osg::Vec3f direction{0, 0, 0};
    float outerAngle = 0;
    float outerGain = 0;
    std::string soundName;

    friend bool operator==(const SourceState&, const SourceState&) = default;
};
