#include "AtaIdentity.h"

#include "kernel/StorageRecords.h"

#include <cstring>
#include <numeric>

namespace machine::windows {

namespace {

constexpr std::uint8_t identifyDevice = 0xEC;
constexpr auto seconds = static_cast<std::uint32_t>(identifyTime.count());

// Input and output of IOCTL_ATA_PASS_THROUGH, as published in ntddscsi.h; the data follow at the offset given.
struct AtaPassThrough {
    std::uint16_t length;
    std::uint16_t flags;
    std::uint8_t pathId;
    std::uint8_t targetId;
    std::uint8_t lun;
    std::uint8_t reservedByte;
    std::uint32_t dataTransferLength;
    std::uint32_t timeOutValue; // seconds
    std::uint32_t reserved;
    std::uintptr_t dataBufferOffset;
    std::uint8_t previousTaskFile[8];
    std::uint8_t currentTaskFile[8];
};
static_assert(sizeof(void *) != 8 || sizeof(AtaPassThrough) == 48);

constexpr std::uint16_t drdyRequired = 1;
constexpr std::uint16_t dataIn = 2;
constexpr std::size_t sectorCountAt = 1; // in a task file
constexpr std::size_t statusAt = 6;      // in the answer; the command in the request
constexpr std::uint8_t statusError = 0x01;

// A record of the SCSI way, sense data and identity.
constexpr std::size_t senseSize = 32;
constexpr std::size_t bridgeDataAt = sizeof(kernel::SCSI_PASS_THROUGH) + senseSize;

// ATA PASS-THROUGH (16): 512 bytes from the disk, by programmed I/O.
constexpr std::uint8_t ataPassThrough16 = 0x85;
constexpr std::uint8_t pioDataIn = 4 << 1;
constexpr std::uint8_t oneBlockFromDisk = 0x0E; // T_DIR, BYT_BLOK, the count is in the sector count

template <class Record> std::vector<std::byte> withRoom(Record const & record, std::size_t dataAt) {
    std::vector<std::byte> bytes(dataAt + identitySize);
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

std::vector<std::byte> directRequest() {
    AtaPassThrough record{};
    record.length = sizeof record;
    record.flags = drdyRequired | dataIn;
    record.dataTransferLength = identitySize;
    record.timeOutValue = seconds;
    record.dataBufferOffset = sizeof record;
    record.currentTaskFile[sectorCountAt] = 1;
    record.currentTaskFile[statusAt] = identifyDevice;
    return withRoom(record, sizeof record);
}

std::vector<std::byte> bridgeRequest() {
    kernel::SCSI_PASS_THROUGH record{};
    record.Length = sizeof record;
    record.CdbLength = 16;
    record.SenseInfoLength = senseSize;
    record.DataIn = kernel::SCSI_IOCTL_DATA_IN;
    record.DataTransferLength = identitySize;
    record.TimeOutValue = seconds;
    record.SenseInfoOffset = sizeof record;
    record.DataBufferOffset = bridgeDataAt;
    record.Cdb[0] = ataPassThrough16;
    record.Cdb[1] = pioDataIn;
    record.Cdb[2] = oneBlockFromDisk;
    record.Cdb[6] = 1;
    record.Cdb[14] = identifyDevice;
    return withRoom(record, bridgeDataAt);
}

template <class Record> std::optional<Record> recordOf(Bytes answer, std::size_t dataAt) {
    if (answer.size() < dataAt + identitySize) {
        return std::nullopt;
    }
    Record record;
    std::memcpy(&record, answer.data(), sizeof record);
    return record;
}

std::uint16_t word(Bytes identity, std::size_t index) {
    std::uint16_t value = 0;
    std::memcpy(&value, identity.data() + 2 * index, sizeof value);
    return value;
}

constexpr std::size_t configuration = 0;
constexpr std::uint16_t isNoDisk = 0x8000;
constexpr std::size_t commandSets = 82;
constexpr std::size_t securityStatus = 128;
constexpr std::size_t integrity = 255;
constexpr std::uint8_t integrityMark = 0xA5; // then all bytes add up to 0

bool isIntact(Bytes identity) {
    if ((word(identity, integrity) & 0xFF) != integrityMark) {
        return true; // older disks carry no sum
    }
    unsigned const sum =
        std::accumulate(identity.begin(), identity.begin() + identitySize, 0U,
                        [](unsigned all, std::byte one) { return all + std::to_integer<unsigned>(one); });
    return sum % 256 == 0;
}

} // namespace

std::vector<std::byte> identifyRequest(AtaPath path) {
    return path == AtaPath::Direct ? directRequest() : bridgeRequest();
}

std::optional<Bytes> identityOf(AtaPath path, Bytes answer) {
    if (path == AtaPath::Direct) {
        auto const record = recordOf<AtaPassThrough>(answer, sizeof(AtaPassThrough));
        if (!record || (record->currentTaskFile[statusAt] & statusError) != 0) {
            return std::nullopt;
        }
        return answer.subspan(sizeof(AtaPassThrough), identitySize);
    }
    auto const record = recordOf<kernel::SCSI_PASS_THROUGH>(answer, bridgeDataAt);
    if (!record || record->ScsiStatus != 0 || record->DataTransferLength < identitySize) {
        return std::nullopt;
    }
    return answer.subspan(bridgeDataAt, identitySize);
}

std::optional<AtaSecurity> parseSecurity(Bytes identity) {
    if (identity.size() < identitySize || (word(identity, configuration) & isNoDisk) != 0) {
        return std::nullopt;
    }
    std::uint16_t const sets = word(identity, commandSets);
    if (sets == 0 || sets == 0xFFFF || !isIntact(identity)) {
        return std::nullopt;
    }
    std::uint16_t const status = word(identity, securityStatus);
    AtaSecurity security;
    security.supported = (status & 1) != 0;
    security.passwordSet = security.supported && (status & 2) != 0;
    security.locked = security.supported && (status & 4) != 0;
    return security;
}

} // namespace machine::windows
