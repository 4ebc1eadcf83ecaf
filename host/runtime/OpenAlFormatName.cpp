#include "host/runtime/OpenAlFormatName.h"

#include <AL/al.h>
#include <AL/alext.h>

namespace {

struct FormatRow {
    std::uint32_t format;
    OpenAlFormatName name;
};

#define KEP_FORMAT(enumerator, description) \
    FormatRow {                             \
        enumerator, {                       \
            description, #enumerator        \
        }                                   \
    }

// Plain OpenAL, AL_EXT_FLOAT32, AL_EXT_DOUBLE and AL_EXT_MCFORMATS (whose 32-bit
// formats hold floats).
constexpr FormatRow kFormats[] = {
    KEP_FORMAT(AL_FORMAT_MONO8, "mono 8-bit"),
    KEP_FORMAT(AL_FORMAT_MONO16, "mono 16-bit"),
    KEP_FORMAT(AL_FORMAT_MONO_FLOAT32, "mono float32"),
    KEP_FORMAT(AL_FORMAT_MONO_DOUBLE_EXT, "mono float64"),
    KEP_FORMAT(AL_FORMAT_STEREO8, "stereo 8-bit"),
    KEP_FORMAT(AL_FORMAT_STEREO16, "stereo 16-bit"),
    KEP_FORMAT(AL_FORMAT_STEREO_FLOAT32, "stereo float32"),
    KEP_FORMAT(AL_FORMAT_STEREO_DOUBLE_EXT, "stereo float64"),
    KEP_FORMAT(AL_FORMAT_REAR8, "rear 8-bit"),
    KEP_FORMAT(AL_FORMAT_REAR16, "rear 16-bit"),
    KEP_FORMAT(AL_FORMAT_REAR32, "rear float32"),
    KEP_FORMAT(AL_FORMAT_QUAD8, "quad 8-bit"),
    KEP_FORMAT(AL_FORMAT_QUAD16, "quad 16-bit"),
    KEP_FORMAT(AL_FORMAT_QUAD32, "quad float32"),
    KEP_FORMAT(AL_FORMAT_51CHN8, "5.1 8-bit"),
    KEP_FORMAT(AL_FORMAT_51CHN16, "5.1 16-bit"),
    KEP_FORMAT(AL_FORMAT_51CHN32, "5.1 float32"),
    KEP_FORMAT(AL_FORMAT_61CHN8, "6.1 8-bit"),
    KEP_FORMAT(AL_FORMAT_61CHN16, "6.1 16-bit"),
    KEP_FORMAT(AL_FORMAT_61CHN32, "6.1 float32"),
    KEP_FORMAT(AL_FORMAT_71CHN8, "7.1 8-bit"),
    KEP_FORMAT(AL_FORMAT_71CHN16, "7.1 16-bit"),
    KEP_FORMAT(AL_FORMAT_71CHN32, "7.1 float32"),
};

#undef KEP_FORMAT

}  // namespace

std::optional<OpenAlFormatName> NameOfOpenAlFormat(std::uint32_t format) {
    for (const FormatRow& row : kFormats) {
        if (row.format == format) {
            return row.name;
        }
    }
    return std::nullopt;
}
