#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "kep/Export.h"

namespace kep {

enum class MessageLevel { Error = 0, Warning = 1, Info = 2, Debug = 3 };

std::string_view KEPCORE_API ToString(MessageLevel level);
// Parses "error", "warning", "info" or "debug"; false for anything else.
bool KEPCORE_API ParseMessageLevel(std::string_view text, MessageLevel& level);

// Where composed lines go. Called from any thread, one line at a time.
class KEPCORE_API MessageSink {
public:
    virtual ~MessageSink() = default;
    virtual void write(MessageLevel level, std::string_view line) = 0;
};

// Replaces the process-wide sink and returns the previous one. The default sink
// writes "[level] line" to standard error.
std::shared_ptr<MessageSink> KEPCORE_API SetMessageSink(std::shared_ptr<MessageSink> sink);
// Lines below this level (in verbosity) are dropped before they are formatted.
void KEPCORE_API SetMessageLevel(MessageLevel lowestShown);
MessageLevel KEPCORE_API GetMessageLevel();

// One of the four message streams. Each call composes one line from a format
// string with {} replacement fields; nothing is formatted when the level is off.
// A line longer than 4 KiB is cut there, ending "… [N bytes left out]".
class KEPCORE_API MessageStream {
public:
    explicit constexpr MessageStream(MessageLevel level) : level_(level) {}

    bool enabled() const;
    MessageLevel level() const { return level_; }

    template <class... Args>
    void operator()(fmt::format_string<Args...> format, Args&&... args) const {
        if (enabled()) {
            write(fmt::vformat(format, fmt::make_format_args(args...)));
        }
    }
    void write(std::string_view line) const;

private:
    MessageLevel level_;
};

inline MessageStream Error() {
    return MessageStream(MessageLevel::Error);
}
inline MessageStream Warning() {
    return MessageStream(MessageLevel::Warning);
}
inline MessageStream Info() {
    return MessageStream(MessageLevel::Info);
}
inline MessageStream Debug() {
    return MessageStream(MessageLevel::Debug);
}

}  // namespace kep
