#include "kep/Messages.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace kep {

namespace {

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
    auto& routing = Routing();
    std::lock_guard lock(routing.mutex);
    if (routing.sink) {
        routing.sink->write(level_, line);
    }
}

}  // namespace kep
