#pragma once

#include <memory>
#include <string_view>
#include <tuple>
#include <vector>

#include "kep/Property.h"

namespace kep {

// A property type that plug-ins contribute and users attach to scene objects.
class KEPCORE_API UserProperty : public Property {
public:
    // A row of the user-property type table: type identifier, type name, display name.
    using TypeRow = std::tuple<util::type_id, std::string_view (*)(), std::string_view (*)()>;

    static std::vector<TypeRow>& registeredTypeTbl();
    // Creates the user property registered under typeName ("sound"), or null.
    static std::shared_ptr<UserProperty> create(std::string_view typeName);
};

}  // namespace kep
