#include "decode/FFmpegError.h"

extern "C" {
#include <libavutil/error.h>
}

std::string FFmpegErrorText(int code) {
    char text[64] = {};
    av_strerror(code, text, sizeof text);
    return text;
}
