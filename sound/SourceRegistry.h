#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include <osg/Vec3f>

#include "sound/Source.h"

// Numbered playback sources. `sourcesMutex` guards the map and every OpenAL call
// made on a source found in it.
struct SourceRegistry {
    using SourceMap = std::map<std::int32_t, std::unique_ptr<Source>>;

    SourceRegistry() = default;
    SourceRegistry(const SourceRegistry&) = delete;
    SourceRegistry& operator=(const SourceRegistry&) = delete;
    ~SourceRegistry();

    // The caller holds sourcesMutex.
    Source* Find(std::int32_t id);
    // Creates a source under the id unless the id is below 1 or taken; takes the lock.
    void CreateSourceWithId(std::int32_t id, const osg::Vec3f& position, bool looping);
    // The caller holds sourcesMutex.
    void Erase(SourceMap::iterator entry);
    void Clear();

    SourceMap sources;
    std::mutex sourcesMutex;
};

// The process-wide counter CreateSource draws ids from; the first id is 1.
std::uint32_t& NextSourceId();
