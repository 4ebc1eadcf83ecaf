#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include "kep/EmbeddedHost.h"
#include "kep/ISoundSystem.h"
#include "kep/Messages.h"
#include "kep/Plugin.h"
#include "kep/PluginManager.h"

// What every kep-host command works with: the options common to all commands and
// kepcore's embedded host (the plug-in manager, installed as subsystem 0, with
// the plug-in libraries loaded), whose log lines begin "kep-host:".
class HostContext {
public:
    struct Options {
        std::filesystem::path pluginDir;
        kep::MessageLevel logLevel = kep::MessageLevel::Warning;
    };

    explicit HostContext(Options options);  // stops and releases every plug-in when it goes
    HostContext(const HostContext&) = delete;
    HostContext& operator=(const HostContext&) = delete;

    const Options& options() const { return options_; }
    kep::PluginManager& plugins() { return host_.plugins(); }
    // Loads the plug-in libraries of the plug-in folder; false (logged) if none loaded.
    bool LoadPlugins();

    // Creates a SoundSystem under the tag and starts it; null (logged) if the item
    // is missing. The plug-in is stopped with the context.
    std::shared_ptr<kep::IBasePlugin> StartSoundSystem(const std::string& tag, bool replicating);

    // One frame: delivers parameter changes to every plug-in and runs its update.
    // An exception escaping one plug-in is logged in one line naming it, and the
    // others are still updated: one failing frame must not end the program. False
    // if any update failed.
    bool UpdatePlugins();

private:
    Options options_;
    kep::EmbeddedHost host_;
};

// What to do without an audio device, for the commands that need one.
inline constexpr const char* kNoDeviceHint =
    "to run without an audio device, set ALSOFT_DRIVERS=null (OpenAL Soft's null backend "
    "plays to no output), or record a scene with kep-host render";
// What a command that needs an audio device says when none opened.
inline const std::string kNoDeviceMessage =
    std::string("kep-host: no audio device; ") + kNoDeviceHint + ".";

// The plug-in's ISoundSystem, sharing ownership of the plug-in; null if it has none.
std::shared_ptr<kep::ISoundSystem> SoundSystemOf(const std::shared_ptr<kep::IBasePlugin>& plugin);
