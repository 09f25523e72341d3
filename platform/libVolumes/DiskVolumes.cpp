#include "DiskVolumes.h"

#include "VolumeRecords.h"
#include "kernel.h"
#include "kernel/RecordQuery.h"
#include "machine/Machine.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>

namespace libVolumes {

namespace {

using DeviceNumber = kernel::STORAGE_DEVICE_NUMBER;

constexpr std::uint32_t notSupported = 50;

constexpr std::uint32_t queriesOnly = 0; // access that is granted whoever has the device open, and however

constexpr std::size_t usualExtents = 4;
constexpr std::size_t mostExtents = 4096; // an answer that is still longer is not believed

// The extents of an open volume; empty when it does not tell, and the kernel's last error then tells why.
std::optional<std::vector<kernel::DISK_EXTENT>> extentsOf(kernel::HANDLE volume) {
    for (std::size_t room = usualExtents; room <= mostExtents; room *= 2) {
        std::vector<std::byte> record(extentsRecordSize(room));
        std::uint32_t returned = 0;
        if (kernel::DeviceIoControl(volume, kernel::IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, nullptr, 0, record.data(),
                                    static_cast<std::uint32_t>(record.size()), &returned, nullptr)) {
            auto extents = parseExtents(std::span(record).first(returned));
            if (!extents) {
                kernel::SetLastError(kernel::ERROR_GEN_FAILURE);
            }
            return extents;
        }
        if (kernel::GetLastError() != kernel::ERROR_MORE_DATA) {
            break;
        }
    }
    return std::nullopt;
}

// Nothing is there that could be lost: the device has gone, or its slot is empty.
bool meansNothingThere(std::uint32_t error) {
    constexpr std::array<std::uint32_t, 8> errors{
        kernel::ERROR_FILE_NOT_FOUND,       kernel::ERROR_PATH_NOT_FOUND, kernel::ERROR_NOT_READY,
        kernel::ERROR_DEV_NOT_EXIST,        kernel::ERROR_NO_SUCH_DEVICE, kernel::ERROR_NO_MEDIA_IN_DRIVE,
        kernel::ERROR_DEVICE_NOT_CONNECTED, kernel::ERROR_DEVICE_REMOVED};
    return std::ranges::find(errors, error) != errors.end();
}

// The driver does not even know the question: a RAM disk or a container, which does not lie on a disk.
bool meansNoDiskBelow(std::uint32_t error) {
    return error == kernel::ERROR_INVALID_FUNCTION || error == notSupported;
}

// Adds the volume to those found if it lies on the disk.
//
// One that cannot be placed is neither counted in, since a volume of another disk must not be locked and dismounted,
// nor passed over, since it may be one of this disk that is in trouble, with data that could be saved yet. It makes the
// list incomplete instead. Empty card readers and RAM disks, which many a PC has, are told apart from those.
void place(std::u16string const & path, DeviceNumber const & disk, DiskVolumes & found) {
    nuv::FileHandleResManager const volume = openShared(path, queriesOnly);
    if (!volume.isValid()) {
        found.complete = found.complete && meansNothingThere(kernel::GetLastError());
        return;
    }
    if (auto extents = extentsOf(volume.get())) {
        std::erase_if(*extents, [&](kernel::DISK_EXTENT const & extent) {
            return disk.DeviceType != kernel::FILE_DEVICE_DISK || extent.DiskNumber != disk.DeviceNumber;
        });
        if (!extents->empty()) {
            found.volumes.push_back({path, std::move(*extents)});
        }
        return;
    }
    std::uint32_t const error = kernel::GetLastError();
    auto const device = kernel::askRecord<DeviceNumber>(volume.get(), kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER);
    if (!device) {
        std::uint32_t const second = kernel::GetLastError();
        bool const knewTheFirst = !meansNoDiskBelow(error) && !meansNothingThere(error); // and failed to answer it
        found.complete = found.complete && (meansNothingThere(second) || (meansNoDiskBelow(second) && !knewTheFirst));
    } else if (device->DeviceType == disk.DeviceType && device->DeviceNumber == disk.DeviceNumber &&
               !meansNothingThere(error)) {
        found.volumes.push_back({path, {}});
    }
}

} // namespace

nuv::FileHandleResManager openShared(std::u16string_view path, std::uint32_t access, std::uint32_t flags) {
    nuv::CreateFileOpenArgs args;
    args.fileName = nuv::String(path);
    args.desiredAccess = access;
    args.shareMode = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;
    args.flagsAndAttributes = flags;
    return nuv::FileHandleResManager(args);
}

DiskVolumes volumesOn(nuv::String const & osLocator) {
    return volumesOn(osLocator, machine::current().volumes());
}

DiskVolumes volumesOn(nuv::String const & osLocator, machine::VolumePaths const & among) {
    nuv::FileHandleResManager disk = openShared(osLocator.view(), queriesOnly);
    if (!disk.isValid()) {
        return {{}, meansNothingThere(kernel::GetLastError())};
    }
    auto const number = kernel::askRecord<DeviceNumber>(disk.get(), kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER);
    if (!number) {
        return {{}, meansNothingThere(kernel::GetLastError())};
    }
    disk.close();
    DiskVolumes found{.volumes = {}, .complete = among.complete};
    for (std::u16string const & path : among.paths) {
        place(path, *number, found);
    }
    return found;
}

} // namespace libVolumes
