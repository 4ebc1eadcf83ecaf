#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "kep/Parameter.h"
#include "kep/Property.h"

// Visible, editable and saved with the scene.
inline constexpr std::uint32_t kParameterFlags = 7;

// The value type behind a member a parameter is bound to.
template <class Member>
struct BoundValue {
    using type = Member;
};
template <class T>
struct BoundValue<std::atomic<T>> {
    using type = T;
};

// Creates a typed parameter on a property and binds it to the member that holds
// its value (a std::atomic for a number or a flag), so the host reads and writes
// the member directly. Null if the host could not create it.
template <class Member>
kep::Parameter* DeclareBoundParameter(kep::IProperty& property, std::string_view name,
                                      Member* member) {
    using T = typename BoundValue<Member>::type;
    kep::Parameter* parameter =
        property.CreateParameter(util::type_id_of<kep::ParameterTyped<T>>(), name, kParameterFlags);
    auto* value = kep::query<kep::IParameterValue<T>>(parameter);
    if (!value) {
        return nullptr;
    }
    value->bind(member);
    return parameter;
}
