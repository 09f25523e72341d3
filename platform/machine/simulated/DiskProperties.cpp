#include "DiskProperties.h"

#include "kernel/Files.h"
#include "kernel/StorageRecords.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace machine::simulated {

namespace {

using kernel::STORAGE_DEVICE_DESCRIPTOR;

constexpr std::size_t headerSize = offsetof(STORAGE_DEVICE_DESCRIPTOR, DeviceType); // version and size
constexpr std::size_t longestText = 1024;

// The offset of a text that is appended; 0 for one without a character that can be told.
std::uint32_t append(std::vector<std::byte> & record, std::u16string_view text) {
    std::size_t const offset = record.size();
    for (char16_t const unit : text) {
        if (unit >= u' ' && unit < u'\x7F' && record.size() - offset < longestText) {
            record.push_back(static_cast<std::byte>(unit));
        }
    }
    if (record.size() == offset) {
        return 0;
    }
    record.push_back(std::byte{});
    return static_cast<std::uint32_t>(offset);
}

std::vector<std::byte> deviceDescriptor(Disk const & disk) {
    STORAGE_DEVICE_DESCRIPTOR fields{};
    std::vector<std::byte> record(sizeof fields);
    fields.Version = sizeof fields;
    fields.RemovableMedia = disk.removable ? 1 : 0;
    fields.BusType = kernel::BusTypeUsb;
    fields.ProductIdOffset = append(record, disk.name);
    fields.SerialNumberOffset = append(record, disk.serialNumber.value_or(std::u16string()));
    fields.Size = static_cast<std::uint32_t>(record.size());
    std::memcpy(record.data(), &fields, sizeof fields);
    return record;
}

} // namespace

Transfer answerOfProperty(DiskState const & disk, std::span<std::byte const> input, std::span<std::byte> output) {
    kernel::STORAGE_PROPERTY_QUERY query{};
    if (input.size() < sizeof query) {
        return {kernel::ERROR_BAD_LENGTH, 0};
    }
    std::memcpy(&query, input.data(), sizeof query);
    if (query.PropertyId != kernel::StorageDeviceProperty) {
        return {kernel::ERROR_INVALID_FUNCTION, 0};
    }
    if (query.QueryType == kernel::PropertyExistsQuery) {
        return {kernel::ERROR_SUCCESS, 0};
    }
    if (query.QueryType != kernel::PropertyStandardQuery) {
        return {kernel::ERROR_NOT_SUPPORTED, 0};
    }
    if (output.size() < headerSize) {
        return {kernel::ERROR_BAD_LENGTH, 0};
    }
    std::vector<std::byte> const record = deviceDescriptor(disk.described());
    std::size_t const size = std::min(record.size(), output.size());
    std::memcpy(output.data(), record.data(), size);
    return {kernel::ERROR_SUCCESS, static_cast<std::uint32_t>(size)};
}

} // namespace machine::simulated
