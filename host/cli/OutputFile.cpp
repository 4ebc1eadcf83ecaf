#include "host/cli/OutputFile.h"

#include <fstream>

#include "host/cli/ConsoleOutput.h"

bool Writable(const std::filesystem::path& file) {
    std::error_code status;
    const std::filesystem::path folder = std::filesystem::absolute(file, status).parent_path();
    std::filesystem::create_directories(folder, status);
    if (!std::filesystem::is_directory(folder, status)) {
        PrintError("kep-host: {} cannot be written: no folder {} can be made\n", file.string(),
                   folder.string());
        return false;
    }
    const auto type = std::filesystem::status(file, status).type();
    // A FIFO would block the open until a reader came; a folder is no file.
    if (type == std::filesystem::file_type::fifo || type == std::filesystem::file_type::socket ||
        type == std::filesystem::file_type::directory) {
        PrintError("kep-host: {} cannot be written: it is not a regular file\n", file.string());
        return false;
    }
    const bool existed = std::filesystem::exists(file, status);
    const bool opened = std::ofstream(file, std::ios::app).is_open();
    if (!existed) {
        std::filesystem::remove(file, status);
    }
    if (!opened) {
        PrintError("kep-host: {} cannot be written\n", file.string());
    }
    return opened;
}

bool SameFile(const std::filesystem::path& one, const std::filesystem::path& other) {
    std::error_code status;
    if (std::filesystem::equivalent(one, other, status)) {
        return true;
    }
    const auto normal = [](const std::filesystem::path& path) {
        std::error_code ignored;
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path, ignored), ignored);
    };
    return normal(one) == normal(other);
}
