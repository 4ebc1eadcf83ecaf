#include "host/ArgumentParsing.h"

#include <cmath>
#include <cstdlib>
#include <string>

std::optional<double> ParseNumber(std::string_view text) {
    const std::string copy(text);
    char* end = nullptr;
    const double value = std::strtod(copy.c_str(), &end);
    if (copy.empty() || end != copy.c_str() + copy.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<osg::Vec3f> ParseVector(std::string_view text) {
    float parts[3];
    for (int i = 0; i < 3; ++i) {
        const std::size_t comma = text.find(',');
        if ((i < 2) == (comma == std::string_view::npos)) {
            return std::nullopt;
        }
        auto value = ParseNumber(text.substr(0, comma));
        if (!value) {
            return std::nullopt;
        }
        parts[i] = static_cast<float>(*value);
        text = i < 2 ? text.substr(comma + 1) : std::string_view();
    }
    return osg::Vec3f(parts[0], parts[1], parts[2]);
}
