#pragma once

#include <set>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>
#include <osg/Vec3f>

// Reading a scene's JSON values with the paths that name them in messages.

// A value is not what the scene needs: its path and why. Thrown and caught
// within the scene loader only.
struct SceneFault {
    std::string path;
    std::string message;
};

// A finite number that a float holds.
double NumberAt(const nlohmann::json& value, const std::string& path);
const nlohmann::json& ArrayAt(const nlohmann::json& value, const std::string& path);
std::string StringAt(const nlohmann::json& value, const std::string& path);
// A name that messages, labels and plots show: a string without control
// characters, which would break a line of text or make an SVG file invalid.
std::string NameAt(const nlohmann::json& value, const std::string& path);
void RejectControlCharacters(std::string_view name, const std::string& path);
// [x, y, z].
osg::Vec3f VectorAt(const nlohmann::json& value, const std::string& path);

// The members of one JSON object. Each member is asked for by name; whatever
// the object holds that was never asked for is then an unknown field.
class ObjectFields {
public:
    ObjectFields(const nlohmann::json& value, std::string path);

    std::string PathOf(std::string_view name) const;
    // The member, or null.
    const nlohmann::json* Optional(std::string_view name);
    const nlohmann::json& Required(std::string_view name);

    double Number(std::string_view name, double fallback, double lowest, double highest);
    bool Bool(std::string_view name, bool fallback);
    std::string String(std::string_view name, const std::string& fallback);
    std::string Name(std::string_view name, const std::string& fallback);
    osg::Vec3f Vector(std::string_view name, const osg::Vec3f& fallback);

    void RejectOthers() const;

private:
    const nlohmann::json& object_;
    std::string path_;
    std::set<std::string, std::less<>> asked_;
};
