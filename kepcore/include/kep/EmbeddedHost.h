#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "kep/Export.h"
#include "kep/Plugin.h"
#include "kep/PluginManager.h"

namespace kep {

// What a program needs to host plug-ins, held for the life of this object: a
// PluginManager installed as subsystem 0, where plug-ins find the host's services.
// The destructor stops and releases every plug-in, then removes subsystem 0.
// Every failure is one log line beginning with the host's name, and an empty result.
class KEPCORE_API EmbeddedHost {
public:
    // hostName begins the log lines, e.g. "kep-host" for "kep-host: ...".
    explicit EmbeddedHost(std::string hostName);
    ~EmbeddedHost();
    EmbeddedHost(const EmbeddedHost&) = delete;
    EmbeddedHost& operator=(const EmbeddedHost&) = delete;

    PluginManager& plugins() { return *manager_; }

    // Loads every plug-in library of the folder; false (logged) if none loaded.
    bool LoadPlugins(const std::filesystem::path& folder);

    // Creates the plug-in of the library item with this name (e.g. "SoundSystem")
    // under the tag and starts it; null (logged) if no library offers it or it
    // cannot be created. It is stopped with the host, or earlier by plugins().Stop.
    std::shared_ptr<IBasePlugin> StartPlugin(std::string_view itemName, std::string tag,
                                             bool replicating = false);

    // One frame: delivers parameter changes to every plug-in and runs its update.
    // An exception escaping one plug-in is logged in one line naming it, and the
    // others are still updated: one failing frame must not end the program. False
    // if any update failed.
    bool UpdatePlugins();

private:
    std::string hostName_;
    std::shared_ptr<PluginManager> manager_;
    std::shared_ptr<ISubsystem> replaced_;  // subsystem 0 before this host, put back after
};

}  // namespace kep
