#include "Records.h"

#include "kernel/StorageRecords.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>

namespace machine::windows {

static_assert(std::endian::native == std::endian::little, "records are copied as they lie in memory");

namespace {

std::u16string unitsOf(Bytes value) {
    std::u16string units(value.size() / sizeof(char16_t), u'\0');
    if (!units.empty()) {
        std::memcpy(units.data(), value.data(), units.size() * sizeof(char16_t));
    }
    return units;
}

// Fields of STORAGE_DEVICE_DESCRIPTOR, by their place in the record.
constexpr std::size_t removableMediaAt = 10;
constexpr std::size_t serialNumberOffsetAt = 24;
constexpr std::size_t busTypeAt = 28;
constexpr std::size_t fixedSize = 36;

std::uint32_t numberAt(Bytes record, std::size_t offset) {
    std::uint32_t number = 0;
    std::memcpy(&number, record.data() + offset, sizeof number);
    return number;
}

bool isSerialNumber(char16_t unit) {
    return unit > u' ' && unit < u'\x7F';
}

std::u16string narrowText(Bytes record, std::size_t offset) {
    std::u16string text;
    for (std::size_t at = offset; at < record.size() && record[at] != std::byte{}; ++at) {
        text.push_back(static_cast<char16_t>(std::to_integer<unsigned>(record[at])));
    }
    auto const first = std::ranges::find_if(text, isSerialNumber);
    text.erase(text.begin(), first);
    while (!text.empty() && !isSerialNumber(text.back())) {
        text.pop_back();
    }
    return text;
}

} // namespace

std::u16string registryText(Bytes value) {
    std::u16string text = unitsOf(value);
    text.resize(std::min(text.size(), text.find(u'\0')));
    return text;
}

std::vector<std::u16string> registryTexts(Bytes value) {
    std::u16string const units = unitsOf(value);
    std::vector<std::u16string> texts;
    for (std::u16string_view rest = units; !rest.empty() && rest.front() != u'\0';) {
        std::u16string_view const text = rest.substr(0, rest.find(u'\0'));
        texts.emplace_back(text);
        rest.remove_prefix(std::min(rest.size(), text.size() + 1));
    }
    return texts;
}

std::optional<StorageFacts> parseStorageDescriptor(Bytes record) {
    if (record.size() < fixedSize) {
        return std::nullopt;
    }
    StorageFacts facts;
    facts.bus = numberAt(record, busTypeAt);
    facts.isRemovable = record[removableMediaAt] != std::byte{};
    std::uint32_t const serialNumberAt = numberAt(record, serialNumberOffsetAt);
    if (serialNumberAt >= fixedSize) { // 0, or -1 of some drivers, stands for none
        facts.serialNumber = narrowText(record, serialNumberAt);
    }
    return facts;
}

std::vector<std::uint32_t> parseDiskNumbers(Bytes record) {
    constexpr std::size_t head = offsetof(kernel::VOLUME_DISK_EXTENTS, Extents);
    if (record.size() < head) {
        return {};
    }
    std::size_t const count = std::min<std::size_t>(numberAt(record, 0), //
                                                    (record.size() - head) / sizeof(kernel::DISK_EXTENT));
    std::vector<std::uint32_t> numbers;
    for (std::size_t i = 0; i < count; ++i) {
        numbers.push_back(numberAt(record, head + i * sizeof(kernel::DISK_EXTENT)));
    }
    return numbers;
}

} // namespace machine::windows
