#pragma once

#include <algorithm>
#include <iterator>
#include <vector>

#include <osg/Vec3f>

// A value a scene gives at a moment. Between two keyframes the value moves from
// one to the other; before the first and after the last it is held.
template <class T>
struct Keyframe {
    double time = 0;  // seconds
    T value;
};

// The value at a time, from keyframes in increasing time (at least one);
// blend(earlier, later, fraction) gives a value between two of them.
template <class T, class Blend>
T ValueAt(const std::vector<Keyframe<T>>& keys, double time, Blend blend) {
    const auto later =
        std::upper_bound(keys.begin(), keys.end(), time,
                         [](double moment, const Keyframe<T>& key) { return moment < key.time; });
    if (later == keys.begin()) {
        return keys.front().value;
    }
    if (later == keys.end()) {
        return keys.back().value;
    }
    const auto earlier = std::prev(later);
    return blend(earlier->value, later->value,
                 (time - earlier->time) / (later->time - earlier->time));
}

inline osg::Vec3f Lerp(const osg::Vec3f& from, const osg::Vec3f& to, double fraction) {
    return from + (to - from) * static_cast<float>(fraction);
}
