// The joiner's data manager: which of a (possibly hostile) server's file names it
// lets the sound system open, and what it logs about the others.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <stdlib.h>
#include <sys/stat.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/net/JoinerDataManager.h"
#include "support/MessageCapture.h"

namespace {

namespace fs = std::filesystem;
using kep::MessageLevel;
using replication::JoinerDataManager;

constexpr std::uintmax_t kLargestFile = 1 << 20;
constexpr JoinerDataManager::Limits kLimits{kLargestFile, 8 << 20};

void WriteFile(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// A data tree with traps around it, in a fresh folder removed afterwards:
//   root/sounds/{a.wav, cap.wav, big.wav, link.wav -> outside, dir.wav/, fifo.wav}
//   root/inner.wav -> sounds/a.wav, more/game/sounds/a.wav, outside/secret.wav
class JoinerDataManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::path(::testing::TempDir()) / "kep-data-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        tree = fs::canonical(pattern);
        root = tree / "root";
        more = tree / "more";
        fs::create_directories(root / "sounds/dir.wav");
        fs::create_directories(more / "game/sounds");
        fs::create_directories(tree / "outside");
        WriteFile(root / "sounds/a.wav", "RIFF");
        WriteFile(more / "game/sounds/a.wav", "RIFF");
        WriteFile(tree / "outside/secret.wav", "secret");
        WriteFile(root / "sounds/cap.wav", std::string(kLargestFile, 'x'));
        WriteFile(root / "sounds/big.wav", std::string(kLargestFile * 3 / 2, 'x'));
        fs::create_symlink("../../outside/secret.wav", root / "sounds/link.wav");
        fs::create_symlink("sounds/a.wav", root / "inner.wav");
        ASSERT_EQ(::mkfifo((root / "sounds/fifo.wav").c_str(), 0600), 0);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(tree, ignored);
    }

    fs::path tree, root, more;
};

TEST_F(JoinerDataManagerTest, OpensOnlyRegularFilesInsideItsFoldersFoundByTheirTails) {
    MessageCapture messages;
    const JoinerDataManager data({root, more, tree / "missing"}, kLimits, {});
    const auto missing = [&](const std::string& name) {
        return fmt::format("kep-host: no file {} under the data folders ({}, {})", name,
                           root.string(), more.string());
    };
    const std::string secret = (tree / "outside/secret.wav").string();
    const struct {
        std::string name;
        fs::path expected;    // empty: refused
        std::string warning;  // logged once for a refused name
    } rows[] = {
        // The longest tail found wins, whichever folder holds it.
        {"/srv/game/sounds/a.wav", more / "game/sounds/a.wav", ""},
        {"/srv/x/sounds/a.wav", root / "sounds/a.wav", ""},
        {"sounds/a.wav", root / "sounds/a.wav", ""},
        {"a.wav", "", missing("a.wav")},
        {"sounds/cap.wav", root / "sounds/cap.wav", ""},
        {"/srv/inner.wav", root / "sounds/a.wav", ""},
        {secret, "", missing(secret)},
        {"../outside/secret.wav", "", missing("../outside/secret.wav")},
        {"sounds/../../outside/secret.wav", "", missing("sounds/../../outside/secret.wav")},
        {"sounds/link.wav", "",
         fmt::format("kep-host: refused sounds/link.wav: {0}/sounds/link.wav leads out of the "
                     "data folder {0}",
                     root.string())},
        {"sounds/big.wav", "",
         fmt::format(
             "kep-host: refused sounds/big.wav: {}/sounds/big.wav is 1.50 MiB, more than the "
             "1.00 MiB allowed (--max-sound-mb)",
             root.string())},
        {"sounds/dir.wav", "", missing("sounds/dir.wav")},
        {"sounds/fifo.wav", "", missing("sounds/fifo.wav")},
        // There relative to the working folder, but never looked for there.
        {"outside/secret.wav", "", missing("outside/secret.wav")},
    };
    std::vector<std::string> expectedWarnings{
        fmt::format("kep-host: data folder {}: not found; no sound is looked for there",
                    (tree / "missing").string())};
    const fs::path workingFolder = fs::current_path();
    fs::current_path(tree);
    for (int pass = 0; pass < 2; ++pass) {
        for (const auto& row : rows) {
            SCOPED_TRACE(row.name);
            EXPECT_EQ(data.GetFilePath(row.name), row.expected.string());
            if (pass == 0 && !row.warning.empty()) {
                expectedWarnings.push_back(row.warning);
            }
        }
    }
    fs::current_path(workingFolder);
    EXPECT_EQ(messages.lines(MessageLevel::Warning), expectedWarnings);
}

TEST_F(JoinerDataManagerTest, GivesNoFileOverItsLimitsNorEchoesAnOverlongNameNorNamesEveryOne) {
    MessageCapture messages;
    std::uintmax_t loaded = (8 << 20) - 1;
    const JoinerDataManager data({root}, kLimits, [&] { return loaded; });
    EXPECT_EQ(data.GetFilePath("sounds/a.wav"), (root / "sounds/a.wav").string());
    loaded += 1;
    EXPECT_EQ(data.GetFilePath("inner.wav"), "");
    const std::string overlong = "sounds/a.wav" + std::string(4097 - 12, 'q');
    EXPECT_EQ(data.GetFilePath(overlong), "");
    EXPECT_EQ(data.GetFilePath(overlong), "");
    // One line each, at any level; the overlong name in none.
    EXPECT_EQ(messages.lines(),
              (std::vector<std::string>{"[warning] kep-host: refused inner.wav: the sounds loaded "
                                        "hold 8.00 MiB, the most allowed (--max-sounds-mb)",
                                        "[warning] kep-host: refused a sound file name of 4097 "
                                        "bytes (at most 4096)"}));
    messages.clear();
    loaded = 0;
    // inner.wav was the first name reported.
    constexpr std::size_t kMost = JoinerDataManager::kMostReported;
    for (std::size_t i = 1; i < kMost + 10; ++i) {
        EXPECT_EQ(data.GetFilePath(fmt::format("missing{}.wav", i)), "");
    }
    const auto warnings = messages.lines(MessageLevel::Warning);
    ASSERT_EQ(warnings.size(), kMost);
    EXPECT_EQ(warnings[kMost - 2],
              fmt::format("kep-host: no file missing{}.wav under the data folders ({})", kMost - 1,
                          root.string()));
    EXPECT_EQ(warnings.back(),
              "kep-host: more sound files were not found or refused; they are no longer named");
}

}  // namespace
