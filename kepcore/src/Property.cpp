#include "kep/Property.h"

#include <algorithm>

#include "kep/Messages.h"

namespace kep {

Property::Property() = default;

Property::~Property() {
    for (auto* listener : listeners_) {
        listener->OnPropertyDetached();
    }
    for (auto& parameter : parameters_) {
        parameter->owner_ = nullptr;
    }
}

IUnknown* Property::QueryInterface(util::type_id interfaceId) {
    if (interfaceId == util::type_id_of<IProperty>()) {
        return static_cast<IProperty*>(this);
    }
    if (interfaceId == util::type_id_of<Property>()) {
        return static_cast<Object*>(static_cast<Component*>(this));
    }
    return Component::QueryInterface(interfaceId);
}

util::type_id Property::GetTypeId() const {
    return util::type_id_of<Property>();
}

Parameter* Property::CreateParameter(util::type_id parameterType, std::string_view name,
                                     std::uint32_t flags) {
    if (FindParameter(name)) {
        Error()("Property: parameter {} already exists", name);
        return nullptr;
    }
    auto parameter = std::dynamic_pointer_cast<Parameter>(Object::create(parameterType));
    if (!parameter) {
        Error()("Property: unknown parameter type {:x} for {}", parameterType.value(), name);
        return nullptr;
    }
    parameter->owner_ = this;
    parameter->name_ = std::string(name);
    parameter->flags_ = flags;
    parameters_.push_back(parameter);
    for (auto* listener : listeners_) {
        listener->OnParameterDeclared(name);
    }
    return parameter.get();
}

Parameter* Property::FindParameter(std::string_view name) const {
    for (auto& parameter : parameters_) {
        if (parameter->name() == name) {
            return parameter.get();
        }
    }
    return nullptr;
}

void Property::AddListener(Listener* listener) {
    if (listener && std::find(listeners_.begin(), listeners_.end(), listener) == listeners_.end()) {
        listeners_.push_back(listener);
    }
}

void Property::RemoveListener(Listener* listener) {
    std::erase(listeners_, listener);
}

void Property::markChanged(const std::string& name) {
    changed_.insert(name);
}

void Property::DeliverChanges() {
    // A handler may notify again; those names go out in the next round, not
    // inside the current one.
    if (delivering_) {
        return;
    }
    delivering_ = true;
    while (!changed_.empty()) {
        std::set<std::string, std::less<>> batch;
        batch.swap(changed_);
        const std::vector<std::string> sortedNames(batch.begin(), batch.end());
        for (auto* listener : std::vector<Listener*>(listeners_)) {
            listener->OnParametersChanged(sortedNames);
        }
        onParametersChanged(batch);
        onParametersUpdated();
    }
    delivering_ = false;
}

void Property::onParametersChanged(const std::set<std::string, std::less<>>&) {}

bool Property::SetParameterText(std::string_view name, std::string_view text) {
    Parameter* parameter = FindParameter(name);
    if (!parameter || !parameter->fromString(text)) {
        return false;
    }
    DeliverChanges();
    return true;
}

std::string Property::GetParameterText(std::string_view name) const {
    Parameter* parameter = FindParameter(name);
    return parameter ? parameter->toString() : std::string();
}

}  // namespace kep
