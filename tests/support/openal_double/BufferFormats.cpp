#include <AL/alext.h>

#include "openal_double/DoubleState.h"

namespace aldouble::detail {

namespace {

struct NamedFormat {
    const char* name;
    ALenum value;  // OpenAL Soft's value
    FormatLayout layout;
};

// The sample formats the double accepts in alBufferData.
constexpr NamedFormat kFormats[] = {
    {"AL_FORMAT_MONO8", AL_FORMAT_MONO8, {1, 1}},
    {"AL_FORMAT_MONO16", AL_FORMAT_MONO16, {1, 2}},
    {"AL_FORMAT_STEREO8", AL_FORMAT_STEREO8, {2, 1}},
    {"AL_FORMAT_STEREO16", AL_FORMAT_STEREO16, {2, 2}},
    {"AL_FORMAT_MONO_FLOAT32", AL_FORMAT_MONO_FLOAT32, {1, 4}},
    {"AL_FORMAT_STEREO_FLOAT32", AL_FORMAT_STEREO_FLOAT32, {2, 4}},
    {"AL_FORMAT_MONO_DOUBLE_EXT", AL_FORMAT_MONO_DOUBLE_EXT, {1, 8}},
    {"AL_FORMAT_STEREO_DOUBLE_EXT", AL_FORMAT_STEREO_DOUBLE_EXT, {2, 8}},
    {"AL_FORMAT_QUAD8", AL_FORMAT_QUAD8, {4, 1}},
    {"AL_FORMAT_QUAD16", AL_FORMAT_QUAD16, {4, 2}},
    {"AL_FORMAT_QUAD32", AL_FORMAT_QUAD32, {4, 4}},
    {"AL_FORMAT_REAR8", AL_FORMAT_REAR8, {2, 1}},
    {"AL_FORMAT_REAR16", AL_FORMAT_REAR16, {2, 2}},
    {"AL_FORMAT_REAR32", AL_FORMAT_REAR32, {2, 4}},
    {"AL_FORMAT_51CHN8", AL_FORMAT_51CHN8, {6, 1}},
    {"AL_FORMAT_51CHN16", AL_FORMAT_51CHN16, {6, 2}},
    {"AL_FORMAT_51CHN32", AL_FORMAT_51CHN32, {6, 4}},
    {"AL_FORMAT_61CHN8", AL_FORMAT_61CHN8, {7, 1}},
    {"AL_FORMAT_61CHN16", AL_FORMAT_61CHN16, {7, 2}},
    {"AL_FORMAT_61CHN32", AL_FORMAT_61CHN32, {7, 4}},
    {"AL_FORMAT_71CHN8", AL_FORMAT_71CHN8, {8, 1}},
    {"AL_FORMAT_71CHN16", AL_FORMAT_71CHN16, {8, 2}},
    {"AL_FORMAT_71CHN32", AL_FORMAT_71CHN32, {8, 4}},
};

// Formats the plug-in passes as constants rather than looking them up by name.
constexpr std::size_t kConstantFormatCount = 6;

}  // namespace

FormatLayout LayoutOfFormat(const State& state, ALenum format) {
    for (std::size_t i = 0; i < kConstantFormatCount; ++i) {
        if (kFormats[i].value == format) {
            return kFormats[i].layout;
        }
    }
    // The other formats are whatever the enum table says their names stand for,
    // so that a test remapping a name still gets a usable format.
    for (const NamedFormat& named : kFormats) {
        const auto value = state.enumValues.find(std::string_view(named.name));
        if (value != state.enumValues.end() && value->second == format) {
            return named.layout;
        }
    }
    return {};
}

std::map<std::string, ALenum, std::less<>> DefaultEnumValues() {
    std::map<std::string, ALenum, std::less<>> values;
    for (const NamedFormat& named : kFormats) {
        values.emplace(named.name, named.value);
    }
    values.emplace("AL_EVENT_TYPE_BUFFER_COMPLETED_SOFT", AL_EVENT_TYPE_BUFFER_COMPLETED_SOFT);
    values.emplace("AL_EVENT_TYPE_SOURCE_STATE_CHANGED_SOFT",
                   AL_EVENT_TYPE_SOURCE_STATE_CHANGED_SOFT);
    values.emplace("AL_EVENT_TYPE_DISCONNECTED_SOFT", AL_EVENT_TYPE_DISCONNECTED_SOFT);
    return values;
}

}  // namespace aldouble::detail
