#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "kep/Object.h"

namespace kep {

class Entity;

// The component side of everything attached to an entity.
class KEPCORE_API IComponent : public IUnknown {
public:
    // Per-instance data a plug-in keeps beside a local property.
    class KEPCORE_API LocalData {
    public:
        virtual ~LocalData();
        std::string ownerName;
    };

    virtual std::string_view GetComponentName() const = 0;
    virtual Entity* GetOwner() const = 0;
};

class KEPCORE_API Component : public Object,
                              public IComponent,
                              public std::enable_shared_from_this<Component> {
public:
    IUnknown* QueryInterface(util::type_id interfaceId) override;
    Object* GetObject() override { return this; }
    std::shared_ptr<Object> GetSharedObject() override;

    std::string_view GetComponentName() const override { return name_; }
    Entity* GetOwner() const override { return owner_; }
    void SetComponentName(std::string name) { name_ = std::move(name); }
    void SetOwner(Entity* owner) { owner_ = owner; }

private:
    std::string name_;
    Entity* owner_ = nullptr;
};

}  // namespace kep
