#pragma once

// While it lives, FFmpeg's own log lines (a demuxer's or decoder's warnings, which
// FFmpeg otherwise writes straight to standard error) go to the host's message
// streams, "FFmpeg: " first, at the matching level, so that --log-level governs
// them too. FFmpeg's log callback is process-wide: the host owns it, not the
// plug-in, which must not change a setting of the process it is loaded into.
class FfmpegLogRoute {
public:
    FfmpegLogRoute();
    ~FfmpegLogRoute();  // gives FFmpeg its own callback back
    FfmpegLogRoute(const FfmpegLogRoute&) = delete;
    FfmpegLogRoute& operator=(const FfmpegLogRoute&) = delete;
};
