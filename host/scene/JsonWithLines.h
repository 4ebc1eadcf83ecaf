#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

#include <nlohmann/json.hpp>

// Budgets of a document read from outside, checked before it gets the memory:
// the deepest nesting of arrays and objects, and the most values (numbers,
// strings, arrays, objects...) in all. A value costs up to about 110 bytes
// parsed, whatever its text.
constexpr std::size_t kMostJsonDepth = 64;
constexpr std::size_t kMostJsonValues = 1'000'000;

// A JSON document with its text, so that a value found wrong after parsing can be
// reported at its line. nlohmann-json itself knows lines only while it parses, and
// keeping the line of every value would cost more than the document: the text is
// read again for the one line a message needs.
struct JsonWithLines {
    nlohmann::json document;
    std::string text;

    // The line of the value at the path ("sources[2].position[1]": members joined
    // by ".", elements in brackets; the whole document is "") or, for a member that
    // is not there, of the nearest value around it; 0 if there is none. An object
    // or array stands on the line of its opening bracket.
    int LineOf(std::string_view path) const;
};

// What kept a text from being a document: where the parser stopped, the path of
// the value it was reading, and why.
struct JsonError {
    int line = 0;
    std::string path;
    std::string message;
};

// A document, or why the text is none: a syntax error, a member given twice, a
// number beyond a double, or a budget exceeded.
std::variant<JsonWithLines, JsonError> ParseJsonWithLines(std::string text);

// The path of a member or an element below a path.
std::string MemberPath(std::string_view path, std::string_view name);
std::string ElementPath(std::string_view path, std::size_t index);
