#include "kep/Object.h"

#include <algorithm>
#include <utility>

namespace kep {

namespace {

struct ObjectRegistry {
    std::mutex mutex;
    std::vector<std::pair<util::type_id, Object::Factory>> factories;
};

ObjectRegistry& Registry() {
    static ObjectRegistry registry;
    return registry;
}

}  // namespace

IUnknown* Object::QueryInterface(util::type_id interfaceId) {
    if (interfaceId == util::type_id_of<Object>() || interfaceId == util::type_id_of<IUnknown>()) {
        return this;
    }
    return nullptr;
}

void Object::registerImpl(util::type_id typeId, Factory factory) {
    auto& registry = Registry();
    std::lock_guard lock(registry.mutex);
    auto found = std::find_if(registry.factories.begin(), registry.factories.end(),
                              [&](auto& entry) { return entry.first == typeId; });
    if (found != registry.factories.end()) {
        found->second = std::move(factory);
    } else {
        registry.factories.emplace_back(typeId, std::move(factory));
    }
}

bool Object::isRegistered(util::type_id typeId) {
    auto types = registeredTypes();
    return std::find(types.begin(), types.end(), typeId) != types.end();
}

std::shared_ptr<Object> Object::create(util::type_id typeId) {
    Factory factory;
    {
        auto& registry = Registry();
        std::lock_guard lock(registry.mutex);
        for (auto& [id, candidate] : registry.factories) {
            if (id == typeId) {
                factory = candidate;
                break;
            }
        }
    }
    return factory ? factory() : nullptr;
}

std::vector<util::type_id> Object::registeredTypes() {
    auto& registry = Registry();
    std::lock_guard lock(registry.mutex);
    std::vector<util::type_id> types;
    for (auto& entry : registry.factories) {
        types.push_back(entry.first);
    }
    return types;
}

Object::IfaceHashTable::IfaceHashTable() = default;

IUnknown* Object::IfaceHashTable::query(Object* object, util::type_id interfaceId,
                                        Resolver resolver) {
    if (!object) {
        return resolver(nullptr, interfaceId);
    }
    auto* base = reinterpret_cast<char*>(object);
    {
        std::lock_guard lock(mutex_);
        auto cached = offsets_.find(interfaceId.value());
        if (cached != offsets_.end()) {
            return cached->second == kNoAnswer ? nullptr
                                               : reinterpret_cast<IUnknown*>(base + cached->second);
        }
    }
    IUnknown* answer = resolver(object, interfaceId);
    std::lock_guard lock(mutex_);
    offsets_[interfaceId.value()] = answer ? reinterpret_cast<char*>(answer) - base : kNoAnswer;
    return answer;
}

}  // namespace kep
