// CURVE key folders as a user and an attacker meet them: the layout keygen makes,
// its modes, and the files it refuses to write through or read.
#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <thread>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zmq.h>

#include "host/net/AllowList.h"
#include "host/net/CurveKeys.h"
#include "support/MessageCapture.h"

namespace {

namespace fs = std::filesystem;
using namespace replication;
using namespace std::chrono_literals;

// A fresh folder per test, removed with everything in it.
class CurveKeysTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::path(::testing::TempDir()) / "kep-keys-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        root = pattern;
        keys = root / "keys";
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }
    void MakeServerAndJoiner(const char* joiner) {
        std::string error;
        ASSERT_TRUE(MakeServerKeys(keys, error)) << error;
        ASSERT_TRUE(AddJoiner(keys, joiner, error)) << error;
    }

    fs::path root, keys;
};

std::string FileText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Writes the file with mode 0600, whatever the umask.
void WriteFile(const fs::path& path, const std::string& text) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0) << path;
    EXPECT_EQ(::write(file, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    EXPECT_EQ(::fchmod(file, 0600), 0);
    ::close(file);
}

mode_t ModeOf(const fs::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

// The 32-byte key that a key file's Z85 text stands for.
std::string BinaryKey(const fs::path& file) {
    const std::string z85 = FileText(file).substr(0, kZ85KeyLength);
    std::string binary(32, '\0');
    zmq_z85_decode(reinterpret_cast<std::uint8_t*>(binary.data()), z85.c_str());
    return binary;
}

TEST_F(CurveKeysTest, MakesTheDocumentedLayoutOwnerOnlyWhateverTheUmask) {
    for (const mode_t mask : {mode_t{0077}, mode_t{0022}, mode_t{0}}) {
        SCOPED_TRACE(fmt::format("umask {:04o}", mask));
        fs::remove_all(keys);
        const mode_t previous = ::umask(mask);
        MakeServerAndJoiner("alice");
        ::umask(previous);
        std::set<std::string> entries;
        for (const auto& entry : fs::recursive_directory_iterator(keys)) {
            const std::string name = fs::relative(entry.path(), keys).string();
            entries.insert(name);
            EXPECT_EQ(ModeOf(entry.path()), entry.is_directory() ? 0700u : 0600u) << name;
        }
        EXPECT_EQ(ModeOf(keys), 0700u);
        EXPECT_THAT(entries,
                    ::testing::ElementsAre("joiners", "joiners/alice", "joiners/alice.pub",
                                           "joiners/alice/joiner.key", "joiners/alice/joiner.pub",
                                           "joiners/alice/server.pub", "server.key", "server.pub"));

        std::string error;
        const auto server = ReadServerKeys(keys, error);
        ASSERT_TRUE(server) << error;
        const auto joiner = ReadJoinerKeys(keys / "joiners/alice", error);
        ASSERT_TRUE(joiner) << error;
        EXPECT_EQ(server->joiners, keys / "joiners");
        EXPECT_EQ(FileText(keys / "server.pub"), server->publicKey + "\n");
        EXPECT_EQ(joiner->serverPublicKey, server->publicKey);
        EXPECT_EQ(FileText(keys / "joiners/alice.pub"),
                  FileText(keys / "joiners/alice/joiner.pub"));
        // Each public key (40 characters, as the file's) belongs to its secret one.
        std::array<char, kZ85KeyLength + 1> derived{};
        ASSERT_EQ(zmq_curve_public(derived.data(), server->secretKey.c_str()), 0);
        EXPECT_EQ(derived.data(), server->publicKey);
        ASSERT_EQ(zmq_curve_public(derived.data(), joiner->secretKey.c_str()), 0);
        EXPECT_EQ(derived.data(), joiner->publicKey);
    }
}

TEST_F(CurveKeysTest, RefusesToMakeKeysOverWhatIsThere) {
    std::string error;
    // A dangling link planted where the secret key goes must not be written through.
    ASSERT_TRUE(fs::create_directory(keys));
    fs::create_symlink(root / "planted", keys / "server.key");
    EXPECT_FALSE(MakeServerKeys(keys, error));
    const std::string exists = fmt::format(
        "{0}/server.key: exists already; keys are never replaced (kep-host keygen {0} --joiner "
        "NAME adds a joiner)",
        keys.string());
    EXPECT_EQ(error, exists);
    EXPECT_FALSE(fs::exists(fs::symlink_status(root / "planted")));
    EXPECT_FALSE(fs::exists(fs::symlink_status(keys / "server.pub")));

    fs::remove(keys / "server.key");
    MakeServerAndJoiner("alice");
    const std::string secret = FileText(keys / "server.key");
    EXPECT_FALSE(MakeServerKeys(keys, error));
    EXPECT_EQ(error, exists);
    EXPECT_EQ(FileText(keys / "server.key"), secret);

    const std::string joinerSecret = FileText(keys / "joiners/alice/joiner.key");
    EXPECT_FALSE(AddJoiner(keys, "alice", error));
    EXPECT_EQ(error,
              fmt::format("{}/joiners/alice.pub: joiner alice exists already", keys.string()));
    EXPECT_EQ(FileText(keys / "joiners/alice/joiner.key"), joinerSecret);
}

TEST_F(CurveKeysTest, RefusesJoinerNamesThatAreNotPlainFileNames) {
    MakeServerAndJoiner("alice");
    for (const std::string& name : std::initializer_list<std::string>{
             "", std::string(65, 'a'), "../x", ".hidden", "-x", "a/b", "a b", "a\nb", "x.pub"}) {
        SCOPED_TRACE(name);
        std::string error;
        EXPECT_FALSE(AddJoiner(keys, name, error));
        EXPECT_EQ(error, name +
                             ": a joiner's name is 1 to 64 letters, digits, '.', '_' or '-', not "
                             "starting with '.' or '-' nor ending with .pub");
    }
    EXPECT_FALSE(fs::exists(keys / "x"));
    EXPECT_FALSE(fs::exists(keys / "joiners/a"));
    std::string error;
    EXPECT_TRUE(AddJoiner(keys, std::string(64, 'a'), error)) << error;
    EXPECT_TRUE(AddJoiner(keys, "b.0_-Z", error)) << error;
}

TEST_F(CurveKeysTest, ReadsKeysOnlyFromOwnRegularFilesOfAKeysSize) {
    using Plant = std::function<void(const fs::path& file, const std::string& key)>;
    const auto withMode = [](fs::perms mode) -> Plant {
        return [mode](const fs::path& file, const std::string& key) {
            WriteFile(file, key);
            fs::permissions(file, mode);
        };
    };
    const auto othersCanRead = [](const std::string& mode) {
        return "{0}: a secret key that others can read (mode " + mode +
               ") is refused; make it the owner's alone with: chmod 600 {0}";
    };
    const std::string notAKey =
        "{0}: not a CURVE key (40 characters of Z85 text; kep-host keygen makes them)";
    const std::string aLink = "{0}: a symbolic link, which is not followed";
    const struct {
        const char* what;
        const char* file;  // in the key folder, replaced by `plant`
        Plant plant;
        std::string error;  // {0} is the file's path
    } cases[] = {
        {"a link to a valid key", "server.key",
         [&](const fs::path& file, const std::string& key) {
             WriteFile(root / "copy.key", key);
             fs::create_symlink(root / "copy.key", file);
         },
         aLink},
        {"group-readable secret", "server.key", withMode(fs::perms(0640)), othersCanRead("0640")},
        {"world-readable secret", "joiners/alice/joiner.key", withMode(fs::perms(0604)),
         othersCanRead("0604")},
        {"group-writable public key", "server.pub", withMode(fs::perms(0620)),
         "{0}: others can write to it (mode 0620), so it cannot be trusted; make it yours "
         "alone: chmod 600 {0}"},
        {"a FIFO", "server.pub",
         [](const fs::path& file, auto&) { ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0); },
         "{0}: not a regular file"},
        {"41 bytes", "server.pub",
         [](const fs::path& file, const std::string& key) {
             WriteFile(file, key.substr(0, 40) + "A");
         },
         notAKey},
        {"40 bytes not Z85", "server.pub",
         [](const fs::path& file, auto&) { WriteFile(file, std::string(40, '\x01')); }, notAKey},
        // Only its first bytes are a key: reading past the size limit would accept it.
        {"1 MiB", "server.pub",
         [](const fs::path& file, const std::string& key) {
             WriteFile(file, key + std::string((1 << 20) - key.size(), '\n'));
         },
         notAKey},
        {"missing", "server.pub", [](auto&, auto&) {},
         "{0}: not found (kep-host keygen makes the keys)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        fs::remove_all(keys);
        MakeServerAndJoiner("alice");
        const fs::path file = keys / c.file;
        const std::string key = FileText(file);
        fs::remove(file);
        c.plant(file, key);
        // A read that blocks (a FIFO opened to read) hangs until CTest's time limit fails it.
        std::string error;
        EXPECT_FALSE(std::string_view(c.file).starts_with("joiners/alice/")
                         ? ReadJoinerKeys(keys / "joiners/alice", error).has_value()
                         : ReadServerKeys(keys, error).has_value());
        EXPECT_EQ(error, fmt::format(fmt::runtime(c.error), file.string()));
    }
}

TEST_F(CurveKeysTest, RefusesKeyFoldersOthersCanWriteToOrThatAreLinks) {
    MakeServerAndJoiner("alice");
    for (const fs::path& folder : {keys, keys / "joiners"}) {
        SCOPED_TRACE(folder);
        fs::permissions(folder, fs::perms(0777));
        std::string error;
        EXPECT_FALSE(ReadServerKeys(keys, error));
        EXPECT_EQ(error, fmt::format("{0}: others can write to it (mode 0777), so its keys cannot "
                                     "be trusted; make it yours alone: chmod 700 {0}",
                                     folder.string()));
        fs::permissions(folder, fs::perms(0700));
    }
    // Made again by keygen, a folder is made the owner's alone.
    fs::permissions(keys / "joiners", fs::perms(0755));
    std::string error;
    ASSERT_TRUE(AddJoiner(keys, "carol", error)) << error;
    EXPECT_EQ(fs::status(keys / "joiners").permissions(), fs::perms(0700));

    // Nor are folders that are links.
    ASSERT_TRUE(fs::create_directory(root / "empty"));
    fs::create_symlink(keys, root / "keys-link");
    fs::create_symlink(keys / "joiners/alice", root / "alice-link");
    fs::create_symlink(root / "empty", root / "empty-link");
    fs::rename(keys / "joiners", root / "joiners");
    fs::create_symlink(root / "joiners", keys / "joiners");
    const struct {
        const char* what;
        fs::path link;
        std::function<bool(std::string&)> call;
    } cases[] = {
        {"server keys", root / "keys-link",
         [&](std::string& e) { return ReadServerKeys(root / "keys-link", e).has_value(); }},
        {"allow-list", keys / "joiners",
         [&](std::string& e) { return ReadServerKeys(keys, e).has_value(); }},
        {"joiner keys", root / "alice-link",
         [&](std::string& e) { return ReadJoinerKeys(root / "alice-link", e).has_value(); }},
        {"new joiner", keys / "joiners", [&](std::string& e) { return AddJoiner(keys, "bob", e); }},
        {"new server keys", root / "empty-link",
         [&](std::string& e) { return MakeServerKeys(root / "empty-link", e); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::string error;
        EXPECT_FALSE(c.call(error));
        EXPECT_THAT(error, ::testing::StartsWith(c.link.string() + ": "));
    }
    // Nothing was written through the links.
    EXPECT_TRUE(fs::is_empty(root / "empty"));
    EXPECT_FALSE(fs::exists(root / "joiners/bob"));
    EXPECT_FALSE(fs::exists(root / "joiners/bob.pub"));
}

// How often the server refreshes its allow-list.
constexpr auto kServerCheckPeriod = 250ms;

// Refreshes until `done`, or for 3 s; the names the refreshes reported gone.
std::vector<std::string> RefreshUntil(AllowList& list, const std::function<bool()>& done) {
    const auto end = std::chrono::steady_clock::now() + 3s;
    std::vector<std::string> gone;
    while (!done() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(50ms);
        const std::vector<std::string> now = list.Refresh(kServerCheckPeriod);
        gone.insert(gone.end(), now.begin(), now.end());
    }
    return gone;
}

TEST_F(CurveKeysTest, AllowListAdmitsExactlyTheValidKeysOfValidNames) {
    MakeServerAndJoiner("alice");
    std::string error;
    ASSERT_TRUE(AddJoiner(keys, "bob", error)) << error;
    const fs::path joiners = keys / "joiners";
    const std::string alice = BinaryKey(joiners / "alice.pub"),
                      bob = BinaryKey(joiners / "bob.pub");
    // Keys of their own under names that are not joiners' names.
    const std::string stray = FileText(keys / "server.pub"),
                      strayKey = BinaryKey(keys / "server.pub");
    WriteFile(joiners / ".hidden.pub", stray);
    WriteFile(joiners / "-x.pub", stray);
    WriteFile(joiners / "carol.pub", "not a key\n");
    fs::create_symlink(joiners / "alice/joiner.pub", joiners / "dave.pub");

    MessageCapture messages;
    auto list = AllowList::Open(joiners, error);
    ASSERT_TRUE(list) << error;
    EXPECT_EQ(list->size(), 2u);
    const auto nameOf = [&](const std::string& key) {
        const std::string* name = list->Find(key);
        return name ? *name : "(none)";
    };
    EXPECT_EQ(nameOf(alice), "alice");
    EXPECT_EQ(nameOf(bob), "bob");
    EXPECT_EQ(nameOf(strayKey), "(none)");
    EXPECT_THAT(
        messages.lines(kep::MessageLevel::Warning),
        ::testing::UnorderedElementsAre(
            fmt::format("kep-host: joiner carol is not admitted: {}/carol.pub: not a CURVE key "
                        "(40 characters of Z85 text; kep-host keygen makes them)",
                        joiners.string()),
            fmt::format("kep-host: joiner dave is not admitted: {}/dave.pub: a symbolic link, "
                        "which is not followed",
                        joiners.string())));

    // Adding one admits it; faults are not reported again. (Removing one revokes it:
    // the replication test plays that between processes.)
    std::this_thread::sleep_for(20ms);  // past the folder time's granularity
    ASSERT_TRUE(AddJoiner(keys, "erin", error)) << error;
    EXPECT_THAT(RefreshUntil(*list, [&] { return list->size() == 3; }), ::testing::IsEmpty());
    EXPECT_EQ(nameOf(BinaryKey(joiners / "erin.pub")), "erin");
    EXPECT_EQ(messages.lines(kep::MessageLevel::Warning).size(), 2u);

    // A key replaced by renaming a new file over it changes the folder, and revokes
    // that joiner's old key alone.
    std::this_thread::sleep_for(20ms);
    WriteFile(joiners / "new.tmp", stray);
    fs::rename(joiners / "new.tmp", joiners / "alice.pub");
    EXPECT_THAT(RefreshUntil(*list, [&] { return nameOf(strayKey) == "alice"; }),
                ::testing::ElementsAre("alice"));
    EXPECT_EQ(nameOf(strayKey), "alice");
    EXPECT_EQ(nameOf(alice), "(none)");
    EXPECT_EQ(nameOf(bob), "bob");
}

}  // namespace
