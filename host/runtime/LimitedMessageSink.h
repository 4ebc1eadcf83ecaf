#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string_view>

#include "kep/Messages.h"

// Passes at most a few dozen log lines a second to the sink behind it, so that
// a peer or a file that makes the sound system log once per record cannot fill a
// log: the rest are counted and summed up in one line once their second is over.
// Debug lines, which a user asks for, all pass. Control characters in a line are
// shown escaped.
class LimitedMessageSink final : public kep::MessageSink {
public:
    static constexpr int kLinesPerSecond = 40;

    // Puts itself in front of the process's sink.
    static std::shared_ptr<LimitedMessageSink> Install();

    void write(kep::MessageLevel level, std::string_view line) override;
    // Writes the summary of the lines left out, if any.
    void Flush();

private:
    using Clock = std::chrono::steady_clock;

    void Summarise();

    std::mutex mutex_;
    std::shared_ptr<kep::MessageSink> next_;
    Clock::time_point windowStart_{};
    int passed_ = 0;
    long long leftOut_ = 0;
    kep::MessageLevel mostSevere_ = kep::MessageLevel::Debug;
};
