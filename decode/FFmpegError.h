#pragma once

#include <string>

// av_strerror's text for an FFmpeg error code, at most 63 characters.
[[nodiscard]] std::string FFmpegErrorText(int code);
