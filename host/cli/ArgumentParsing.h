#pragma once

#include <optional>
#include <string_view>

#include <osg/Vec3f>

// "X,Y,Z" as a vector; each part must fit a float.
std::optional<osg::Vec3f> ParseVector(std::string_view text);
// A finite number.
std::optional<double> ParseNumber(std::string_view text);
// A finite number that a float holds without becoming infinite.
std::optional<float> ParseFloat(std::string_view text);
