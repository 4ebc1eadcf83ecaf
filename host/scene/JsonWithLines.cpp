#include "host/scene/JsonWithLines.h"

#include <cstddef>
#include <iterator>
#include <set>
#include <vector>

#include <fmt/format.h>

namespace {

// Walks the text for the parser and publishes how far it has read: the parser
// copies its iterators, so the position lives outside them.
class PublishingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    PublishingIterator(const char* at, const char** published) : at_(at), published_(published) {}
    reference operator*() const { return *at_; }
    PublishingIterator& operator++() {
        *published_ = ++at_;
        return *this;
    }
    bool operator==(const PublishingIterator& other) const { return at_ == other.at_; }

private:
    const char* at_;
    const char** published_;
};

// Builds the document through nlohmann-json's own DOM builder and notes the line
// of every value as its event arrives. An event comes when the parser has read
// the value's last character, or for a number one character more; either
// character stands on the value's line (a line's newline counts as on it).
class LineRecorder {
public:
    using Json = nlohmann::json;

    LineRecorder(std::string_view text, JsonWithLines& result)
        : text_(text), read_(text.data()), result_(result), builder_(result.document, false) {}

    const char** readPosition() { return &read_; }
    const JsonError& error() const { return error_; }

    bool null() { return Value() && builder_.null(); }
    bool boolean(bool value) { return Value() && builder_.boolean(value); }
    bool number_integer(Json::number_integer_t value) {
        return Value() && builder_.number_integer(value);
    }
    bool number_unsigned(Json::number_unsigned_t value) {
        return Value() && builder_.number_unsigned(value);
    }
    bool number_float(Json::number_float_t value, const Json::string_t& text) {
        return Value() && builder_.number_float(value, text);
    }
    bool string(Json::string_t& value) { return Value() && builder_.string(value); }
    bool binary(Json::binary_t& value) { return Value() && builder_.binary(value); }
    bool start_object(std::size_t size) { return Open(false) && builder_.start_object(size); }
    bool start_array(std::size_t size) { return Open(true) && builder_.start_array(size); }
    bool end_object() {
        levels_.pop_back();
        return builder_.end_object();
    }
    bool end_array() {
        levels_.pop_back();
        return builder_.end_array();
    }
    bool key(Json::string_t& name) {
        Level& level = levels_.back();
        level.key = name;
        level.awaitingValue = true;
        if (!level.keys.insert(name).second) {
            error_ = {CurrentLine(), MemberPath(level.path, name), "given twice"};
            return false;
        }
        return builder_.key(name);
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) {
        std::string_view message = error.what();
        // "[json.exception.parse_error.101] parse error at line 3, column 5: why":
        // the line is told by the error's own line number, the rest is kept.
        if (const std::size_t column = message.find("column "); column != message.npos) {
            if (const std::size_t colon = message.find(": ", column); colon != message.npos) {
                message.remove_prefix(colon + 2);
            }
        }
        std::string path;
        if (!levels_.empty()) {
            const Level& level = levels_.back();
            path = level.awaitingValue ? MemberPath(level.path, level.key) : level.path;
        }
        error_ = {CurrentLine(), path, std::string(message)};
        return false;
    }

private:
    struct Level {
        std::string path;
        bool isArray = false;
        std::size_t nextIndex = 0;
        std::string key;
        bool awaitingValue = false;
        std::set<std::string, std::less<>> keys;
    };

    // The line of the last character read.
    int CurrentLine() {
        const char* last = read_ > text_.data() ? read_ - 1 : read_;
        for (; counted_ < last; ++counted_) {
            newlinesBefore_ += *counted_ == '\n';
        }
        return newlinesBefore_ + 1;
    }

    // Records the line of the value whose event has just come, under its path.
    std::string NoteValue() {
        std::string path;
        if (!levels_.empty()) {
            Level& level = levels_.back();
            path = level.isArray ? ElementPath(level.path, level.nextIndex++)
                                 : MemberPath(level.path, level.key);
            level.awaitingValue = false;
        }
        result_.lines[path] = CurrentLine();
        return path;
    }

    bool Value() {
        NoteValue();
        return true;
    }

    bool Open(bool isArray) {
        Level level;
        level.path = NoteValue();
        level.isArray = isArray;
        levels_.push_back(std::move(level));
        return true;
    }

    std::string_view text_;
    const char* read_;
    const char* counted_ = text_.data();
    int newlinesBefore_ = 0;
    JsonWithLines& result_;
    nlohmann::detail::json_sax_dom_parser<Json> builder_;
    std::vector<Level> levels_;
    JsonError error_;
};

}  // namespace

int JsonWithLines::LineOf(std::string_view path) const {
    for (;;) {
        if (const auto found = lines.find(path); found != lines.end()) {
            return found->second;
        }
        if (path.empty()) {
            return 0;
        }
        const std::size_t cut = path.find_last_of(".[");
        path = path.substr(0, cut == path.npos ? 0 : cut);
    }
}

std::variant<JsonWithLines, JsonError> ParseJsonWithLines(std::string_view text) {
    JsonWithLines result;
    LineRecorder recorder(text, result);
    const char* begin = text.data();
    const bool parsed = nlohmann::json::sax_parse(
        PublishingIterator(begin, recorder.readPosition()),
        PublishingIterator(begin + text.size(), recorder.readPosition()), &recorder);
    if (!parsed) {
        return recorder.error();
    }
    return result;
}

std::string MemberPath(std::string_view path, std::string_view name) {
    return path.empty() ? std::string(name) : fmt::format("{}.{}", path, name);
}

std::string ElementPath(std::string_view path, std::size_t index) {
    return fmt::format("{}[{}]", path, index);
}
