#include "host/runtime/HostContext.h"

HostContext::HostContext(Options options) : options_(std::move(options)), host_("kep-host") {}

bool HostContext::LoadPlugins() {
    return host_.LoadPlugins(options_.pluginDir);
}

std::shared_ptr<kep::IBasePlugin> HostContext::StartSoundSystem(const std::string& tag,
                                                                bool replicating) {
    return host_.StartPlugin("SoundSystem", tag, replicating);
}

bool HostContext::UpdatePlugins() {
    return host_.UpdatePlugins();
}

std::shared_ptr<kep::ISoundSystem> SoundSystemOf(const std::shared_ptr<kep::IBasePlugin>& plugin) {
    return plugin ? kep::query_shared<kep::ISoundSystem>(plugin.get()) : nullptr;
}
