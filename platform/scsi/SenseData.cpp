#include "SenseData.h"

#include "kernel/StorageRecords.h"

namespace scsi {

namespace {

constexpr std::uint8_t descriptorCurrent = 0x72; // response code of descriptor-format sense data

constexpr std::uint8_t byteAt(Bytes bytes, std::size_t index) {
    return std::to_integer<std::uint8_t>(bytes[index]);
}

} // namespace

std::optional<SenseCode> parseSense(Bytes sense) {
    constexpr std::size_t lengthAt = 7; // of what follows it
    constexpr std::size_t codeAt = 12;
    constexpr std::size_t qualifierAt = 13;

    if (sense.empty()) {
        return std::nullopt;
    }
    auto const format = static_cast<std::uint8_t>(byteAt(sense, 0) & 0x7FU);
    if (format == descriptorCurrent && sense.size() >= 4) {
        return SenseCode{static_cast<std::uint8_t>(byteAt(sense, 1) & 0x0FU), byteAt(sense, 2), byteAt(sense, 3)};
    }
    if (format == kernel::SCSI_SENSE_FIXED_CURRENT && sense.size() > qualifierAt &&
        lengthAt + byteAt(sense, lengthAt) >= qualifierAt) {
        return SenseCode{static_cast<std::uint8_t>(byteAt(sense, 2) & 0x0FU), byteAt(sense, codeAt),
                         byteAt(sense, qualifierAt)};
    }
    return std::nullopt;
}

bool meansSanitizing(SenseCode const & sense) {
    return sense ==
           SenseCode{kernel::SCSI_SENSE_NOT_READY, kernel::SCSI_ASC_LUN_NOT_READY, kernel::SCSI_ASCQ_SANITIZING};
}

bool meansNoMedium(SenseCode const & sense) {
    return sense.key == kernel::SCSI_SENSE_NOT_READY && sense.code == kernel::SCSI_ASC_MEDIUM_NOT_PRESENT;
}

} // namespace scsi
