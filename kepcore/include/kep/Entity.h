#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kep/Property.h"

namespace kep {

// A scene object: a name and the properties attached to it.
class KEPCORE_API Entity {
public:
    explicit Entity(std::string name = {});
    ~Entity();
    Entity(const Entity&) = delete;
    Entity& operator=(const Entity&) = delete;

    const std::string& name() const { return name_; }

    // Attaches a property (init, then onAdd) and returns it.
    Property* AddProperty(std::shared_ptr<Property> property);
    // Creates a registered user property by its type name and attaches it; null if unknown.
    Property* AddUserProperty(std::string_view typeName);
    // Detaches every property (onRemove, then cleanup), last attached first.
    void RemoveAll();

    Property* FindProperty(util::type_id typeId) const;
    const std::vector<std::shared_ptr<Property>>& properties() const { return properties_; }

    // Delivers pending parameter changes and runs each property's update.
    void Update();

private:
    std::string name_;
    std::vector<std::shared_ptr<Property>> properties_;
};

}  // namespace kep
