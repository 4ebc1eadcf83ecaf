#include "host/OutputFile.h"

#include "host/ConsoleOutput.h"

bool FolderMade(const std::filesystem::path& file) {
    std::error_code status;
    const std::filesystem::path folder = std::filesystem::absolute(file, status).parent_path();
    std::filesystem::create_directories(folder, status);
    if (!std::filesystem::is_directory(folder, status)) {
        PrintError("kep-host: {} cannot be written: no folder {} can be made\n", file.string(),
                   folder.string());
        return false;
    }
    return true;
}
