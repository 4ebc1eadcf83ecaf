#include <algorithm>

#include <gtest/gtest.h>

#include "kep/HumanInput.h"
#include "kep/ISoundInspector.h"
#include "kep/Messages.h"
#include "kep/UserProperty.h"
#include "plugin/PluginIdentity.h"
#include "property/SoundProperty.h"
#include "support/SoundSystemHarness.h"

extern "C" kep::PluginLibraryDescriptor* GetLibraryContents();

namespace {

TEST(LibraryEntry, DescribesTheLibraryAndItsOneItem) {
    kep::PluginLibraryDescriptor* descriptor = GetLibraryContents();
    ASSERT_NE(descriptor, nullptr);
    EXPECT_EQ(descriptor, GetLibraryContents());
    EXPECT_EQ(descriptor->name, "kepSoundPlugins");
    const kep::PluginLibraryItem* item = descriptor->items;
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->name, "SoundSystem");
    EXPECT_EQ(item->kind, 2);
    EXPECT_EQ(item->typeId, util::type_id_of<SoundSystem>());
    EXPECT_EQ(item->flags, kep::ItemFlags::Default);
    EXPECT_EQ(item->next, nullptr);
    const std::array<std::uint8_t, 16> guidBytes{0xf9, 0x53, 0xf8, 0xa1, 0xaa, 0x0f, 0x5c, 0x45,
                                                 0xa1, 0x25, 0x02, 0x78, 0x77, 0x2c, 0x0a, 0xaf};
    EXPECT_EQ(item->guid.bytes(), guidBytes);
}

TEST(LibraryEntry, RegistersTheSoundSystemBeforeTheSoundProperty) {
    auto types = kep::Object::registeredTypes();
    auto system = std::find(types.begin(), types.end(), util::type_id_of<SoundSystem>());
    auto property = std::find(types.begin(), types.end(), util::type_id_of<kep::SoundProperty>());
    ASSERT_NE(system, types.end());
    ASSERT_NE(property, types.end());
    EXPECT_LT(system, property);

    auto& rows = kep::UserProperty::registeredTypeTbl();
    auto row = std::find_if(rows.begin(), rows.end(), [](auto& candidate) {
        return std::get<0>(candidate) == util::type_id_of<kep::SoundProperty>();
    });
    ASSERT_NE(row, rows.end());
    EXPECT_EQ(std::get<1>(*row)(), "sound");
    EXPECT_EQ(std::get<2>(*row)(), "Sound Property");
}

class SoundSystemFrame : public ::testing::Test {
protected:
    SoundSystemHarness harness;
    SoundSystem& system = harness.Add();
};

TEST_F(SoundSystemFrame, NewSystemDescribesItself) {
    EXPECT_EQ(system.GetTypeName(), "SoundSystem");
    EXPECT_EQ(system.GetDisplayName(), "Sound System");
    EXPECT_EQ(system.GetTypeGuid(), GetLibraryContents()->items->guid);
    EXPECT_EQ(system.GetTypeId(), util::type_id_of<SoundSystem>());
    EXPECT_EQ(system.GetFlags() & 0x220u, 0x220u);
    EXPECT_EQ(system.GetVolume(), 1.0);
    EXPECT_TRUE(system.GetPlaySoundOnServer());
    EXPECT_EQ(system.TakeChanged(), 0);
    EXPECT_FALSE(system.IsDeviceOpen());
}

TEST_F(SoundSystemFrame, InterfacesAreDistinctAndRoundTrip) {
    auto* basePlugin = kep::query<kep::IBasePlugin>(&system);
    auto* interactive = kep::query<kep::IInteractivePlugin>(&system);
    auto* sound = kep::query<kep::ISoundSystem>(&system);
    ASSERT_TRUE(basePlugin && interactive && sound);
    EXPECT_NE(static_cast<void*>(basePlugin), static_cast<void*>(interactive));
    EXPECT_NE(static_cast<void*>(interactive), static_cast<void*>(sound));
    for (kep::IUnknown* from :
         std::initializer_list<kep::IUnknown*>{basePlugin, interactive, sound}) {
        EXPECT_EQ(kep::query<kep::IBasePlugin>(from), basePlugin);
        EXPECT_EQ(kep::query<kep::IInteractivePlugin>(from), interactive);
        EXPECT_EQ(kep::query<kep::ISoundSystem>(from), sound);
        EXPECT_EQ(from->GetObject(), static_cast<kep::Object*>(&system));
        EXPECT_EQ(from->GetSharedObject().get(), static_cast<kep::Object*>(&system));
    }
    EXPECT_EQ(kep::query<kep::IHumanInput>(&system), nullptr);
    EXPECT_EQ(system.QueryInterface(util::type_id_of<kep::IUnknown>()),
              static_cast<kep::IUnknown*>(static_cast<kep::Object*>(&system)));
    EXPECT_EQ(SoundSystem::ResolveInterface(nullptr, util::type_id_of<kep::ISoundSystem>()),
              nullptr);
}

TEST_F(SoundSystemFrame, DeclaresItsParametersBoundToItsMembers) {
    kep::Property& global = *system.GetPluginProperty();
    kep::Parameter* volume = global.FindParameter("Volume");
    kep::Parameter* onServer = global.FindParameter("PlaySoundOnServer");
    ASSERT_TRUE(volume && onServer);
    EXPECT_EQ(volume->flags(), 7u);
    EXPECT_EQ(volume->description(), "Overall Volume 1.0f ? 0Db");
    EXPECT_EQ(onServer->description(), "Play sound on server");
    EXPECT_EQ(volume->toString(), "1");
    EXPECT_TRUE(kep::SetParameter(global, "PlaySoundOnServer", false));
    EXPECT_FALSE(system.GetPlaySoundOnServer());

    kep::Property* local = system.GetPluginLocalProperty();
    ASSERT_NE(local, nullptr);
    kep::Parameter* tag = local->FindParameter("HumanInputTag");
    ASSERT_NE(tag, nullptr);
    EXPECT_EQ(tag->description(), "Human Input Tag");
    EXPECT_TRUE(kep::SetParameter<std::string>(*local, "HumanInputTag", "camera"));
    auto* data = dynamic_cast<SoundSystem::LocalParamsData*>(system.GetPluginLocalData());
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->humanInputTag, "camera");
}

TEST_F(SoundSystemFrame, LocalParametersNeedItsOwnLocalData) {
    kep::Property property;
    kep::IComponent::LocalData foreign;
    system.DeclareLocalParameters(property, &foreign);
    system.DeclareLocalParameters(property, nullptr);
    EXPECT_TRUE(property.parameters().empty());
}

TEST_F(SoundSystemFrame, ParameterChangesRaiseTheChangedMarkOnce) {
    EXPECT_TRUE(kep::SetParameter(*system.GetPluginProperty(), "Volume", 0.5));
    EXPECT_EQ(system.TakeChanged(), 1);
    EXPECT_EQ(system.TakeChanged(), 0);
    system.OnParametersChanged(std::vector<std::string>{"Other"});
    EXPECT_EQ(system.TakeChanged(), 0);
    system.MarkChanged();
    EXPECT_EQ(system.TakeChanged(), 1);
}

TEST_F(SoundSystemFrame, StartOpensTheDeviceOnceAndStopClosesIt) {
    kep::MessageCapture capture;
    harness.Start(system, false);
    ASSERT_TRUE(system.IsDeviceOpen());
    // OpenAL Soft 1.19 names its null device "OpenAL Soft".
    EXPECT_TRUE(
        capture.contains(kep::MessageLevel::Info, "SoundSystem: Opened OpenAL Soft Device"));
    EXPECT_TRUE(capture.contains(kep::MessageLevel::Info, "SoundSystem: Device init completed"));
    const auto linesAfterFirstStart = capture.lines().size();
    system.Start(true);
    EXPECT_TRUE(system.IsReplicating());
    EXPECT_EQ(capture.lines().size(), linesAfterFirstStart);
    EXPECT_TRUE(kep::query<kep::ISoundInspector>(&system)->IsDeviceOpen());

    system.Stop();
    EXPECT_FALSE(system.IsDeviceOpen());
    system.Stop();
    EXPECT_FALSE(system.IsDeviceOpen());
}

}  // namespace
