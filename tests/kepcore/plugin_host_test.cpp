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

TEST(PluginManager, ReportsALibraryThatCannotLoad) {
    MessageCapture capture;
    kep::PluginManager manager;
    EXPECT_EQ(manager.LoadLibrary("/nonexistent/libnothing.so"), nullptr);
    EXPECT_EQ(capture.lines(kep::MessageLevel::Error).size(), 1u);
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
    const std::string bell = (root / "sounds" / "bell.wav").string();
    std::ofstream(bell) << "x";
    kep::DataManager manager;
    EXPECT_EQ(manager.GetFilePath("sounds/bell.wav"), "");
    manager.AddRoot(root);
    EXPECT_EQ(manager.GetFilePath("sounds/bell.wav"), bell);
    EXPECT_EQ(manager.GetFilePath(bell), bell);
    // Only regular files are found: a folder or a FIFO is not.
    ASSERT_EQ(mkfifo((root / "sounds" / "pipe.wav").c_str(), 0600), 0);
    EXPECT_EQ(manager.GetFilePath("sounds/pipe.wav"), "");
    EXPECT_EQ(manager.GetFilePath("sounds"), "");
    EXPECT_EQ(manager.GetFilePath(""), "");
    // A path from another machine: found by its longest tail under a root, never
    // by one that climbs above it.
    EXPECT_EQ(manager.GetFilePath("/srv/game/data/sounds/bell.wav"), bell);
    EXPECT_EQ(manager.GetFilePath("C:/data/sounds/bell.wav"), bell);
    EXPECT_EQ(manager.GetFilePath("/srv/sounds/other.wav"), "");
    std::ofstream(root / "bell.wav") << "x";
    EXPECT_EQ(manager.GetFilePath("/srv/sounds/bell.wav"), bell);
    EXPECT_EQ(manager.GetFilePath("/a/../../bell.wav"), (root / "bell.wav").string());
    EXPECT_EQ(manager.GetFilePath("../kep-data-test/sounds/bell.wav"), bell);
    std::filesystem::remove_all(root);
}

}  // namespace
