#pragma once

#include <cstdint>

#include "kep/IUnknown.h"

namespace kep {

// A scene object's one sound.
class KEPCORE_API ISoundProperty : public IUnknown {
public:
    virtual void play() = 0;
    virtual void stop() = 0;
    virtual std::uint32_t duration() = 0;
    virtual void setLooping(bool looping) = 0;
    virtual void setGain(float gain) = 0;
};

}  // namespace kep
