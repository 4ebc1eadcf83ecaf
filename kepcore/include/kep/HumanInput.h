#pragma once

#include <mutex>

#include <osg/Vec3f>

#include "kep/Plugin.h"

namespace kep {

namespace math {

// A six-degree-of-freedom pose in world coordinates: a position and heading,
// pitch and roll in degrees. The world is Z-up; at zero angles the viewer looks
// along +Y with +Z up, so +X is to the right.
struct KEPCORE_API pos_6d {
    double x = 0, y = 0, z = 0;
    double heading = 0;  // about +Z, positive turns left
    double pitch = 0;    // about the viewer's right axis, positive looks up
    double roll = 0;     // about the viewing direction, positive tilts right

    // Splits the pose into eye position, viewing direction and up direction.
    void eye_dir_up(osg::Vec3f& eye, osg::Vec3f& dir, osg::Vec3f& up) const;
};

}  // namespace math

// A source of the user's viewing pose, such as a head tracker or a camera.
class KEPCORE_API IHumanInput : public IUnknown {
public:
    // Fills the current pose of a device (0 is the main one), in world
    // coordinates when `world` is set; false if the device has no pose.
    virtual bool GetPose(math::pos_6d& pose, int device, bool world) = 0;
};

// A human-input plug-in whose pose the host sets from any thread: a camera moved
// by a script, a recorded path or a network peer instead of a device.
class KEPCORE_API ScriptedCamera final : public BasePlugin, public IHumanInput {
public:
    IUnknown* QueryInterface(util::type_id interfaceId) override;
    Object* GetObject() override { return this; }
    std::shared_ptr<Object> GetSharedObject() override { return BasePlugin::GetSharedObject(); }
    util::type_id GetTypeId() const override;

    std::string_view GetTypeName() const override { return "ScriptedCamera"; }
    const uxs::guid& GetTypeGuid() const override;
    std::string_view GetDisplayName() const override { return "Scripted Camera"; }
    void DeclareParameters(IProperty&) override {}
    void DeclareLocalParameters(IProperty&, IComponent::LocalData*) override {}
    void Start(bool) override {}
    void Stop() override {}
    std::unique_ptr<IComponent::LocalData> CreateLocalData() override { return {}; }

    bool GetPose(math::pos_6d& pose, int device, bool world) override;
    void SetPose(const math::pos_6d& pose);

private:
    mutable std::mutex mutex_;
    math::pos_6d pose_;
};

}  // namespace kep
