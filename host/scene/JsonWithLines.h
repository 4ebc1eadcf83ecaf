#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <variant>

#include <nlohmann/json.hpp>

// A JSON document with the line on which each of its values stands, so that a
// value found wrong after parsing can be reported at its line. nlohmann-json
// itself knows lines only while it parses.
struct JsonWithLines {
    nlohmann::json document;
    // By path: "sources[2].position[1]" (members joined by ".", elements in
    // brackets; the whole document is "").
    std::map<std::string, int, std::less<>> lines;

    // The line of the value at the path or, for a member that is not there, of
    // the nearest value around it; 0 if there is none.
    int LineOf(std::string_view path) const;
};

// What kept a text from being a document: where the parser stopped, the path of
// the value it was reading, and why.
struct JsonError {
    int line = 0;
    std::string path;
    std::string message;
};

std::variant<JsonWithLines, JsonError> ParseJsonWithLines(std::string_view text);

// The path of a member or an element below a path.
std::string MemberPath(std::string_view path, std::string_view name);
std::string ElementPath(std::string_view path, std::size_t index);
