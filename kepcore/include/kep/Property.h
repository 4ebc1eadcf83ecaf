#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kep/Component.h"
#include "kep/Parameter.h"

namespace kep {

// A set of parameters that tells its listeners which of them changed.
class KEPCORE_API IProperty : public IUnknown {
public:
    // Receives the names of changed parameters, sorted byte-wise.
    class Listener {
    public:
        virtual void OnParametersChanged(std::span<const std::string> sortedNames) = 0;
        virtual void OnParameterDeclared(std::string_view name) = 0;
        virtual void OnPropertyDetached() = 0;

    protected:
        ~Listener() = default;
    };

    // Creates a parameter of the given parameter type (a registered type such as
    // ParameterTyped<double>); null if the type is unknown or the name is taken.
    virtual Parameter* CreateParameter(util::type_id parameterType, std::string_view name,
                                       std::uint32_t flags) = 0;
    virtual Parameter* FindParameter(std::string_view name) const = 0;
    virtual void AddListener(Listener* listener) = 0;
    virtual void RemoveListener(Listener* listener) = 0;
    // Hands the changed names gathered so far to the listeners and to the property.
    virtual void DeliverChanges() = 0;
};

// The host's property: a component holding parameters.
class KEPCORE_API Property : public Component, public IProperty {
public:
    Property();
    ~Property() override;

    IUnknown* QueryInterface(util::type_id interfaceId) override;
    Object* GetObject() override { return this; }
    std::shared_ptr<Object> GetSharedObject() override { return Component::GetSharedObject(); }
    util::type_id GetTypeId() const override;

    Parameter* CreateParameter(util::type_id parameterType, std::string_view name,
                               std::uint32_t flags) override;
    Parameter* FindParameter(std::string_view name) const override;
    void AddListener(Listener* listener) override;
    void RemoveListener(Listener* listener) override;
    void DeliverChanges() override;

    const std::vector<std::shared_ptr<Parameter>>& parameters() const { return parameters_; }
    // Parses text into the named parameter and delivers the change at once.
    bool SetParameterText(std::string_view name, std::string_view text);
    std::string GetParameterText(std::string_view name) const;

    // Host operations a property may override.
    virtual void init() {}
    virtual void cleanup() {}
    virtual void update() {}
    virtual void onParametersChanged(const std::set<std::string, std::less<>>& changedNames);
    virtual void onParametersUpdated() {}
    virtual void onAdd() {}
    virtual void onRemove() {}

private:
    friend class Parameter;
    void markChanged(const std::string& name);

    std::vector<std::shared_ptr<Parameter>> parameters_;
    std::set<std::string, std::less<>> changed_;
    std::vector<Listener*> listeners_;
    bool delivering_ = false;
};

// Sets a typed parameter's value through its value interface and delivers the change.
template <class T>
bool SetParameter(Property& property, std::string_view name, const T& value) {
    Parameter* parameter = property.FindParameter(name);
    auto* typed = query<IParameterValue<T>>(parameter);
    if (!typed) {
        return false;
    }
    typed->set(value);
    property.DeliverChanges();
    return true;
}

// The value of a typed parameter; empty if there is none of that name and type.
template <class T>
std::optional<T> GetParameter(const Property& property, std::string_view name) {
    auto* typed = query<IParameterValue<T>>(property.FindParameter(name));
    return typed ? std::optional<T>(typed->get()) : std::nullopt;
}

}  // namespace kep
