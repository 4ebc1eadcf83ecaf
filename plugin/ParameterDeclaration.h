#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kep/Parameter.h"
#include "kep/Property.h"

// Visible, editable and saved with the scene.
inline constexpr std::uint32_t kParameterFlags = 7;

// Creates a typed parameter on a property and binds it to the member that holds
// its value, so the host reads and writes the member directly. Null if the host
// could not create it.
template <class T>
kep::Parameter* DeclareBoundParameter(kep::IProperty& property, std::string_view name, T* member) {
    kep::Parameter* parameter =
        property.CreateParameter(util::type_id_of<kep::ParameterTyped<T>>(), name, kParameterFlags);
    auto* value = kep::query<kep::IParameterValue<T>>(parameter);
    if (!value) {
        return nullptr;
    }
    value->bind(member);
    return parameter;
}
