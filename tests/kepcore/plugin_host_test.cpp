#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "kep/DataManager.h"
#include "kep/HumanInput.h"
#include "kep/Messages.h"
#include "kep/PluginManager.h"
#include "support/MessageCapture.h"

#include <sys/stat.h>

namespace {

class CountingPlugin final : public kep::BasePlugin {
public:
    struct Local : kep::IComponent::LocalData {
        double speed = 0;
    };
    util::type_id GetTypeId() const override { return util::type_id_of<CountingPlugin>(); }
    std::string_view GetTypeName() const override { return "Counting"; }
    const uxs::guid& GetTypeGuid() const override {
        static const uxs::guid guid = uxs::guid::from_words(1, 2, 3, 4);
        return guid;
    }
    std::string_view GetDisplayName() const override { return "Counting"; }
    void DeclareParameters(kep::IProperty&) override { ++declared; }
    void DeclareLocalParameters(kep::IProperty&, kep::IComponent::LocalData* data) override {
        localDeclaredWithOwnData = dynamic_cast<Local*>(data) != nullptr;
    }
    void Start(bool replicating) override {
        startedReplicating = replicating;
        ++starts;
    }
    void Stop() override { ++stops; }
    std::unique_ptr<kep::IComponent::LocalData> CreateLocalData() override {
        return std::make_unique<Local>();
    }
    int declared = 0, starts = 0, stops = 0;
    bool startedReplicating = false, localDeclaredWithOwnData = false;
};

TEST(PluginManager, AdoptsDeclaresAndDrivesAPlugin) {
    auto manager = std::make_shared<kep::PluginManager>();
    auto plugin = std::make_shared<CountingPlugin>();
    auto adopted = manager->AddPlugin(plugin, "counter");
    ASSERT_TRUE(adopted);
    EXPECT_EQ(plugin->declared, 1);
    EXPECT_TRUE(plugin->localDeclaredWithOwnData);
    EXPECT_EQ(adopted->GetTag(), "counter");
    EXPECT_EQ(adopted->GetStatus(), kep::PluginStatus::Declared);
    EXPECT_NE(adopted->GetPluginLocalData(), nullptr);

    manager->Start(*adopted, true);
    EXPECT_TRUE(plugin->startedReplicating);
    manager->StopAll();
    manager->StopAll();
    EXPECT_EQ(plugin->stops, 1);
}

TEST(PluginManager, FindsPluginsByInterfaceAndTag) {
    auto manager = std::make_shared<kep::PluginManager>();
    auto camera = std::make_shared<kep::ScriptedCamera>();
    manager->AddPlugin(std::make_shared<CountingPlugin>(), "camera");
    manager->AddPlugin(camera, "camera");
    auto found = kep::FindPlugin<kep::IHumanInput>(*manager, "camera");
    EXPECT_EQ(found.get(), static_cast<kep::IHumanInput*>(camera.get()));
    EXPECT_FALSE(kep::FindPlugin<kep::IHumanInput>(*manager, ""));
    EXPECT_FALSE(kep::FindPlugin<kep::IHumanInput>(*manager, "other"));
    // The subsystem answers other interfaces with the first plug-in offering them.
    EXPECT_EQ(kep::query<kep::IHumanInput>(static_cast<kep::ISubsystem*>(manager.get())),
              static_cast<kep::IHumanInput*>(camera.get()));
}

TEST(PluginManager, ReportsALibraryThatCannotLoad) {
    MessageCapture capture;
    kep::PluginManager manager;
    EXPECT_EQ(manager.LoadLibrary("/nonexistent/libnothing.so"), nullptr);
    ASSERT_EQ(capture.lines(kep::MessageLevel::Error).size(), 1u);
    EXPECT_EQ(manager.LoadLibrariesIn("/nonexistent"), 0);
}

TEST(PluginLibraryItem, FlagStringSetsKnownWordsAndReportsOthers) {
    MessageCapture capture;
    kep::PluginLibraryItem item;
    item.name = "Thing";
    item.applyFlagString("DEFAULT");
    EXPECT_EQ(item.flags, kep::ItemFlags::Default);
    item.applyFlagString("HIDDEN | BOGUS");
    EXPECT_EQ(item.flags, kep::ItemFlags::Default | kep::ItemFlags::Hidden);
    EXPECT_TRUE(capture.contains(kep::MessageLevel::Warning,
                                 "PluginLibraryItem: unknown flag BOGUS for Thing"));
}

TEST(Pose, SplitsIntoEyeDirectionAndUp) {
    auto near = [](const osg::Vec3f& a, const osg::Vec3f& b) { return (a - b).length() < 1e-5f; };
    struct Case {
        kep::math::pos_6d pose;
        osg::Vec3f dir, up;
    };
    // Heading turns left (90: look along -X); pitch looks up, tilting up back.
    for (const Case& c : {Case{{1, 2, 3, 0, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                          Case{{1, 2, 3, 90, 0, 0}, {-1, 0, 0}, {0, 0, 1}},
                          Case{{1, 2, 3, 0, 90, 0}, {0, 0, 1}, {0, -1, 0}}}) {
        osg::Vec3f eye, dir, up;
        c.pose.eye_dir_up(eye, dir, up);
        EXPECT_TRUE(near(eye, {1, 2, 3}) && near(dir, c.dir) && near(up, c.up))
            << c.pose.heading << " " << c.pose.pitch;
    }
}

TEST(DataManager, ResolvesAsGivenThenUnderRoots) {
    const auto root = std::filesystem::temp_directory_path() / "kep-data-test";
    std::filesystem::remove_all(root);
    std::filesystem::create_directories(root / "sounds");
    std::ofstream(root / "sounds" / "bell.wav") << "x";
    kep::DataManager manager;
    EXPECT_EQ(manager.GetFilePath("sounds/bell.wav"), "");
    manager.AddRoot(root);
    EXPECT_EQ(manager.GetFilePath("sounds/bell.wav"), (root / "sounds" / "bell.wav").string());
    EXPECT_EQ(manager.GetFilePath((root / "sounds" / "bell.wav").string()),
              (root / "sounds" / "bell.wav").string());
    // Only regular files are found: a folder or a FIFO is not.
    ASSERT_EQ(mkfifo((root / "sounds" / "pipe.wav").c_str(), 0600), 0);
    EXPECT_EQ(manager.GetFilePath("sounds/pipe.wav"), "");
    EXPECT_EQ(manager.GetFilePath("sounds"), "");
    EXPECT_EQ(manager.GetFilePath(""), "");
    std::filesystem::remove_all(root);
}

}  // namespace
