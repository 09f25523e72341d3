#include "StorageDescriptor.h"

#include "kernel/StorageRecords.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace machine {

static_assert(std::endian::native == std::endian::little, "records are copied as they lie in memory");

namespace {

using kernel::STORAGE_DEVICE_DESCRIPTOR;

// What follows the fields may begin at once.
constexpr std::size_t fixedSize = offsetof(STORAGE_DEVICE_DESCRIPTOR, RawDeviceProperties);

bool isVisible(char16_t unit) {
    return unit > u' ' && unit < u'\x7F';
}

// Some drivers give -1 instead of 0 for a text that there is none of.
std::u16string textAt(std::span<std::byte const> record, std::uint32_t offset) {
    std::u16string text;
    if (offset >= fixedSize) {
        for (std::size_t at = offset; at < record.size() && record[at] != std::byte{}; ++at) {
            text.push_back(static_cast<char16_t>(std::to_integer<unsigned>(record[at])));
        }
    }
    text.erase(text.begin(), std::ranges::find_if(text, isVisible));
    while (!text.empty() && !isVisible(text.back())) {
        text.pop_back();
    }
    return text;
}

} // namespace

std::optional<StorageFacts> parseStorageDescriptor(std::span<std::byte const> record) {
    if (record.size() < fixedSize) {
        return std::nullopt;
    }
    STORAGE_DEVICE_DESCRIPTOR fields{};
    std::memcpy(&fields, record.data(), fixedSize);
    StorageFacts facts;
    facts.bus = fields.BusType;
    facts.isRemovable = fields.RemovableMedia != 0;
    facts.product = textAt(record, fields.VendorIdOffset);
    std::u16string const model = textAt(record, fields.ProductIdOffset);
    facts.product += (facts.product.empty() || model.empty() ? u"" : u" ") + model;
    facts.serialNumber = textAt(record, fields.SerialNumberOffset);
    return facts;
}

} // namespace machine
