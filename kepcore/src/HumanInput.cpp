#include "kep/HumanInput.h"

#include <cmath>
#include <numbers>

#include <osg/Matrixd>
#include <osg/Quat>

namespace kep {

namespace math {

void pos_6d::eye_dir_up(osg::Vec3f& eye, osg::Vec3f& dir, osg::Vec3f& up) const {
    constexpr double kRadians = std::numbers::pi / 180.0;
    // Roll about the viewing axis, then pitch about the right axis, then heading about +Z.
    const osg::Quat rotation(roll * kRadians, osg::Vec3d(0, 1, 0), pitch * kRadians,
                             osg::Vec3d(1, 0, 0), heading * kRadians, osg::Vec3d(0, 0, 1));
    eye.set(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z));
    const osg::Vec3d forward = rotation * osg::Vec3d(0, 1, 0);
    const osg::Vec3d upward = rotation * osg::Vec3d(0, 0, 1);
    dir.set(static_cast<float>(forward.x()), static_cast<float>(forward.y()),
            static_cast<float>(forward.z()));
    up.set(static_cast<float>(upward.x()), static_cast<float>(upward.y()),
           static_cast<float>(upward.z()));
}

}  // namespace math

IUnknown* ScriptedCamera::QueryInterface(util::type_id interfaceId) {
    if (interfaceId == util::type_id_of<IHumanInput>()) {
        return static_cast<IHumanInput*>(this);
    }
    return BasePlugin::QueryInterface(interfaceId);
}

util::type_id ScriptedCamera::GetTypeId() const {
    return util::type_id_of<ScriptedCamera>();
}

const uxs::guid& ScriptedCamera::GetTypeGuid() const {
    static const uxs::guid typeGuid =
        uxs::guid::from_words(0x5C2A61E0, 0x4B7D11F1, 0x9A3E5B21, 0x0D64C8F3);
    return typeGuid;
}

bool ScriptedCamera::GetPose(math::pos_6d& pose, int device, bool) {
    std::lock_guard lock(mutex_);
    if (device != 0) {
        return false;
    }
    pose = pose_;
    return true;
}

void ScriptedCamera::SetPose(const math::pos_6d& pose) {
    std::lock_guard lock(mutex_);
    pose_ = pose;
}

}  // namespace kep
