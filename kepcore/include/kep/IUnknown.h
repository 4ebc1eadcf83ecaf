#pragma once

#include <memory>

#include "kep/Export.h"
#include "util/type_id.h"

namespace kep {

class Object;

// The root of every interface: identity and interface query. QueryInterface
// answers the IUnknown base of the requested interface's sub-object (or null);
// use kep::query to get the interface itself.
class KEPCORE_API IUnknown {
public:
    virtual ~IUnknown() = default;
    virtual IUnknown* QueryInterface(util::type_id interfaceId) = 0;
    virtual Object* GetObject() = 0;
    virtual std::shared_ptr<Object> GetSharedObject() = 0;
};

// The interface I of an object, or null.
template <class I>
I* query(IUnknown* unknown) {
    if (!unknown) {
        return nullptr;
    }
    return static_cast<I*>(unknown->QueryInterface(util::type_id_of<I>()));
}

// The interface I of an object, sharing ownership of the whole object.
template <class I>
std::shared_ptr<I> query_shared(IUnknown* unknown);

}  // namespace kep
