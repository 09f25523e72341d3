// Whether Windows keeps a ReadyBoost cache on a volume.
//
// Nobody can look into a volume that is locked, not even who locked it. Whoever locks one therefore looks before, and
// what was seen is remembered for the time of the lock.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace libVolumes {

// True when the cache file lies in the root of the volume. Blocks for one look-up; leaves no handle open.
bool holdsReadyBoostCache(std::u16string_view volumePath);

// Looks for the cache file at construction; holdsReadyBoostCache then answers from that until the destruction.
class RememberedCache {
public:
    explicit RememberedCache(std::u16string_view volumePath);
    RememberedCache(RememberedCache const &) = delete;
    RememberedCache & operator=(RememberedCache const &) = delete;
    ~RememberedCache();

private:
    std::multimap<std::u16string, bool>::iterator place_;
};

} // namespace libVolumes
