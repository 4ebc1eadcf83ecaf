#include "TestMedia.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include <fmt/format.h>

std::string MediaDir() {
    const char* dir = std::getenv("KEP_TEST_MEDIA");
    if (!dir || !*dir) {
        throw std::runtime_error(
            "KEP_TEST_MEDIA is not set: run the tests through ctest, or make the media with "
            "tests/data/make_media.sh DIR and set KEP_TEST_MEDIA=DIR");
    }
    if (!std::filesystem::is_directory(dir)) {
        throw std::runtime_error(
            fmt::format("KEP_TEST_MEDIA names {}, which is not a folder: run "
                        "tests/data/make_media.sh {} first",
                        dir, dir));
    }
    return dir;
}

std::string MediaPath(std::string_view fileName) {
    const std::filesystem::path path = std::filesystem::path(MediaDir()) / fileName;
    if (!std::filesystem::exists(path)) {
        throw std::runtime_error(
            fmt::format("test media file {} is missing: tests/data/make_media.sh does not make it",
                        path.string()));
    }
    return path.string();
}
