#include "ReadyBoostCache.h"

#include "kernel.h"
#include "machine/Text.h"
#include "nuv/FileHandle.h"

#include <mutex>

namespace libVolumes {

namespace {

constexpr std::uint32_t shareDelete = 4;

struct Remembered {
    std::mutex lock;
    std::multimap<std::u16string, bool> seen; // by the volume's path without prefix, folded
};

Remembered & remembered() {
    static Remembered instance;
    return instance;
}

std::u16string keyOf(std::u16string_view volumePath) {
    return machine::foldedCase(machine::withoutDevicePrefix(volumePath));
}

bool look(std::u16string_view volumePath) {
    nuv::CreateFileOpenArgs args;
    args.fileName = nuv::String(volumePath) + "\\ReadyBoost.sfcache";
    args.shareMode = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE | shareDelete;
    nuv::FileHandleResManager const file(args);
    // Access denied is no sign of a cache: that is how a volume answers which somebody else has locked, and a volume
    // can be locked only while none of its files is open, which a cache in use always is.
    return file.isValid() || kernel::GetLastError() == kernel::ERROR_SHARING_VIOLATION;
}

} // namespace

bool holdsReadyBoostCache(std::u16string_view volumePath) {
    {
        Remembered & all = remembered();
        std::lock_guard const guard(all.lock);
        if (auto const found = all.seen.find(keyOf(volumePath)); found != all.seen.end()) {
            return found->second;
        }
    }
    return look(volumePath);
}

RememberedCache::RememberedCache(std::u16string_view volumePath) {
    bool const seen = holdsReadyBoostCache(volumePath);
    Remembered & all = remembered();
    std::lock_guard const guard(all.lock);
    place_ = all.seen.emplace(keyOf(volumePath), seen);
}

RememberedCache::~RememberedCache() {
    Remembered & all = remembered();
    std::lock_guard const guard(all.lock);
    all.seen.erase(place_);
}

} // namespace libVolumes
