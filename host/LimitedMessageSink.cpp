#include "host/LimitedMessageSink.h"

#include <fmt/format.h>

std::shared_ptr<LimitedMessageSink> LimitedMessageSink::Install() {
    auto sink = std::make_shared<LimitedMessageSink>();
    auto previous = kep::SetMessageSink(sink);
    std::lock_guard lock(sink->mutex_);
    sink->next_ = std::move(previous);
    return sink;
}

void LimitedMessageSink::write(kep::MessageLevel level, std::string_view line) {
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
