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

std::uint32_t numberAt(Bytes record, std::size_t offset) {
    std::uint32_t number = 0;
    std::memcpy(&number, record.data() + offset, sizeof number);
    return number;
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

std::uint32_t registryNumber(Bytes value) {
    std::uint32_t number = 0;
    if (value.size() >= sizeof number) {
        std::memcpy(&number, value.data(), sizeof number);
    }
    return number;
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
