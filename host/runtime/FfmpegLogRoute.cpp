#include "host/runtime/FfmpegLogRoute.h"

#include <cstdarg>
#include <optional>
#include <string>
#include <string_view>

extern "C" {
#include <libavutil/log.h>
}

#include "kep/Messages.h"

namespace {

// FFmpeg's levels grow with verbosity like the host's. Trace lines (several per
// packet) have no host level and are dropped.
std::optional<kep::MessageLevel> HostLevelOf(int ffmpegLevel) {
    if (ffmpegLevel < AV_LOG_PANIC || ffmpegLevel > AV_LOG_DEBUG) {
        return std::nullopt;
    }
    if (ffmpegLevel <= AV_LOG_ERROR) {
        return kep::MessageLevel::Error;
    }
    if (ffmpegLevel <= AV_LOG_WARNING) {
        return kep::MessageLevel::Warning;
    }
    return ffmpegLevel <= AV_LOG_INFO ? kep::MessageLevel::Info : kep::MessageLevel::Debug;
}

// FFmpeg may compose one line from several calls, and calls from the decoder's
// worker thread as well as from the reading thread: each thread gathers its own.
class PendingLine {
public:
    ~PendingLine() { EndLine(); }  // the thread ends in the middle of a line

    // Adds one call's text; every line it completes goes out at the most severe
    // level of its pieces.
    void Add(kep::MessageLevel level, std::string_view piece) {
        if (text_.empty() || level < level_) {
            level_ = level;
        }
        text_ += piece;
        for (std::size_t end; (end = text_.find('\n')) != std::string::npos;) {
            Emit(std::string_view(text_).substr(0, end));
            text_.erase(0, end + 1);
        }
    }

    void EndLine() {
        Emit(text_);
        text_.clear();
        startOfLine_ = 1;
    }

    // av_log_format_line2's note of whether the next piece starts a line (and so
    // gets the "[decoder @ address] " prefix).
    int* startOfLine() { return &startOfLine_; }

private:
    void Emit(std::string_view line) const {
        if (!line.empty()) {
            kep::MessageStream(level_).write(std::string("FFmpeg: ").append(line));
        }
    }

    std::string text_;
    kep::MessageLevel level_ = kep::MessageLevel::Debug;
    int startOfLine_ = 1;
};

thread_local PendingLine pendingLine;

void RouteFfmpegLog(void* object, int ffmpegLevel, const char* format, va_list arguments) {
    const std::optional<kep::MessageLevel> level = HostLevelOf(ffmpegLevel);
    if (!level || !kep::MessageStream(*level).enabled()) {
        // Not composed, as it is not shown; but a call whose format ends a line
        // still ends the line gathered so far.
        const std::string_view formatText(format);
        if (formatText.ends_with('\n')) {
            pendingLine.EndLine();
        }
        return;
    }
    // FFmpeg's own callback composes into a buffer of this size too, and cuts
    // longer lines short the same way.
    char piece[1024];
    const int length = av_log_format_line2(object, ffmpegLevel, format, arguments, piece,
                                           sizeof piece, pendingLine.startOfLine());
    if (length < 0) {
        return;
    }
    pendingLine.Add(*level, piece);
    if (length >= static_cast<int>(sizeof piece)) {
        pendingLine.EndLine();
    }
}

}  // namespace

FfmpegLogRoute::FfmpegLogRoute() {
    av_log_set_callback(&RouteFfmpegLog);
}

FfmpegLogRoute::~FfmpegLogRoute() {
    av_log_set_callback(&av_log_default_callback);
    pendingLine.EndLine();
}
