// Records and codes of storage I/O controls, as published in ntddstor.h, ntdddisk.h and winioctl.h.
#pragma once

#include <cstdint>

namespace kernel {

// Which access an I/O control needs of its handle: bits 14 and 15 of its code.
inline constexpr std::uint32_t FILE_READ_ACCESS = 1;
inline constexpr std::uint32_t FILE_WRITE_ACCESS = 2;
constexpr std::uint32_t requiredAccess(std::uint32_t controlCode) {
    return controlCode >> 14 & 3;
}

inline constexpr std::uint32_t IOCTL_DISK_GET_LENGTH_INFO = 0x0007405C;
inline constexpr std::uint32_t IOCTL_DISK_IS_WRITABLE = 0x00070024;
inline constexpr std::uint32_t IOCTL_DISK_GET_DRIVE_GEOMETRY_EX = 0x000700A0;
inline constexpr std::uint32_t IOCTL_STORAGE_CHECK_VERIFY = 0x002D4800;
inline constexpr std::uint32_t IOCTL_STORAGE_EJECT_MEDIA = 0x002D4808;
inline constexpr std::uint32_t IOCTL_STORAGE_LOAD_MEDIA = 0x002D480C;
inline constexpr std::uint32_t IOCTL_STORAGE_GET_DEVICE_NUMBER = 0x002D1080;
inline constexpr std::uint32_t IOCTL_STORAGE_QUERY_PROPERTY = 0x002D1400;
inline constexpr std::uint32_t IOCTL_SCSI_PASS_THROUGH = 0x0004D004;
inline constexpr std::uint32_t IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS = 0x00560000;
inline constexpr std::uint32_t FSCTL_LOCK_VOLUME = 0x00090018;
inline constexpr std::uint32_t FSCTL_UNLOCK_VOLUME = 0x0009001C;
inline constexpr std::uint32_t FSCTL_DISMOUNT_VOLUME = 0x00090020;

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

// Output of IOCTL_STORAGE_GET_DEVICE_NUMBER: the N of \\.\PhysicalDriveN for a disk or one of its partitions.
inline constexpr std::uint32_t FILE_DEVICE_DISK = 7;
struct STORAGE_DEVICE_NUMBER {
    std::uint32_t DeviceType;
    std::uint32_t DeviceNumber;
    std::uint32_t PartitionNumber; // 0 for a whole disk
};
static_assert(sizeof(STORAGE_DEVICE_NUMBER) == 12);

// Input of IOCTL_STORAGE_QUERY_PROPERTY.
inline constexpr std::uint32_t StorageDeviceProperty = 0;
inline constexpr std::uint32_t PropertyStandardQuery = 0;
inline constexpr std::uint32_t PropertyExistsQuery = 1; // an answer without output
struct STORAGE_PROPERTY_QUERY {
    std::uint32_t PropertyId;
    std::uint32_t QueryType;
    std::uint8_t AdditionalParameters[1];
    std::uint8_t Padding[3];
};
static_assert(sizeof(STORAGE_PROPERTY_QUERY) == 12);

// Its output for StorageDeviceProperty. Raw properties and texts of one byte a character, each with a zero at its end,
// follow; the offsets are from the start of the record, 0 for a text that the device has not. An output that is too
// small gets as much as it holds.
inline constexpr std::uint32_t BusTypeAta = 3;
inline constexpr std::uint32_t BusTypeUsb = 7;
inline constexpr std::uint32_t BusTypeSata = 11;
struct STORAGE_DEVICE_DESCRIPTOR {
    std::uint32_t Version; // bytes of this record
    std::uint32_t Size;    // with what follows
    std::uint8_t DeviceType;
    std::uint8_t DeviceTypeModifier;
    std::uint8_t RemovableMedia;
    std::uint8_t CommandQueueing;
    std::uint32_t VendorIdOffset;
    std::uint32_t ProductIdOffset;
    std::uint32_t ProductRevisionOffset;
    std::uint32_t SerialNumberOffset;
    std::uint32_t BusType;
    std::uint32_t RawPropertiesLength;
    std::uint8_t RawDeviceProperties[1];
    std::uint8_t Padding[3];
};
static_assert(sizeof(STORAGE_DEVICE_DESCRIPTOR) == 40);

// Part of a disk that a volume lies on, in bytes.
struct DISK_EXTENT {
    std::uint32_t DiskNumber;
    std::uint32_t Padding;
    std::int64_t StartingOffset;
    std::int64_t ExtentLength;
};
static_assert(sizeof(DISK_EXTENT) == 24);

// Output of IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS; more extents follow where a volume has several. An output that holds
// the first and not all of them gets the count and the first, with error 234.
struct VOLUME_DISK_EXTENTS {
    std::uint32_t NumberOfDiskExtents;
    std::uint32_t Padding;
    DISK_EXTENT Extents[1];
};
static_assert(sizeof(VOLUME_DISK_EXTENTS) == 32);

#pragma pack(pop)

// Input and output of IOCTL_SCSI_PASS_THROUGH; the sense data and the data follow at the offsets given.
inline constexpr std::uint8_t SCSI_IOCTL_DATA_OUT = 0;
inline constexpr std::uint8_t SCSI_IOCTL_DATA_IN = 1;
inline constexpr std::uint8_t SCSI_IOCTL_DATA_UNSPECIFIED = 2;
struct SCSI_PASS_THROUGH {
    std::uint16_t Length; // of this record
    std::uint8_t ScsiStatus;
    std::uint8_t PathId;
    std::uint8_t TargetId;
    std::uint8_t Lun;
    std::uint8_t CdbLength;
    std::uint8_t SenseInfoLength;
    std::uint8_t DataIn;
    std::uint8_t Padding[3];
    std::uint32_t DataTransferLength;
    std::uint32_t TimeOutValue; // seconds
    std::uintptr_t DataBufferOffset;
    std::uint32_t SenseInfoOffset;
    std::uint8_t Cdb[16];
};
static_assert(sizeof(void *) != 8 || sizeof(SCSI_PASS_THROUGH) == 56);

// SCSI's own values, as published by T10.
inline constexpr std::uint8_t SCSI_TEST_UNIT_READY = 0x00;
inline constexpr std::uint8_t SCSI_CHECK_CONDITION = 0x02;     // a status: sense data tell why
inline constexpr std::uint8_t SCSI_SENSE_FIXED_CURRENT = 0x70; // response code of fixed-format sense data
inline constexpr std::uint8_t SCSI_SENSE_NOT_READY = 0x02;     // sense key, low half of byte 2
inline constexpr std::uint8_t SCSI_ASC_LUN_NOT_READY = 0x04;   // additional sense code, byte 12
inline constexpr std::uint8_t SCSI_ASCQ_SANITIZING = 0x1B;     // its qualifier, byte 13
inline constexpr std::uint8_t SCSI_ASC_MEDIUM_NOT_PRESENT = 0x3A;

} // namespace kernel
