#include "DiskRecords.h"

#include "kernel/StorageRecords.h"

#include <cstdint>
#include <cstring>

namespace livepc {

namespace {

template <class Value> void put(std::vector<std::byte> & record, std::size_t at, Value value) {
    std::memcpy(record.data() + at, &value, sizeof value);
}

} // namespace

std::vector<std::byte> answerToIdentify(machine::DiskFacts const & disk, std::span<std::byte const> request) {
    constexpr std::uint8_t ataPassThrough16 = 0x85;
    constexpr std::size_t commandAt = 14; // in its command block
    constexpr std::uint8_t identifyDevice = 0xEC;
    constexpr std::size_t identitySize = 512;
    constexpr std::size_t commandSetsAt = 2 * 82;
    constexpr std::uint16_t securityCommands = 0x0002;
    constexpr std::size_t securityAt = 2 * 128;

    kernel::SCSI_PASS_THROUGH command{};
    if (!disk.reportsAtaSecurity || request.size() < sizeof command) {
        return {};
    }
    std::memcpy(&command, request.data(), sizeof command);
    if (command.Cdb[0] != ataPassThrough16 || command.Cdb[commandAt] != identifyDevice ||
        command.DataTransferLength != identitySize || command.DataBufferOffset > request.size() - identitySize) {
        return {};
    }
    std::vector<std::byte> answer(request.begin(), request.end());
    unsigned const security = (disk.securityPasswordSupported ? 1U : 0U) | (disk.securityPasswordSet ? 2U : 0U) |
                              (disk.ataSecurityLocked ? 4U : 0U);
    put(answer, command.DataBufferOffset + commandSetsAt, securityCommands);
    put(answer, command.DataBufferOffset + securityAt, static_cast<std::uint16_t>(security));
    return answer;
}

} // namespace livepc
