#include "util/type_id.h"

namespace util {

// FNV-1a: cheap, stable across builds, and the same in every module.
type_id type_id::from_native_name(std::string_view nativeName) {
    std::uint32_t hash = 2166136261u;
    for (unsigned char c : nativeName) {
        hash ^= c;
        hash *= 16777619u;
    }
    return type_id(hash == 0 ? 1 : hash);
}

}  // namespace util
