#include "host/scene/JsonWithLines.h"

#include <iterator>
#include <set>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace {

using Json = nlohmann::json;

// nlohmann-json's id of a number too large for a double ("1e309").
constexpr int kNumberOverflow = 406;
// How much of an offending number a message quotes.
constexpr std::size_t kMostQuotedCharacters = 40;

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

// Follows the parser through the document: the path of each value as its event
// arrives, and the line it has read to. An event comes when the parser has read
// the value's last character (for an object or array, its opening bracket), or
// for a number one character more; either character stands on the value's line
// (a line's newline counts as on it). Paths are kept for the open levels only, so
// what it holds grows with the depth, not with the document.
class PathTracker {
public:
    explicit PathTracker(std::string_view text) : text_(text), read_(text.data()) {}

    // Where the parser publishes how far it has read.
    const char** readPosition() { return &read_; }

    // Parses the text, sending each event to handler.
    template <class Handler>
    bool Parse(Handler& handler) {
        const char* begin = text_.data();
        return Json::sax_parse(PublishingIterator(begin, &read_),
                               PublishingIterator(begin + text_.size(), &read_), &handler);
    }

protected:
    struct Level {
        std::string path;
        bool isArray = false;
        std::size_t nextIndex = 0;
        std::string key;
        bool awaitingValue = false;
    };

    // The line of the last character read.
    int CurrentLine() {
        const char* last = read_ > text_.data() ? read_ - 1 : read_;
        for (; counted_ < last; ++counted_) {
            newlinesBefore_ += *counted_ == '\n';
        }
        return newlinesBefore_ + 1;
    }

    // The path of the value whose event has just come.
    std::string TakeValuePath() {
        if (levels_.empty()) {
            return {};
        }
        Level& level = levels_.back();
        level.awaitingValue = false;
        return level.isArray ? ElementPath(level.path, level.nextIndex++)
                             : MemberPath(level.path, level.key);
    }

    // The path of the value the parser is reading, for a message about it.
    std::string PathBeingRead(bool elementPath) const {
        if (levels_.empty()) {
            return {};
        }
        const Level& level = levels_.back();
        if (level.isArray) {
            return elementPath ? ElementPath(level.path, level.nextIndex) : level.path;
        }
        return level.awaitingValue ? MemberPath(level.path, level.key) : level.path;
    }

    void OpenLevel(std::string path, bool isArray) {
        levels_.push_back({std::move(path), isArray, 0, {}, false});
    }
    void CloseLevel() { levels_.pop_back(); }
    void NoteKey(const std::string& name) {
        levels_.back().key = name;
        levels_.back().awaitingValue = true;
    }

    std::vector<Level> levels_;

private:
    std::string_view text_;
    const char* read_;
    const char* counted_ = text_.data();
    int newlinesBefore_ = 0;
};

// Builds the document from the parser's events, refusing a member given twice,
// and a value beyond a budget before it is built.
class DocumentBuilder final : public nlohmann::json_sax<Json>, PathTracker {
public:
    DocumentBuilder(std::string_view text, Json& document) : PathTracker(text), root_(document) {}

    using PathTracker::Parse;
    const JsonError& error() const { return error_; }

    bool null() override { return Value() && Put(nullptr); }
    bool boolean(bool value) override { return Value() && Put(value); }
    bool number_integer(number_integer_t value) override { return Value() && Put(value); }
    bool number_unsigned(number_unsigned_t value) override { return Value() && Put(value); }
    bool number_float(number_float_t value, const string_t&) override {
        return Value() && Put(value);
    }
    bool string(string_t& value) override { return Value() && Put(std::move(value)); }
    bool binary(binary_t& value) override { return Value() && Put(std::move(value)); }
    bool start_object(std::size_t) override {
        return Open(false) && Enter(Put(Json::value_t::object));
    }
    bool start_array(std::size_t) override {
        return Open(true) && Enter(Put(Json::value_t::array));
    }
    bool end_object() override { return Close(); }
    bool end_array() override { return Close(); }
    bool key(string_t& name) override {
        NoteKey(name);
        if (!keys_.back().insert(name).second) {
            error_ = {CurrentLine(), MemberPath(levels_.back().path, name), "given twice"};
            return false;
        }
        member_ = &(*containers_.back())[name];
        return true;
    }
    bool parse_error(std::size_t, const std::string& token, const Json::exception& error) override {
        if (error.id == kNumberOverflow) {
            const bool cut = token.size() > kMostQuotedCharacters;
            error_ = {CurrentLine(), PathBeingRead(true),
                      fmt::format("number out of range: {}{}",
                                  token.substr(0, kMostQuotedCharacters), cut ? "..." : "")};
            return false;
        }
        // "[json.exception.parse_error.101] parse error at line 3, column 5: why":
        // the line is told by the error's own line number, the rest is kept.
        std::string_view message = error.what();
        if (const std::size_t column = message.find("column "); column != message.npos) {
            if (const std::size_t colon = message.find(": ", column); colon != message.npos) {
                message.remove_prefix(colon + 2);
            }
        }
        error_ = {CurrentLine(), PathBeingRead(false), std::string(message)};
        return false;
    }

private:
    // Places a value where the document has reached: the whole document, the
    // next element of an array, or the member whose key came last.
    template <class T>
    Json* Put(T&& value) {
        if (containers_.empty()) {
            root_ = Json(std::forward<T>(value));
            return &root_;
        }
        Json& container = *containers_.back();
        if (container.is_array()) {
            container.emplace_back(std::forward<T>(value));
            return &container.back();
        }
        *member_ = Json(std::forward<T>(value));
        return member_;
    }

    bool Enter(Json* container) {
        containers_.push_back(container);
        return true;
    }

    bool Value() {
        std::string path = TakeValuePath();
        return Counted(path);
    }

    bool Counted(std::string& path) {
        if (++values_ > kMostJsonValues) {
            error_ = {CurrentLine(), std::move(path),
                      fmt::format("more than {} values in one document", kMostJsonValues)};
            return false;
        }
        return true;
    }

    bool Open(bool isArray) {
        std::string path = TakeValuePath();
        if (!Counted(path)) {
            return false;
        }
        if (levels_.size() >= kMostJsonDepth) {
            error_ = {
                CurrentLine(), std::move(path),
                fmt::format("more than {} levels of nested arrays and objects", kMostJsonDepth)};
            return false;
        }
        OpenLevel(std::move(path), isArray);
        keys_.emplace_back();
        return true;
    }

    bool Close() {
        CloseLevel();
        keys_.pop_back();
        containers_.pop_back();
        return true;
    }

    Json& root_;
    // The open arrays and objects, innermost last, and the member being read.
    std::vector<Json*> containers_;
    Json* member_ = nullptr;
    // The members seen so far of each open object.
    std::vector<std::set<std::string, std::less<>>> keys_;
    std::size_t values_ = 0;
    JsonError error_;
};

// Reads a parsed document's text again for the line of one path, stopping there.
class LineFinder final : public nlohmann::json_sax<Json>, PathTracker {
public:
    LineFinder(std::string_view text, std::string_view target)
        : PathTracker(text), target_(target) {}

    using PathTracker::Parse;

    // The line of the target, or of the nearest value around it.
    int line() const { return line_; }

    bool null() override { return Value(); }
    bool boolean(bool) override { return Value(); }
    bool number_integer(number_integer_t) override { return Value(); }
    bool number_unsigned(number_unsigned_t) override { return Value(); }
    bool number_float(number_float_t, const string_t&) override { return Value(); }
    bool string(string_t&) override { return Value(); }
    bool binary(binary_t&) override { return Value(); }
    bool start_object(std::size_t) override { return Open(false); }
    bool start_array(std::size_t) override { return Open(true); }
    bool end_object() override { return Close(); }
    bool end_array() override { return Close(); }
    bool key(string_t& name) override {
        NoteKey(name);
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const Json::exception&) override {
        return false;
    }

private:
    // Notes the line of a value on the way to the target; false (stop) at the
    // target itself.
    bool Reached(const std::string& path) {
        const bool around =
            path.size() < target_.size() && target_.starts_with(path) &&
            (path.empty() || target_[path.size()] == '.' || target_[path.size()] == '[');
        if (path == target_ || around) {
            line_ = CurrentLine();
            insideTarget_ = levels_.size();
        }
        return path != target_;
    }

    bool Value() { return Reached(TakeValuePath()); }

    bool Open(bool isArray) {
        std::string path = TakeValuePath();
        const bool goOn = Reached(path);
        OpenLevel(std::move(path), isArray);
        return goOn;
    }

    // Past the end of the innermost value around the target, the target is not
    // there.
    bool Close() {
        CloseLevel();
        return levels_.size() > insideTarget_;
    }

    std::string_view target_;
    int line_ = 0;
    // The depth of the innermost value around the target found so far.
    std::size_t insideTarget_ = 0;
};

}  // namespace

int JsonWithLines::LineOf(std::string_view path) const {
    LineFinder finder(text, path);
    finder.Parse(finder);
    return finder.line();
}

std::variant<JsonWithLines, JsonError> ParseJsonWithLines(std::string text) {
    JsonWithLines result;
    result.text = std::move(text);
    DocumentBuilder builder(result.text, result.document);
    if (!builder.Parse(builder)) {
        return builder.error();
    }
    return result;
}

std::string MemberPath(std::string_view path, std::string_view name) {
    // A member's name is the file's to choose: a long one is cut, so that nested
    // long names cannot make paths (and messages) grow with the square of the file.
    constexpr std::size_t kLongestName = 256;
    std::string shown(name);
    if (shown.size() > kLongestName) {
        std::size_t cut = kLongestName;
        while (cut > 0 && (static_cast<unsigned char>(shown[cut]) & 0xC0) == 0x80) {
            --cut;  // not inside a character
        }
        shown.resize(cut);
        shown += "...";
    }
    return path.empty() ? shown : fmt::format("{}.{}", path, shown);
}

std::string ElementPath(std::string_view path, std::size_t index) {
    return fmt::format("{}[{}]", path, index);
}
