#include "kep/UserProperty.h"

namespace kep {

std::vector<UserProperty::TypeRow>& UserProperty::registeredTypeTbl() {
    static std::vector<TypeRow> table;
    return table;
}

std::shared_ptr<UserProperty> UserProperty::create(std::string_view typeName) {
    for (auto& [typeId, typeNameOf, displayNameOf] : registeredTypeTbl()) {
        if (typeNameOf() == typeName) {
            return std::dynamic_pointer_cast<UserProperty>(Object::create(typeId));
        }
    }
    return nullptr;
}

}  // namespace kep
