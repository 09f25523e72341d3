#include "DiskSize.h"

#include "kernel.h"
#include "kernel/RecordQuery.h"

namespace tkit5 {

DiskSize sizeOfDisk(nuv::String const & osLocator) {
    nuv::CreateFileOpenArgs args;
    args.fileName = osLocator;
    args.shareMode = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;
    nuv::FileHandleResManager const disk(args); // without access rights, which asking for the geometry does not need
    if (!disk.isValid()) {
        return {};
    }
    auto const geometry =
        kernel::askRecord<kernel::DISK_GEOMETRY_EX>(disk.get(), kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX);
    if (!geometry || geometry->DiskSize <= 0) {
        return {};
    }
    return {static_cast<std::uint64_t>(geometry->DiskSize), geometry->Geometry.BytesPerSector};
}

} // namespace tkit5
