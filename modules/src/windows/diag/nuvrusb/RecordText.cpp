#include "RecordText.h"

#include <cstring>
#include <string>

namespace nuvrusb {

std::uint32_t numberAt(std::span<std::byte const> record, std::size_t offset) {
    std::uint32_t number = 0;
    std::memcpy(&number, record.subspan(offset, sizeof number).data(), sizeof number);
    return number;
}

nuv::String textAt(std::span<std::byte const> returned, std::size_t offset) {
    if (returned.size() <= offset) {
        return {};
    }
    std::u16string text((returned.size() - offset) / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), returned.data() + offset, text.size() * sizeof(char16_t));
    return nuv::String(std::u16string_view(text).substr(0, text.find(u'\0')));
}

} // namespace nuvrusb
