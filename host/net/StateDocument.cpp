#include "host/net/StateDocument.h"

#include <fstream>

#include <fmt/format.h>

#include "host/runtime/SoundLength.h"

namespace {

// The exact length of a sound's buffer, or null if it cannot be described.
nlohmann::json SecondsOf(kep::ISoundInspector& inspector, const std::string& name) {
    kep::SoundDescription description;
    if (!inspector.DescribeSound(name, description)) {
        return nullptr;
    }
    return BufferSeconds(description);
}

}  // namespace

nlohmann::json DescribeState(kep::ISoundSystem& sound, kep::ISoundInspector& inspector) {
    nlohmann::json sounds = nlohmann::json::array();
    for (const std::string& name : inspector.ListSounds()) {
        sounds.push_back({{"name", name},
                          {"seconds", SecondsOf(inspector, name)},
                          {"wholeSeconds", sound.GetSoundDuration(name)}});
    }
    nlohmann::json sources = nlohmann::json::array();
    for (const std::int32_t id : inspector.ListSources()) {
        kep::SourceDescription source;
        if (!inspector.DescribeSource(id, source)) {
            continue;
        }
        const osg::Vec3f position = sound.GetPosition(id);
        sources.push_back({{"id", id},
                           {"position", {position.x(), position.y(), position.z()}},
                           {"gain", source.gain},
                           {"looping", source.looping},
                           {"sound", source.soundName},
                           {"live", sound.IsPlaying(id)}});
    }
    return {{"sounds", sounds}, {"sources", sources}};
}

bool WriteState(const std::filesystem::path& file, const nlohmann::json& state,
                std::string& error) {
    std::ofstream stream(file, std::ios::trunc);
    stream << state.dump(2) << '\n';
    stream.close();
    if (stream.fail()) {
        error = fmt::format("{} could not be written", file.string());
        return false;
    }
    return true;
}
