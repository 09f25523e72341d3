// Records and codes of storage I/O controls, as published in ntddstor.h, ntdddisk.h and winioctl.h.
#pragma once

#include <cstdint>

namespace kernel {

inline constexpr std::uint32_t IOCTL_DISK_GET_LENGTH_INFO = 0x0007405C;
inline constexpr std::uint32_t IOCTL_DISK_IS_WRITABLE = 0x00070024;
inline constexpr std::uint32_t IOCTL_DISK_GET_DRIVE_GEOMETRY_EX = 0x000700A0;
inline constexpr std::uint32_t IOCTL_STORAGE_CHECK_VERIFY = 0x002D4800;
inline constexpr std::uint32_t IOCTL_STORAGE_EJECT_MEDIA = 0x002D4808;
inline constexpr std::uint32_t IOCTL_STORAGE_LOAD_MEDIA = 0x002D480C;

#pragma pack(push, 1)

// Output of IOCTL_DISK_GET_LENGTH_INFO: bytes of the medium.
struct GET_LENGTH_INFORMATION {
    std::int64_t Length;
};
static_assert(sizeof(GET_LENGTH_INFORMATION) == 8);

struct DISK_GEOMETRY {
    std::int64_t Cylinders;
    std::uint32_t MediaType;
    std::uint32_t TracksPerCylinder;
    std::uint32_t SectorsPerTrack;
    std::uint32_t BytesPerSector;
};
static_assert(sizeof(DISK_GEOMETRY) == 24);

// Output of IOCTL_DISK_GET_DRIVE_GEOMETRY_EX without the partition and detection records that may follow.
struct DISK_GEOMETRY_EX {
    DISK_GEOMETRY Geometry;
    std::int64_t DiskSize; // bytes
};
static_assert(sizeof(DISK_GEOMETRY_EX) == 32);

#pragma pack(pop)

} // namespace kernel
