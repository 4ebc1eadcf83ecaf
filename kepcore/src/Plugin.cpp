#include "kep/Plugin.h"

#include <cctype>

#include "kep/Messages.h"

namespace kep {

std::string_view ToString(PluginStatus status) {
    switch (status) {
        case PluginStatus::Created:
            return "created";
        case PluginStatus::Declared:
            return "declared";
        case PluginStatus::Started:
            return "started";
        case PluginStatus::Stopped:
            return "stopped";
        case PluginStatus::Failed:
            return "failed";
    }
    return "unknown";
}

BasePlugin::BasePlugin()
    : instanceGuid_(uxs::guid::generate()),
      entity_("plugin"),
      property_(std::make_shared<Property>()) {
    property_->SetComponentName("global");
    entity_.AddProperty(property_);
    property_->AddListener(this);
}

BasePlugin::~BasePlugin() {
    property_->RemoveListener(this);
    for (auto& [name, slot] : localSlots_) {
        slot.property->RemoveListener(this);
    }
}

IUnknown* BasePlugin::QueryInterface(util::type_id interfaceId) {
    if (interfaceId == util::type_id_of<IBasePlugin>()) {
        return static_cast<IBasePlugin*>(this);
    }
    if (interfaceId == util::type_id_of<BasePlugin>()) {
        return static_cast<Object*>(this);
    }
    return Object::QueryInterface(interfaceId);
}

std::shared_ptr<Object> BasePlugin::GetSharedObject() {
    std::shared_ptr<BasePlugin> self = weak_from_this().lock();
    return std::shared_ptr<Object>(self, self ? static_cast<Object*>(this) : nullptr);
}

util::type_id BasePlugin::GetPluginEntityTypeId() const {
    return util::type_id_of<Entity>();
}

Property* BasePlugin::GetPluginLocalProperty(std::string_view name) {
    auto found = localSlots_.find(name);
    return found == localSlots_.end() ? nullptr : found->second.property.get();
}

Property* BasePlugin::GetOrCreatePluginLocalProperty(std::string_view name) {
    if (Property* existing = GetPluginLocalProperty(name)) {
        return existing;
    }
    LocalSlot slot;
    slot.property = std::make_shared<Property>();
    slot.property->SetComponentName(std::string(name));
    slot.data = CreateLocalData();
    if (slot.data) {
        slot.data->ownerName = std::string(name);
    }
    DeclareLocalParameters(*slot.property, slot.data.get());
    Property* property = slot.property.get();
    localSlots_.emplace(std::string(name), std::move(slot));
    return property;
}

bool BasePlugin::RemovePluginLocalProperty(std::string_view name) {
    auto found = localSlots_.find(name);
    if (found == localSlots_.end()) {
        return false;
    }
    localSlots_.erase(found);
    return true;
}

IComponent::LocalData* BasePlugin::GetPluginLocalData(std::string_view name) {
    auto found = localSlots_.find(name);
    return found == localSlots_.end() ? nullptr : found->second.data.get();
}

void PluginLibraryItem::applyFlagString(std::string_view flagString) {
    std::size_t pos = 0;
    while (pos < flagString.size()) {
        auto isSeparator = [](char c) {
            return c == '|' || c == ',' || std::isspace(static_cast<unsigned char>(c));
        };
        while (pos < flagString.size() && isSeparator(flagString[pos])) {
            ++pos;
        }
        std::size_t end = pos;
        while (end < flagString.size() && !isSeparator(flagString[end])) {
            ++end;
        }
        std::string_view word = flagString.substr(pos, end - pos);
        pos = end;
        if (word.empty()) {
            continue;
        }
        if (word == "DEFAULT") {
            flags |= ItemFlags::Default;
        } else if (word == "AUTOCREATE") {
            flags |= ItemFlags::AutoCreate;
        } else if (word == "AUTOSTART") {
            flags |= ItemFlags::AutoStart;
        } else if (word == "HIDDEN") {
            flags |= ItemFlags::Hidden;
        } else if (word == "SINGLE") {
            flags |= ItemFlags::Single;
        } else {
            Warning()("PluginLibraryItem: unknown flag {} for {}", word, name);
        }
    }
}

}  // namespace kep
