#include "kep/Entity.h"

#include "kep/UserProperty.h"

namespace kep {

Entity::Entity(std::string name) : name_(std::move(name)) {}

Entity::~Entity() {
    RemoveAll();
}

Property* Entity::AddProperty(std::shared_ptr<Property> property) {
    if (!property) {
        return nullptr;
    }
    property->SetOwner(this);
    properties_.push_back(property);
    property->init();
    property->onAdd();
    return property.get();
}

Property* Entity::AddUserProperty(std::string_view typeName) {
    return AddProperty(UserProperty::create(typeName));
}

void Entity::RemoveAll() {
    while (!properties_.empty()) {
        std::shared_ptr<Property> property = std::move(properties_.back());
        properties_.pop_back();
        property->onRemove();
        property->cleanup();
        property->SetOwner(nullptr);
    }
}

Property* Entity::FindProperty(util::type_id typeId) const {
    for (auto& property : properties_) {
        if (property->GetTypeId() == typeId) {
            return property.get();
        }
    }
    return nullptr;
}

void Entity::Update() {
    for (auto& property : std::vector<std::shared_ptr<Property>>(properties_)) {
        property->DeliverChanges();
        property->update();
    }
}

}  // namespace kep
