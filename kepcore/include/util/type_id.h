#pragma once

#include <compare>
#include <cstdint>
#include <string_view>
#include <typeinfo>

#include "kep/Export.h"

namespace util {

// A 32-bit identifier of a C++ type, derived from the toolchain's native name of
// a pointer to the type. Host and plug-ins compute it the same way, so an
// identifier made in one module equals the one made in another.
class KEPCORE_API type_id {
public:
    constexpr type_id() = default;
    constexpr explicit type_id(std::uint32_t value) : value_(value) {}

    static type_id from_native_name(std::string_view nativeName);

    constexpr std::uint32_t value() const { return value_; }
    constexpr bool empty() const { return value_ == 0; }

    friend constexpr bool operator==(type_id, type_id) = default;
    friend constexpr auto operator<=>(type_id, type_id) = default;

private:
    std::uint32_t value_ = 0;
};

// Native name of T* on this toolchain ("P11SoundSystem" for class SoundSystem).
template <class T>
std::string_view native_pointer_name() {
    return typeid(T*).name();
}

// The identifier of T, computed once.
template <class T>
type_id type_id_of() {
    static const type_id id = type_id::from_native_name(native_pointer_name<T>());
    return id;
}

}  // namespace util
