#include "host/cli/ArgumentParsing.h"

#include <cmath>
#include <cstdlib>
#include <limits>
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

std::optional<float> ParseFloat(std::string_view text) {
    const std::optional<double> value = ParseNumber(text);
    if (!value || std::fabs(*value) > std::numeric_limits<float>::max()) {
        return std::nullopt;
    }
    return static_cast<float>(*value);
}

std::optional<osg::Vec3f> ParseVector(std::string_view text) {
    float parts[3];
    for (int i = 0; i < 3; ++i) {
        const std::size_t comma = text.find(',');
        if ((i < 2) == (comma == std::string_view::npos)) {
            return std::nullopt;
        }
        const std::optional<float> value = ParseFloat(text.substr(0, comma));
        if (!value) {
            return std::nullopt;
        }
        parts[i] = *value;
        text = i < 2 ? text.substr(comma + 1) : std::string_view();
    }
    return osg::Vec3f(parts[0], parts[1], parts[2]);
}
