// Questions to open devices that are answered with a record.
#pragma once

#include "kernel.h"

#include <cstdint>
#include <optional>

namespace kernel {

// The record with which a device answers an I/O control without input; empty when it refuses, or answers with less than
// the record. The kernel's last error then tells why.
template <class Record> std::optional<Record> askRecord(HANDLE device, std::uint32_t controlCode) {
    Record record{};
    std::uint32_t returned = 0;
    if (!DeviceIoControl(device, controlCode, nullptr, 0, &record, sizeof record, &returned, nullptr)) {
        return std::nullopt;
    }
    if (returned < sizeof record) {
        SetLastError(ERROR_GEN_FAILURE);
        return std::nullopt;
    }
    return record;
}

// Bytes per sector of an open disk; 0 when it does not tell, and the kernel's last error then tells why.
inline std::uint32_t askSectorSize(HANDLE disk) {
    auto const geometry = askRecord<DISK_GEOMETRY_EX>(disk, IOCTL_DISK_GET_DRIVE_GEOMETRY_EX);
    if (!geometry) {
        return 0;
    }
    if (geometry->Geometry.BytesPerSector == 0) {
        SetLastError(ERROR_GEN_FAILURE);
    }
    return geometry->Geometry.BytesPerSector;
}

// Whole sectors of that size of an open disk; 0 when it does not tell, and the kernel's last error then tells why.
inline std::uint64_t askSectorCount(HANDLE disk, std::uint32_t sectorSize) {
    auto const length = askRecord<GET_LENGTH_INFORMATION>(disk, IOCTL_DISK_GET_LENGTH_INFO);
    if (!length) {
        return 0;
    }
    std::uint64_t const count = length->Length > 0 ? static_cast<std::uint64_t>(length->Length) / sectorSize : 0;
    if (count == 0) {
        SetLastError(ERROR_GEN_FAILURE);
    }
    return count;
}

} // namespace kernel
