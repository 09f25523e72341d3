#pragma once

#include "kernel.h"

#include <cstdint>
#include <optional>

namespace libMedia2 {

// The record with which a device answers an I/O control without input; empty when it refuses, or answers with less than
// the record. The kernel's last error then tells why.
template <class Record> std::optional<Record> askRecord(kernel::HANDLE device, std::uint32_t controlCode) {
    Record record{};
    std::uint32_t returned = 0;
    if (!kernel::DeviceIoControl(device, controlCode, nullptr, 0, &record, sizeof record, &returned, nullptr)) {
        return std::nullopt;
    }
    if (returned < sizeof record) {
        kernel::SetLastError(kernel::ERROR_GEN_FAILURE);
        return std::nullopt;
    }
    return record;
}

// Bytes per sector of an open disk; 0 when it does not tell, and the kernel's last error then tells why.
inline std::uint32_t askSectorSize(kernel::HANDLE disk) {
    auto const geometry = askRecord<kernel::DISK_GEOMETRY_EX>(disk, kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX);
    if (!geometry) {
        return 0;
    }
    if (geometry->Geometry.BytesPerSector == 0) {
        kernel::SetLastError(kernel::ERROR_GEN_FAILURE);
    }
    return geometry->Geometry.BytesPerSector;
}

// Whole sectors of that size of an open disk; 0 when it does not tell, and the kernel's last error then tells why.
inline std::uint64_t askSectorCount(kernel::HANDLE disk, std::uint32_t sectorSize) {
    auto const length = askRecord<kernel::GET_LENGTH_INFORMATION>(disk, kernel::IOCTL_DISK_GET_LENGTH_INFO);
    if (!length) {
        return 0;
    }
    std::uint64_t const count = length->Length > 0 ? static_cast<std::uint64_t>(length->Length) / sectorSize : 0;
    if (count == 0) {
        kernel::SetLastError(kernel::ERROR_GEN_FAILURE);
    }
    return count;
}

} // namespace libMedia2
