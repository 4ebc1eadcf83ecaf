#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "kep/IUnknown.h"

namespace kep {

// The base of every object the host creates by type: it answers for itself and
// for IUnknown, and it knows its type identifier.
class KEPCORE_API Object : public IUnknown {
public:
    using Factory = std::function<std::shared_ptr<Object>()>;

    IUnknown* QueryInterface(util::type_id interfaceId) override;
    Object* GetObject() override { return this; }
    virtual util::type_id GetTypeId() const = 0;

    // The object registry: factories by type identifier, kept in registration order.
    static void registerImpl(util::type_id typeId, Factory factory);
    static bool isRegistered(util::type_id typeId);
    static std::shared_ptr<Object> create(util::type_id typeId);
    static std::vector<util::type_id> registeredTypes();

    // A per-class cache of interface answers. Answers are stored as offsets from
    // the object's address, so one table serves every object of the class; a miss
    // asks the class's resolver.
    class KEPCORE_API IfaceHashTable {
    public:
        using Resolver = IUnknown* (*)(Object* object, util::type_id interfaceId);

        IfaceHashTable();
        IfaceHashTable(const IfaceHashTable&) = delete;
        IfaceHashTable& operator=(const IfaceHashTable&) = delete;

        IUnknown* query(Object* object, util::type_id interfaceId, Resolver resolver);

    private:
        static constexpr std::ptrdiff_t kNoAnswer = PTRDIFF_MIN;
        mutable std::mutex mutex_;
        std::unordered_map<std::uint32_t, std::ptrdiff_t> offsets_;
    };
};

// For objects that reach IUnknown along several interfaces: ask the object side.
template <class I, class T>
requires std::derived_from<T, Object> I* query(T* object) {
    return query<I>(static_cast<IUnknown*>(static_cast<Object*>(object)));
}

template <class I>
std::shared_ptr<I> query_shared(IUnknown* unknown) {
    I* iface = query<I>(unknown);
    if (!iface) {
        return {};
    }
    return std::shared_ptr<I>(iface->GetSharedObject(), iface);
}

template <class I, class T>
requires std::derived_from<T, Object> std::shared_ptr<I> query_shared(T* object) {
    return query_shared<I>(static_cast<IUnknown*>(static_cast<Object*>(object)));
}

// Registers T's factory under T's type identifier; T is built in one allocation
// with its reference count.
template <class T>
void RegisterFactory() {
    Object::registerImpl(util::type_id_of<T>(),
                         [] { return std::static_pointer_cast<Object>(std::make_shared<T>()); });
}

}  // namespace kep
