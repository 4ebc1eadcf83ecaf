#include <gtest/gtest.h>

#include "kep/Entity.h"
#include "kep/ISoundInspector.h"
#include "property/SoundProperty.h"
#include "support/SoundSystemHarness.h"
#include "support/TestMedia.h"

namespace {

class SoundPropertyOnASceneObject : public ::testing::Test {
protected:
    void SetUp() override {
        harness.Start(system, false);
        ASSERT_TRUE(system.IsDeviceOpen());
        property = dynamic_cast<kep::SoundProperty*>(speaker.AddUserProperty("sound"));
        ASSERT_NE(property, nullptr);
    }
    void Set(std::string_view name, std::string_view text) {
        ASSERT_TRUE(property->SetParameterText(name, text)) << name;
    }

    SoundSystemHarness harness;
    SoundSystem& system = harness.Add();
    kep::ISoundInspector& inspector = *kep::query<kep::ISoundInspector>(&system);
    kep::Entity speaker{"speaker"};
    kep::SoundProperty* property = nullptr;
};

TEST_F(SoundPropertyOnASceneObject, DeclaresItsParametersWithDisplayNames) {
    std::vector<std::string> names, displayNames;
    for (auto& parameter : property->parameters()) {
        names.push_back(parameter->name());
        displayNames.push_back(parameter->displayName());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Filename", "Looping", "Gain", "Play", "Stop"}));
    EXPECT_EQ(displayNames,
              (std::vector<std::string>{"File Name", "Looping", "Gain", "Play", "Stop"}));
    EXPECT_EQ(property->GetParameterText("Gain"), "1");
    EXPECT_EQ(kep::SoundProperty::DisplayName(), "Sound Property");
}

TEST_F(SoundPropertyOnASceneObject, AFileLoadsUnderAFreshNameWithAMountedSource) {
    EXPECT_EQ(property->duration(), 0u);  // asks about the empty name
    Set("Filename", MediaPath("sine_mono_2s.wav"));
    const std::string first = property->GetSoundName();
    const std::int32_t firstSource = property->GetSourceId();
    EXPECT_TRUE(system.HasSound(first));
    EXPECT_TRUE(system.HasSource(firstSource));
    EXPECT_EQ(system.DescribeSources().at(firstSource).soundName, first);
    EXPECT_EQ(property->duration(), system.GetSoundDuration(first));
    EXPECT_GT(property->duration(), 0u);

    Set("Filename", MediaPath("sine_mono_2s.wav"));
    EXPECT_NE(property->GetSoundName(), first);
    EXPECT_FALSE(system.HasSound(first));
    EXPECT_FALSE(system.HasSource(firstSource));
    EXPECT_TRUE(system.HasSource(property->GetSourceId()));

    Set("Filename", "");
    EXPECT_EQ(property->GetSoundName(), "");
    EXPECT_EQ(property->GetSourceId(), -1);
    EXPECT_TRUE(inspector.ListSources().empty());
}

TEST_F(SoundPropertyOnASceneObject, PlayAndStopAreOneShotButtons) {
    Set("Filename", MediaPath("sine_mono_2s.wav"));
    const std::int32_t id = property->GetSourceId();
    system.SetPosition(id, {7, 0, 0});
    Set("Play", "false");
    EXPECT_FALSE(inspector.IsSourcePlaying(id));

    Set("Play", "true");
    EXPECT_TRUE(inspector.IsSourcePlaying(id));
    EXPECT_EQ(property->GetParameterText("Play"), "false");
    EXPECT_EQ(system.GetPosition(id), osg::Vec3f(0, 0, 0));  // each start is at the origin

    Set("Stop", "true");
    EXPECT_FALSE(inspector.IsSourcePlaying(id));
    EXPECT_EQ(property->GetParameterText("Stop"), "false");
}

TEST_F(SoundPropertyOnASceneObject, OperationsWithoutASourceDoNothing) {
    property->play();
    property->stop();
    property->setGain(0.5f);
    speaker.Update();
    EXPECT_TRUE(inspector.ListSources().empty());
    EXPECT_EQ(property->GetParameterText("Gain"), "0.5");
}

TEST_F(SoundPropertyOnASceneObject, AMissingFileStillGetsAMountlessSource) {
    Set("Filename", "no/such/file.wav");
    EXPECT_FALSE(property->GetSoundName().empty());
    EXPECT_FALSE(system.HasSound(property->GetSoundName()));
    EXPECT_TRUE(system.HasSource(property->GetSourceId()));
}

}  // namespace
