#include "ReadyBoostDriveInfo.h"

#include "libVolumes/DiskVolumes.h"
#include "libVolumes/ReadyBoostCache.h"
#include "machine/Text.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace {

// The path by which a volume can be opened, by its name with or without "\\?\" in front and a backslash at the end.
std::u16string volumePath(std::u16string_view name) {
    name = machine::withoutDevicePrefix(name);
    while (name.ends_with(u'\\')) {
        name.remove_suffix(1);
    }
    return std::u16string(u"\\\\?\\").append(name);
}

} // namespace

ReadyBoostDriveInfo::ReadyBoostDriveInfo(nuv::String const & osLocator, nuv::String const & volumeName) {
    libVolumes::DiskVolumes const found =
        volumeName.empty() ? libVolumes::volumesOn(osLocator)
                           : libVolumes::volumesOn(osLocator, {.paths = {volumePath(volumeName.view())}});
    enabled_ = std::ranges::any_of(found.volumes, [](libVolumes::DiskVolume const & volume) {
        return libVolumes::holdsReadyBoostCache(volume.path);
    });
}
