// The scene's camera as kepcore's pose: eye_dir_up gives back the scene's own
// eye, direction and up (OpenAL's axes), which the listener receives unchanged.
#include <gmock/gmock.h>

#include "host/scene/CameraPose.h"

namespace {

struct ViewCase {
    const char* name;
    View view;
    osg::Vec3f expectedUp;  // the view's up, perpendicular to its direction
};

class CameraPose : public ::testing::TestWithParam<ViewCase> {};

void ExpectNear(const osg::Vec3f& actual, const osg::Vec3f& expected) {
    EXPECT_NEAR(actual.x(), expected.x(), 1e-5f);
    EXPECT_NEAR(actual.y(), expected.y(), 1e-5f);
    EXPECT_NEAR(actual.z(), expected.z(), 1e-5f);
}

TEST_P(CameraPose, EyeDirUpGivesBackTheView) {
    const ViewCase& row = GetParam();
    osg::Vec3f eye, direction, up;
    PoseOf(row.view).eye_dir_up(eye, direction, up);
    osg::Vec3f expectedDirection = row.view.direction;
    expectedDirection.normalize();
    ExpectNear(eye, row.view.eye);
    ExpectNear(direction, expectedDirection);
    ExpectNear(up, row.expectedUp);
}

INSTANTIATE_TEST_SUITE_P(
    Views, CameraPose,
    ::testing::Values(
        ViewCase{"Unturned", {{0, 0, 0}, {0, 0, -1}, {0, 1, 0}}, {0, 1, 0}},
        ViewCase{"HalfTurned", {{1, 2, 3}, {0, 0, 1}, {0, 1, 0}}, {0, 1, 0}},
        ViewCase{"Right", {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {0, 1, 0}},
        ViewCase{"LongDirection", {{0, 0, 0}, {0, 0, -5}, {0, 3, 0}}, {0, 1, 0}},
        ViewCase{"Rolled", {{0, 0, 0}, {0, 0, -1}, {1, 1, 0}}, {0.70710678f, 0.70710678f, 0}},
        ViewCase{"UpTilted", {{0, 0, 0}, {0, 1, -1}, {0, 1, 0}}, {0, 0.70710678f, 0.70710678f}},
        ViewCase{"StraightUp", {{0, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 1}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CameraBlend, TurnsAtASteadyRateTheShorterWay) {
    const View ahead{{0, 0, 0}, {0, 0, -1}, {0, 1, 0}};
    const View right{{2, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    const View halfway = BlendViews(ahead, right, 0.5);
    ExpectNear(halfway.eye, {1, 0, 0});
    ExpectNear(halfway.direction, {0.70710678f, 0, -0.70710678f});
    ExpectNear(halfway.up, {0, 1, 0});
}

}  // namespace
