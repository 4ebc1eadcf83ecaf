#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/stat.h>

// A folder of CURVE key files, handled as SSH handles its own: folders and files
// are made once with their final mode (0700, 0600), never through a symbolic
// link, and keys are read only from regular files of a key's size. A secret key
// that anyone but its owner can read is refused.
namespace replication {

// A key as zmq_curve_keypair writes it: 40 characters of Z85 text.
inline constexpr std::size_t kZ85KeyLength = 40;

class KeyFolder {
public:
    // Opens the folder, or with `make` makes it (mode 0700, its parents as need
    // be) and tightens an existing one to 0700. A symbolic link is refused.
    static std::optional<KeyFolder> Open(const std::filesystem::path& folder, bool make,
                                         std::string& error);
    ~KeyFolder();
    KeyFolder(KeyFolder&& other) noexcept;
    KeyFolder& operator=(KeyFolder&& other) noexcept;

    // A folder inside this one, opened the same way.
    std::optional<KeyFolder> Child(std::string_view name, bool make, std::string& error) const;

    // Writes a key into a new file of mode 0600; false if anything, even a
    // dangling link, stands at that name already.
    bool WriteKey(std::string_view name, const std::string& key, std::string& error) const;
    // The key in the file, checked to be Z85 text of a key's length.
    std::optional<std::string> ReadKey(std::string_view name, bool secret,
                                       std::string& error) const;
    // The names of the entries that end with the suffix.
    std::vector<std::string> List(std::string_view suffix) const;
    // Whether anything stands at the name, without following a link.
    bool Has(std::string_view name) const;
    // When the folder's entries last changed.
    std::optional<timespec> Modified() const;

    const std::filesystem::path& path() const { return path_; }

private:
    KeyFolder(int descriptor, std::filesystem::path path);

    int descriptor_ = -1;
    std::filesystem::path path_;
};

}  // namespace replication
