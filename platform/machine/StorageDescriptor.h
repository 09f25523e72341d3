// What a disk tells of itself in a STORAGE_DEVICE_DESCRIPTOR, as plain values. A pure function over bytes; lengths and
// offsets are not believed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace machine {

inline constexpr std::size_t storageDescriptorRoom = 4096; // more than any device tells

struct StorageFacts {
    std::uint32_t bus = 0; // STORAGE_BUS_TYPE
    bool isRemovable = false;
    std::u16string product;      // vendor and model; both texts without the blanks around them
    std::u16string serialNumber; // empty: the device has none
};

// Empty for a record that is too short.
std::optional<StorageFacts> parseStorageDescriptor(std::span<std::byte const> record);

} // namespace machine
