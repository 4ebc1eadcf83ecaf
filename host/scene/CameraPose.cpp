#include "host/scene/CameraPose.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include <osg/Quat>

#include "host/scene/Keyframes.h"

namespace {

constexpr double kDegrees = 180.0 / std::numbers::pi;

// The rotation eye_dir_up applies for a pose: roll about +Y, pitch about +X,
// heading about +Z.
osg::Quat RotationOf(const kep::math::pos_6d& pose) {
    return osg::Quat(pose.roll / kDegrees, osg::Vec3d(0, 1, 0), pose.pitch / kDegrees,
                     osg::Vec3d(1, 0, 0), pose.heading / kDegrees, osg::Vec3d(0, 0, 1));
}

osg::Vec3f ToFloat(const osg::Vec3d& vector) {
    return osg::Vec3f(static_cast<float>(vector.x()), static_cast<float>(vector.y()),
                      static_cast<float>(vector.z()));
}

}  // namespace

kep::math::pos_6d PoseOf(const View& view) {
    osg::Vec3d direction(view.direction);
    direction.normalize();
    kep::math::pos_6d pose;
    pose.x = view.eye.x();
    pose.y = view.eye.y();
    pose.z = view.eye.z();
    // Unrolled, the pose looks along (-sin h cos p, cos h cos p, sin p). Looking
    // straight up or down, the heading is free: it stays 0 and the roll turns.
    pose.pitch = std::asin(std::clamp(direction.z(), -1.0, 1.0)) * kDegrees;
    const bool vertical = std::hypot(direction.x(), direction.y()) < 1e-9;
    pose.heading = vertical ? 0 : std::atan2(-direction.x(), direction.y()) * kDegrees;
    // The roll turns the unrolled up towards the unrolled right.
    const double heading = pose.heading / kDegrees, pitch = pose.pitch / kDegrees;
    const osg::Vec3d right(std::cos(heading), std::sin(heading), 0);
    const osg::Vec3d unrolledUp(std::sin(heading) * std::sin(pitch),
                                -std::cos(heading) * std::sin(pitch), std::cos(pitch));
    const osg::Vec3d up(view.up);
    pose.roll = std::atan2(up * right, up * unrolledUp) * kDegrees;
    return pose;
}

View BlendViews(const View& from, const View& to, double fraction) {
    osg::Quat turn;
    turn.slerp(fraction, RotationOf(PoseOf(from)), RotationOf(PoseOf(to)));
    View view;
    view.eye = Lerp(from.eye, to.eye, fraction);
    view.direction = ToFloat(turn * osg::Vec3d(0, 1, 0));
    view.up = ToFloat(turn * osg::Vec3d(0, 0, 1));
    return view;
}
