#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include <osg/Vec3f>

#include "sound/CheckedMutex.h"
#include "sound/Source.h"

// Numbered playback sources, each owned by its entry. `sourcesMutex` guards the
// map and every OpenAL call made on a source found in it: the sources are reached
// only through a Lock, which holds it.
class SourceRegistry {
public:
    class Lock {
    public:
        explicit Lock(SourceRegistry& registry)
            : sources(registry.sources), guard(registry.sourcesMutex) {}
        // Takes the sources lock together with `other`, deadlock-free whatever order
        // other threads take the two in, and holds both.
        Lock(SourceRegistry& registry, CheckedMutex& other)
            : sources(registry.sources),
              guard(registry.sourcesMutex, std::defer_lock),
              otherGuard(other, std::defer_lock) {
            std::lock(guard, otherGuard);
        }

        [[nodiscard]] Source* Find(std::int32_t id);
        // Stops and deletes the source; an unknown id is ignored.
        void Erase(std::int32_t id);
        // Every source as in Erase, in ascending id order.
        void Clear();
        // Ascending.
        [[nodiscard]] std::vector<std::int32_t> Ids() const;
        template <class Visit>
        void ForEach(Visit&& visit) const {
            for (const auto& [id, source] : sources) {
                visit(id, *source);
            }
        }
        [[nodiscard]] std::size_t Count() const { return sources.size(); }

    private:
        std::map<std::int32_t, std::unique_ptr<Source>>& sources;
        std::unique_lock<CheckedMutex> guard;
        std::unique_lock<CheckedMutex> otherGuard;
    };

    SourceRegistry() = default;
    SourceRegistry(const SourceRegistry&) = delete;
    SourceRegistry& operator=(const SourceRegistry&) = delete;
    // Clears without the lock: nothing may run concurrently with destruction.
    ~SourceRegistry();

    // Creates a source under the id unless the id is below 1 (none) or taken, in
    // which case the existing source keeps its position and looping. Takes the lock.
    void CreateSourceWithId(std::int32_t id, const osg::Vec3f& position, bool looping);

private:
    std::map<std::int32_t, std::unique_ptr<Source>> sources;
    CheckedMutex sourcesMutex;
};

// The process-wide counter CreateSource draws ids from; the first id is 1.
std::uint32_t& NextSourceId();
