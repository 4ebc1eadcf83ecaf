#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "kep/IUnknown.h"

namespace kep {

enum class SubsystemId : std::uint32_t { PluginManager = 0 };

// A host service found by its id.
class KEPCORE_API ISubsystem : public IUnknown {
public:
    virtual SubsystemId GetSubsystemId() const = 0;
};

// Finds plug-ins. Subsystem 0 offers it; querying that subsystem for any other
// interface answers with the first plug-in that offers it.
class KEPCORE_API IPluginManager : public IUnknown {
public:
    // The first plug-in with this tag that offers the interface: the interface's
    // IUnknown sharing ownership of the plug-in, or empty.
    virtual std::shared_ptr<IUnknown> FindPlugin(util::type_id interfaceId,
                                                 std::string_view tag) = 0;
};

KEPCORE_API std::shared_ptr<ISubsystem> GetSubsystem(SubsystemId id);
// Installs a subsystem (or removes it, given null) and returns the one it replaces.
KEPCORE_API std::shared_ptr<ISubsystem> SetSubsystem(SubsystemId id,
                                                     std::shared_ptr<ISubsystem> subsystem);

// The plug-in with this tag offering I, sharing ownership of it.
template <class I>
std::shared_ptr<I> FindPlugin(IPluginManager& manager, std::string_view tag) {
    std::shared_ptr<IUnknown> found = manager.FindPlugin(util::type_id_of<I>(), tag);
    if (!found) {
        return {};
    }
    return std::shared_ptr<I>(found, static_cast<I*>(found.get()));
}

}  // namespace kep
