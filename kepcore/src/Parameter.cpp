#include "kep/Parameter.h"

#include <cstdlib>

#include <fmt/format.h>

#include "kep/Property.h"

namespace kep {

std::shared_ptr<Object> Parameter::GetSharedObject() {
    std::shared_ptr<Parameter> self = weak_from_this().lock();
    return std::shared_ptr<Object>(self, self ? static_cast<Object*>(this) : nullptr);
}

IUnknown* Parameter::QueryInterface(util::type_id interfaceId) {
    if (interfaceId == util::type_id_of<Parameter>()) {
        return static_cast<Object*>(this);
    }
    return Object::QueryInterface(interfaceId);
}

void Parameter::notify(std::uint32_t mask) {
    if ((mask & NotifyFlags::Value) && owner_) {
        owner_->markChanged(name_);
    }
}

namespace detail {

std::string FormatValue(const std::string& value) {
    return value;
}
std::string FormatValue(bool value) {
    return value ? "true" : "false";
}
std::string FormatValue(double value) {
    return fmt::format("{}", value);
}

bool ParseValue(std::string_view text, std::string& value) {
    value = std::string(text);
    return true;
}

bool ParseValue(std::string_view text, bool& value) {
    if (text == "true" || text == "1" || text == "on" || text == "yes") {
        value = true;
    } else if (text == "false" || text == "0" || text == "off" || text == "no") {
        value = false;
    } else {
        return false;
    }
    return true;
}

bool ParseValue(std::string_view text, double& value) {
    const std::string copy(text);
    char* end = nullptr;
    value = std::strtod(copy.c_str(), &end);
    return !copy.empty() && end == copy.c_str() + copy.size();
}

}  // namespace detail

template class ParameterTyped<std::string>;
template class ParameterTyped<bool>;
template class ParameterTyped<double>;

}  // namespace kep
