#include "host/scene/SceneFields.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <fmt/format.h>

#include "host/scene/JsonWithLines.h"

using nlohmann::json;

double NumberAt(const json& value, const std::string& path) {
    if (!value.is_number()) {
        throw SceneFault{path, "expected a number"};
    }
    const double number = value.get<double>();
    if (!(std::fabs(number) <= std::numeric_limits<float>::max())) {
        throw SceneFault{path, "expected a number within +-3.4e38"};
    }
    return number;
}

const json& ArrayAt(const json& value, const std::string& path) {
    if (!value.is_array()) {
        throw SceneFault{path, "expected an array"};
    }
    return value;
}

std::string StringAt(const json& value, const std::string& path) {
    if (!value.is_string()) {
        throw SceneFault{path, "expected a string"};
    }
    return value.get<std::string>();
}

std::string NameAt(const json& value, const std::string& path) {
    std::string name = StringAt(value, path);
    RejectControlCharacters(name, path);
    return name;
}

void RejectControlCharacters(std::string_view name, const std::string& path) {
    const bool control = std::any_of(name.begin(), name.end(), [](char character) {
        return static_cast<unsigned char>(character) < 0x20 || character == 0x7f;
    });
    if (control) {
        throw SceneFault{path, "expected a name without control characters"};
    }
}

osg::Vec3f VectorAt(const json& value, const std::string& path) {
    if (!value.is_array() || value.size() != 3) {
        throw SceneFault{path, "expected [x, y, z]"};
    }
    osg::Vec3f vector;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        vector[axis] = static_cast<float>(NumberAt(value[axis], ElementPath(path, axis)));
    }
    return vector;
}

ObjectFields::ObjectFields(const json& value, std::string path)
    : object_(value), path_(std::move(path)) {
    if (!value.is_object()) {
        throw SceneFault{path_, "expected an object"};
    }
}

std::string ObjectFields::PathOf(std::string_view name) const {
    return MemberPath(path_, name);
}

const json* ObjectFields::Optional(std::string_view name) {
    asked_.emplace(name);
    const auto found = object_.find(name);
    return found == object_.end() ? nullptr : &*found;
}

const json& ObjectFields::Required(std::string_view name) {
    const json* value = Optional(name);
    if (!value) {
        throw SceneFault{PathOf(name), "missing"};
    }
    return *value;
}

double ObjectFields::Number(std::string_view name, double fallback, double lowest, double highest) {
    const json* value = Optional(name);
    if (!value) {
        return fallback;
    }
    const double number = NumberAt(*value, PathOf(name));
    if (number < lowest || number > highest) {
        throw SceneFault{PathOf(name),
                         fmt::format("expected a number from {} to {}", lowest, highest)};
    }
    return number;
}

bool ObjectFields::Bool(std::string_view name, bool fallback) {
    const json* value = Optional(name);
    if (value && !value->is_boolean()) {
        throw SceneFault{PathOf(name), "expected true or false"};
    }
    return value ? value->get<bool>() : fallback;
}

std::string ObjectFields::String(std::string_view name, const std::string& fallback) {
    const json* value = Optional(name);
    return value ? StringAt(*value, PathOf(name)) : fallback;
}

std::string ObjectFields::Name(std::string_view name, const std::string& fallback) {
    const json* value = Optional(name);
    return value ? NameAt(*value, PathOf(name)) : fallback;
}

osg::Vec3f ObjectFields::Vector(std::string_view name, const osg::Vec3f& fallback) {
    const json* value = Optional(name);
    return value ? VectorAt(*value, PathOf(name)) : fallback;
}

void ObjectFields::RejectOthers() const {
    for (const auto& [name, value] : object_.items()) {
        if (!asked_.contains(name)) {
            throw SceneFault{PathOf(name), "unknown field"};
        }
    }
}
