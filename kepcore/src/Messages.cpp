#include "kep/Messages.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace kep {

namespace {

// A longer line is cut here, so that a name a peer made 16 MiB long cannot flood
// a log: what the reader needs to know fits in the first few KiB.
constexpr std::size_t kLongestLine = 4096;

class StderrSink final : public MessageSink {
public:
    void write(MessageLevel level, std::string_view line) override {
        std::string text = fmt::format("[{}] {}\n", ToString(level), line);
        std::fwrite(text.data(), 1, text.size(), stderr);
        std::fflush(stderr);
    }
};

struct MessageRouting {
    std::mutex mutex;
    std::shared_ptr<MessageSink> sink = std::make_shared<StderrSink>();
    std::atomic<MessageLevel> lowestShown{MessageLevel::Info};
};

MessageRouting& Routing() {
    static MessageRouting routing;
    return routing;
}

}  // namespace

std::string_view ToString(MessageLevel level) {
    switch (level) {
        case MessageLevel::Error:
            return "error";
        case MessageLevel::Warning:
            return "warning";
        case MessageLevel::Info:
            return "info";
        case MessageLevel::Debug:
            return "debug";
    }
    return "unknown";
}

bool ParseMessageLevel(std::string_view text, MessageLevel& level) {
    for (auto candidate :
         {MessageLevel::Error, MessageLevel::Warning, MessageLevel::Info, MessageLevel::Debug}) {
        if (text == ToString(candidate)) {
            level = candidate;
            return true;
        }
    }
    return false;
}

std::shared_ptr<MessageSink> SetMessageSink(std::shared_ptr<MessageSink> sink) {
    auto& routing = Routing();
    std::lock_guard lock(routing.mutex);
    std::swap(routing.sink, sink);
    return sink;
}

void SetMessageLevel(MessageLevel lowestShown) {
    Routing().lowestShown = lowestShown;
}

MessageLevel GetMessageLevel() {
    return Routing().lowestShown;
}

bool MessageStream::enabled() const {
    return level_ <= Routing().lowestShown.load();
}

void MessageStream::write(std::string_view line) const {
    std::string cut;
    if (line.size() > kLongestLine) {
        // Not inside a UTF-8 sequence: back to the first byte of its character.
        std::size_t kept = kLongestLine;
        while (kept > 0 && (static_cast<unsigned char>(line[kept]) & 0xC0) == 0x80) {
            --kept;
        }
        cut = fmt::format("{} … [{} bytes left out]", line.substr(0, kept), line.size() - kept);
        line = cut;
    }
    auto& routing = Routing();
    std::lock_guard lock(routing.mutex);
    if (routing.sink) {
        routing.sink->write(level_, line);
    }
}

}  // namespace kep
