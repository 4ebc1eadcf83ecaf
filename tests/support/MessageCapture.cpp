#include "MessageCapture.h"

#include <algorithm>
#include <utility>

struct MessageCapture::Sink final : kep::MessageSink {
    void write(kep::MessageLevel level, std::string_view line) override {
        std::lock_guard lock(mutex);
        lines.emplace_back(level, std::string(line));
    }
    std::mutex mutex;
    std::vector<std::pair<kep::MessageLevel, std::string>> lines;
};

MessageCapture::MessageCapture()
    : sink(std::make_shared<Sink>()), previousLevel(kep::GetMessageLevel()) {
    previousSink = kep::SetMessageSink(sink);
    kep::SetMessageLevel(kep::MessageLevel::Debug);
}

MessageCapture::~MessageCapture() {
    kep::SetMessageSink(previousSink);
    kep::SetMessageLevel(previousLevel);
}

std::vector<std::string> MessageCapture::lines() const {
    std::lock_guard lock(sink->mutex);
    std::vector<std::string> texts;
    for (const auto& [level, text] : sink->lines) {
        texts.push_back("[" + std::string(kep::ToString(level)) + "] " + text);
    }
    return texts;
}

std::vector<std::string> MessageCapture::lines(kep::MessageLevel level) const {
    std::lock_guard lock(sink->mutex);
    std::vector<std::string> texts;
    for (const auto& [lineLevel, text] : sink->lines) {
        if (lineLevel == level) {
            texts.push_back(text);
        }
    }
    return texts;
}

bool MessageCapture::contains(kep::MessageLevel level, std::string_view text) const {
    const std::vector<std::string> texts = lines(level);
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

void MessageCapture::clear() {
    std::lock_guard lock(sink->mutex);
    sink->lines.clear();
}
