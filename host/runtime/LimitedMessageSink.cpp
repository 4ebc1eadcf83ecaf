#include "host/runtime/LimitedMessageSink.h"

#include <fmt/format.h>

std::shared_ptr<LimitedMessageSink> LimitedMessageSink::Install() {
    auto sink = std::make_shared<LimitedMessageSink>();
    auto previous = kep::SetMessageSink(sink);
    std::lock_guard lock(sink->mutex_);
    sink->next_ = std::move(previous);
    return sink;
}

namespace {

// A line may hold names a peer chose: control characters (a line end, a
// terminal's escape) are shown as \xNN, so that they cannot forge lines or
// command the terminal.
std::string Printable(std::string_view line) {
    std::string shown;
    shown.reserve(line.size());
    for (const char c : line) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 && c != '\t') || byte == 0x7F) {
            fmt::format_to(std::back_inserter(shown), "\\x{:02X}", byte);
        } else {
            shown += c;
        }
    }
    return shown;
}

}  // namespace

void LimitedMessageSink::write(kep::MessageLevel level, std::string_view original) {
    const std::string line = Printable(original);
    std::lock_guard lock(mutex_);
    if (!next_) {
        return;
    }
    if (level == kep::MessageLevel::Debug) {
        next_->write(level, line);
        return;
    }
    const auto now = Clock::now();
    if (now - windowStart_ >= std::chrono::seconds(1)) {
        Summarise();
        windowStart_ = now;
        passed_ = 0;
    }
    if (passed_ < kLinesPerSecond) {
        ++passed_;
        next_->write(level, line);
        return;
    }
    ++leftOut_;
    mostSevere_ = std::min(mostSevere_, level);
}

void LimitedMessageSink::Flush() {
    std::lock_guard lock(mutex_);
    if (next_) {
        Summarise();
    }
}

void LimitedMessageSink::Summarise() {
    if (leftOut_ > 0) {
        next_->write(
            mostSevere_,
            fmt::format("kep-host: {} more log line(s) in that second were left out", leftOut_));
        leftOut_ = 0;
        mostSevere_ = kep::MessageLevel::Debug;
    }
}
