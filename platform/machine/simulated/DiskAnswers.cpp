#include "DiskAnswers.h"

#include "DiskProperties.h"
#include "Sharing.h"
#include "kernel/Files.h"
#include "kernel/StorageRecords.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <utility>

namespace machine::simulated {

namespace {

constexpr std::uint32_t fixedMedia = 12;
constexpr std::uint32_t removableMedia = 11;

DiskAnswer error(std::uint32_t code) {
    return {.transfer = {code, 0}};
}

DiskAnswer done() {
    return {};
}

template <class Record> DiskAnswer record(Record const & value, std::span<std::byte> output) {
    if (output.size() < sizeof(Record)) {
        return error(kernel::ERROR_INSUFFICIENT_BUFFER);
    }
    std::memcpy(output.data(), &value, sizeof(Record));
    return {.transfer = {kernel::ERROR_SUCCESS, sizeof(Record)}};
}

// What a fault makes of an answer.
DiskAnswer struck(DiskFault const * fault, DiskAnswer answer) {
    if (fault == nullptr) {
        return answer;
    }
    if (auto const * const fails = std::get_if<FailsWith>(&fault->effect)) {
        return error(fails->error);
    }
    if (auto const * const delays = std::get_if<Delays>(&fault->effect)) {
        answer.delay = delays->by;
        return answer;
    }
    answer.hangs = true;
    return answer;
}

DiskAnswer geometry(DiskState const & disk, std::span<std::byte> output) {
    kernel::DISK_GEOMETRY_EX answer{};
    std::uint32_t const sectorSize = disk.described().sectorSize;
    // The cylinders of a disk that has none, as Windows makes them up.
    answer.Geometry.TracksPerCylinder = 255;
    answer.Geometry.SectorsPerTrack = 63;
    answer.Geometry.Cylinders = static_cast<std::int64_t>(disk.sectorCount() / (255 * 63));
    answer.Geometry.MediaType = disk.described().removable ? removableMedia : fixedMedia;
    answer.Geometry.BytesPerSector = sectorSize;
    answer.DiskSize = static_cast<std::int64_t>(disk.size());
    return record(answer, output);
}

// TEST UNIT READY, the one SCSI command that is asked for.
DiskAnswer passThrough(DiskState const & disk, Duration now, std::span<std::byte const> input,
                       std::span<std::byte> output) {
    kernel::SCSI_PASS_THROUGH request{};
    if (input.size() < sizeof(request) || output.size() < sizeof(request)) {
        return error(kernel::ERROR_INVALID_PARAMETER);
    }
    std::memcpy(&request, input.data(), sizeof(request));
    if (request.Length != sizeof(request) || request.CdbLength != 6 || request.Cdb[0] != kernel::SCSI_TEST_UNIT_READY) {
        return error(kernel::ERROR_INVALID_FUNCTION);
    }
    // Sense key, additional code and qualifier; nothing when the disk is ready.
    std::uint8_t key = 0;
    std::uint8_t asc = 0;
    std::uint8_t ascq = 0;
    if (disk.described().sanitizing) {
        key = kernel::SCSI_SENSE_NOT_READY;
        asc = kernel::SCSI_ASC_LUN_NOT_READY;
        ascq = kernel::SCSI_ASCQ_SANITIZING;
    } else if (MediaState const medium = disk.media(now); medium != MediaState::Present) {
        constexpr std::uint8_t becomingReady = 0x01;
        bool const loading = medium == MediaState::Loading;
        key = kernel::SCSI_SENSE_NOT_READY;
        asc = loading ? kernel::SCSI_ASC_LUN_NOT_READY : kernel::SCSI_ASC_MEDIUM_NOT_PRESENT;
        ascq = loading ? becomingReady : std::uint8_t{0};
    }
    std::uint8_t sense[18] = {kernel::SCSI_SENSE_FIXED_CURRENT};
    sense[2] = key;
    sense[7] = sizeof(sense) - 8;
    sense[12] = asc;
    sense[13] = ascq;
    std::size_t end = sizeof(request);
    if (key != 0) {
        request.ScsiStatus = kernel::SCSI_CHECK_CONDITION;
        std::size_t const room = output.size() - std::min<std::size_t>(output.size(), request.SenseInfoOffset);
        std::size_t const size = std::min({std::size_t{request.SenseInfoLength}, sizeof(sense), room});
        std::memcpy(output.data() + (output.size() - room), sense, size);
        end = std::max(end, output.size() - room + size);
        request.SenseInfoLength = static_cast<std::uint8_t>(size);
    } else {
        request.ScsiStatus = 0;
        request.SenseInfoLength = 0;
    }
    request.DataTransferLength = 0;
    std::memcpy(output.data(), &request, sizeof(request));
    return {.transfer = {kernel::ERROR_SUCCESS, static_cast<std::uint32_t>(end)}};
}

// The answer of a control that needs a medium, with the faults of its call.
template <class Answer> DiskAnswer withMedium(DiskState & disk, Duration now, DiskCall call, Answer answer) {
    DiskFault const * const fault = disk.strike(call);
    std::uint32_t const medium = disk.mediaError(now);
    return struck(fault, medium == kernel::ERROR_SUCCESS ? answer() : error(medium));
}

DiskAnswer extents(DiskState const & disk, VolumeState const & volume, std::span<std::byte> output) {
    kernel::VOLUME_DISK_EXTENTS answer{};
    std::uint32_t const sectorSize = disk.described().sectorSize;
    answer.NumberOfDiskExtents = 1;
    answer.Extents[0].DiskNumber = disk.number();
    answer.Extents[0].StartingOffset = static_cast<std::int64_t>(volume.described.firstSector * sectorSize);
    answer.Extents[0].ExtentLength = static_cast<std::int64_t>(volume.described.sectorCount * sectorSize);
    return record(answer, output);
}

} // namespace

DiskAnswer answerOfDisk(DiskState & disk, Duration now, OpenedFor const & opened, std::uint32_t code,
                        std::span<std::byte const> input, std::span<std::byte> output) {
    if (disk.media(now) == MediaState::Unplugged) {
        return error(kernel::ERROR_DEVICE_NOT_CONNECTED);
    }
    if (!hasAccess(opened.reading, opened.writing, code)) {
        return error(kernel::ERROR_ACCESS_DENIED);
    }
    switch (code) {
    case kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX:
        return withMedium(disk, now, DiskCall::Geometry, [&] { return geometry(disk, output); });
    case kernel::IOCTL_DISK_GET_LENGTH_INFO:
        return withMedium(disk, now, DiskCall::Length, [&] {
            return record(kernel::GET_LENGTH_INFORMATION{static_cast<std::int64_t>(disk.size())}, output);
        });
    case kernel::IOCTL_STORAGE_CHECK_VERIFY:
        return withMedium(disk, now, DiskCall::CheckVerify, done);
    case kernel::IOCTL_DISK_IS_WRITABLE:
        return disk.described().readOnly ? error(kernel::ERROR_WRITE_PROTECT) : done();
    case kernel::IOCTL_STORAGE_EJECT_MEDIA: {
        DiskAnswer const answer = struck(disk.strike(DiskCall::Eject),
                                         disk.described().removable ? done() : error(kernel::ERROR_INVALID_FUNCTION));
        if (answer.transfer.error == kernel::ERROR_SUCCESS && !answer.hangs) {
            disk.eject();
        }
        return answer;
    }
    case kernel::IOCTL_STORAGE_LOAD_MEDIA:
        return struck(disk.strike(DiskCall::Load), done());
    case kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER:
        return record(kernel::STORAGE_DEVICE_NUMBER{kernel::FILE_DEVICE_DISK, disk.number(), 0}, output);
    case kernel::IOCTL_STORAGE_QUERY_PROPERTY:
        return {.transfer = answerOfProperty(disk, input, output)};
    case kernel::IOCTL_SCSI_PASS_THROUGH:
        return passThrough(disk, now, input, output);
    default:
        return error(kernel::ERROR_INVALID_FUNCTION);
    }
}

DiskAnswer answerOfVolume(DiskState & disk, Duration now, VolumeState & volume, void const * file, bool others,
                          OpenedFor const & opened, std::uint32_t code, std::span<std::byte> output) {
    if (disk.media(now) == MediaState::Unplugged) {
        return error(kernel::ERROR_DEVICE_NOT_CONNECTED);
    }
    if (!hasAccess(opened.reading, opened.writing, code)) {
        return error(kernel::ERROR_ACCESS_DENIED);
    }
    // Without a medium there is a volume, but nothing that it could lie on or that could be locked.
    std::uint32_t const medium = disk.mediaError(now);
    if (medium != kernel::ERROR_SUCCESS && code != kernel::FSCTL_UNLOCK_VOLUME) {
        return error(medium);
    }
    switch (code) {
    case kernel::IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS:
        return extents(disk, volume, output);
    case kernel::FSCTL_LOCK_VOLUME: {
        bool const isFree = !volume.described.inUse && !others && (volume.locker == nullptr || volume.locker == file);
        DiskAnswer const answer =
            struck(disk.strike(DiskCall::Lock), isFree ? done() : error(kernel::ERROR_ACCESS_DENIED));
        if (answer.transfer.error == kernel::ERROR_SUCCESS && !answer.hangs) {
            volume.locker = file;
        }
        return answer;
    }
    case kernel::FSCTL_UNLOCK_VOLUME:
        if (volume.locker != file) {
            return error(kernel::ERROR_NOT_LOCKED);
        }
        volume.locker = nullptr;
        return done();
    case kernel::FSCTL_DISMOUNT_VOLUME:
        return done();
    default:
        return error(kernel::ERROR_INVALID_FUNCTION);
    }
}

} // namespace machine::simulated
