#include "host/net/KeyFolder.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>
#include <zmq.h>

namespace replication {

namespace {

constexpr mode_t kFolderMode = 0700;
constexpr mode_t kKeyMode = 0600;
constexpr mode_t kOthersBits = 0077;
constexpr mode_t kOthersWriteBits = 0022;
// A key and its line end; anything longer is not a key file.
constexpr std::size_t kLongestKeyFile = kZ85KeyLength + 2;

// A file descriptor closed when it goes.
class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    ~Descriptor() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return descriptor_; }
    int release() { return std::exchange(descriptor_, -1); }

private:
    int descriptor_;
};

std::string Reason(int error) {
    switch (error) {
        case ENOENT:
            return "not found";
        case ELOOP:
            return "a symbolic link, which is not followed";
        case ENOTDIR:
            return "not a folder";
        case EEXIST:
            return "exists already; keys are never replaced";
        default:
            return std::strerror(error);
    }
}

// Opening a link as a folder without following it fails as "not a folder".
std::string FolderReason(int error, int base, const std::string& name) {
    struct stat status {};
    if (error == ENOTDIR && ::fstatat(base, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISLNK(status.st_mode)) {
        return Reason(ELOOP);
    }
    return Reason(error);
}

// What makes a folder or a key that others could change: one that others can
// write to, or that another user owns, could have a key put in or swapped.
std::optional<std::string> OpenToOthers(const struct stat& status) {
    if (status.st_uid != ::geteuid() && status.st_uid != 0) {
        return "it belongs to another user";
    }
    if ((status.st_mode & kOthersWriteBits) != 0) {
        return fmt::format("others can write to it (mode {:04o})", status.st_mode & 07777);
    }
    return std::nullopt;
}

// Checks a folder just opened: one being made is made the owner's alone, one
// being read must not be open to others.
bool CheckFolder(int descriptor, const std::filesystem::path& path, bool make, std::string& error) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        error = fmt::format("{}: {}", path.string(), std::strerror(errno));
        return false;
    }
    if (make && status.st_uid == ::geteuid()) {
        if ((status.st_mode & kOthersBits) != 0 && ::fchmod(descriptor, kFolderMode) != 0) {
            error = fmt::format("{}: cannot be made the owner's alone: {}", path.string(),
                                std::strerror(errno));
            return false;
        }
        return true;
    }
    if (const auto reason = OpenToOthers(status)) {
        error = fmt::format(
            "{}: {}, so its keys cannot be trusted; make it yours alone: chmod "
            "700 {}",
            path.string(), *reason, path.string());
        return false;
    }
    return true;
}

bool IsZ85Key(std::string_view text) {
    std::array<std::uint8_t, 32> binary{};
    const std::string terminated(text);
    return text.size() == kZ85KeyLength &&
           zmq_z85_decode(binary.data(), terminated.c_str()) != nullptr;
}

}  // namespace

KeyFolder::KeyFolder(int descriptor, std::filesystem::path path)
    : descriptor_(descriptor), path_(std::move(path)) {}

KeyFolder::~KeyFolder() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

KeyFolder::KeyFolder(KeyFolder&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), path_(std::move(other.path_)) {}

KeyFolder& KeyFolder::operator=(KeyFolder&& other) noexcept {
    if (this != &other) {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        descriptor_ = std::exchange(other.descriptor_, -1);
        path_ = std::move(other.path_);
    }
    return *this;
}

std::optional<KeyFolder> KeyFolder::Open(const std::filesystem::path& given, bool make,
                                         std::string& error) {
    // "keys/" would follow a link at "keys": the name is taken without the slash.
    const std::filesystem::path folder = given.has_filename() ? given : given.parent_path();
    if (make) {
        std::error_code status;
        if (folder.has_parent_path()) {
            std::filesystem::create_directories(folder.parent_path(), status);
        }
        if (::mkdir(folder.c_str(), kFolderMode) != 0 && errno != EEXIST) {
            error = fmt::format("{}: {}", folder.string(), Reason(errno));
            return std::nullopt;
        }
    }
    Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (descriptor.get() < 0) {
        error = fmt::format("{}: {}", folder.string(), FolderReason(errno, AT_FDCWD, folder));
        return std::nullopt;
    }
    if (!CheckFolder(descriptor.get(), folder, make, error)) {
        return std::nullopt;
    }
    return KeyFolder(descriptor.release(), folder);
}

std::optional<KeyFolder> KeyFolder::Child(std::string_view name, bool make,
                                          std::string& error) const {
    const std::string entry(name);
    const std::filesystem::path path = path_ / entry;
    if (make && ::mkdirat(descriptor_, entry.c_str(), kFolderMode) != 0 && errno != EEXIST) {
        error = fmt::format("{}: {}", path.string(), Reason(errno));
        return std::nullopt;
    }
    Descriptor descriptor(
        ::openat(descriptor_, entry.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (descriptor.get() < 0) {
        error = fmt::format("{}: {}", path.string(), FolderReason(errno, descriptor_, entry));
        return std::nullopt;
    }
    if (!CheckFolder(descriptor.get(), path, make, error)) {
        return std::nullopt;
    }
    return KeyFolder(descriptor.release(), path);
}

bool KeyFolder::WriteKey(std::string_view name, const std::string& key, std::string& error) const {
    const std::string entry(name);
    const std::string path = (path_ / entry).string();
    Descriptor file(::openat(descriptor_, entry.c_str(),
                             O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kKeyMode));
    if (file.get() < 0) {
        error = fmt::format("{}: {}", path, Reason(errno));
        return false;
    }
    const std::string line = key + '\n';
    if (::write(file.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size()) ||
        ::close(file.release()) != 0) {
        error = fmt::format("{}: cannot be written", path);
        return false;
    }
    return true;
}

std::optional<std::string> KeyFolder::ReadKey(std::string_view name, bool secret,
                                              std::string& error) const {
    const std::string entry(name);
    const std::string path = (path_ / entry).string();
    // Non-blocking, so that a FIFO planted there cannot hold the program up.
    Descriptor file(
        ::openat(descriptor_, entry.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (file.get() < 0) {
        error = fmt::format("{}: {}{}", path, Reason(errno),
                            errno == ENOENT ? " (kep-host keygen makes the keys)" : "");
        return std::nullopt;
    }
    struct stat status {};
    if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        error = fmt::format("{}: not a regular file", path);
        return std::nullopt;
    }
    if (secret && (status.st_mode & kOthersBits) != 0) {
        error = fmt::format(
            "{}: a secret key that others can read (mode {:04o}) is refused; make it the "
            "owner's alone with: chmod 600 {}",
            path, status.st_mode & 07777, path);
        return std::nullopt;
    }
    if (secret && status.st_uid != ::geteuid()) {
        error = fmt::format("{}: a secret key must belong to the user who uses it", path);
        return std::nullopt;
    }
    if (const auto reason = OpenToOthers(status)) {
        error = fmt::format("{}: {}, so it cannot be trusted; make it yours alone: chmod 600 {}",
                            path, *reason, path);
        return std::nullopt;
    }
    std::array<char, kLongestKeyFile + 1> bytes{};
    const ssize_t size = static_cast<std::size_t>(status.st_size) <= kLongestKeyFile
                             ? ::read(file.get(), bytes.data(), bytes.size())
                             : -1;
    std::string_view text(bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.remove_suffix(1);
    }
    if (!IsZ85Key(text)) {
        error = fmt::format(
            "{}: not a CURVE key ({} characters of Z85 text; kep-host keygen makes them)", path,
            kZ85KeyLength);
        return std::nullopt;
    }
    return std::string(text);
}

std::vector<std::string> KeyFolder::List(std::string_view suffix) const {
    std::vector<std::string> names;
    Descriptor copy(::dup(descriptor_));
    DIR* folder = copy.get() >= 0 ? ::fdopendir(copy.get()) : nullptr;
    if (!folder) {
        return names;
    }
    copy.release();
    ::rewinddir(folder);
    while (const dirent* entry = ::readdir(folder)) {
        const std::string_view name = entry->d_name;
        if (name.size() > suffix.size() && name.ends_with(suffix)) {
            names.emplace_back(name);
        }
    }
    ::closedir(folder);
    return names;
}

bool KeyFolder::Has(std::string_view name) const {
    struct stat status {};
    return ::fstatat(descriptor_, std::string(name).c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

std::optional<timespec> KeyFolder::Modified() const {
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0) {
        return std::nullopt;
    }
    return status.st_mtim;
}

}  // namespace replication
