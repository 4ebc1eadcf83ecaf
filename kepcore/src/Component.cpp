#include "kep/Component.h"

namespace kep {

IComponent::LocalData::~LocalData() = default;

IUnknown* Component::QueryInterface(util::type_id interfaceId) {
    if (interfaceId == util::type_id_of<IComponent>()) {
        return static_cast<IComponent*>(this);
    }
    if (interfaceId == util::type_id_of<Component>()) {
        return static_cast<Object*>(this);
    }
    return Object::QueryInterface(interfaceId);
}

std::shared_ptr<Object> Component::GetSharedObject() {
    std::shared_ptr<Component> self = weak_from_this().lock();
    return std::shared_ptr<Object>(self, self ? static_cast<Object*>(this) : nullptr);
}

}  // namespace kep
