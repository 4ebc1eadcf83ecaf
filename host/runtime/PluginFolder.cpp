#include "host/runtime/PluginFolder.h"

#include <system_error>

// Both set by the build: the installed folder relative to kep-host's own, and
// the build tree's folder.
#ifndef KEP_INSTALLED_PLUGIN_DIR
#define KEP_INSTALLED_PLUGIN_DIR "../lib/kep/plugins"
#endif
#ifndef KEP_DEFAULT_PLUGIN_DIR
#define KEP_DEFAULT_PLUGIN_DIR "plugins"
#endif

std::filesystem::path DefaultPluginFolder() {
    // The program's real location, whatever argv[0] or the working folder say;
    // a symbolic link to kep-host (in /usr/local/bin, say) still finds the folder.
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        const std::filesystem::path installed =
            (program.parent_path() / KEP_INSTALLED_PLUGIN_DIR).lexically_normal();
        if (std::filesystem::is_directory(installed, error)) {
            return installed;
        }
    }
    return KEP_DEFAULT_PLUGIN_DIR;
}
