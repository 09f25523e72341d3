#include "Entry.h"

#include "Crc32c.h"

#include <algorithm>
#include <limits>
#include <string_view>

namespace journal {

namespace {

// Places in the header. Numbers are little-endian; what is not listed is zero.
constexpr std::size_t magicAt = 0;
constexpr std::size_t versionAt = 8;
constexpr std::size_t headerSizeAt = 12;
constexpr std::size_t sequenceAt = 16;
constexpr std::size_t firstSectorAt = 24;
constexpr std::size_t sectorCountAt = 32;
constexpr std::size_t sectorSizeAt = 36;
constexpr std::size_t diskSizeAt = 40;
constexpr std::size_t checksumAt = 48;
constexpr std::size_t serialNumberAt = 52; // texts: their length in two bytes, then room for the longest
constexpr std::size_t modelAt = serialNumberAt + 2 + longestText;
constexpr std::size_t idAt = modelAt + 2 + longestText;
constexpr std::size_t headerChecksumAt = headerSize - 4; // of everything before it
static_assert(idAt + sizeof(std::uint64_t) <= headerChecksumAt);

constexpr std::string_view magic{"NUVUNDO\0", 8};
constexpr std::uint32_t version = 1;

constexpr std::uint32_t largestSector = 65536;

template <class Number> void put(Header & header, std::size_t at, Number number) {
    for (std::size_t i = 0; i < sizeof number; ++i) {
        header[at + i] = static_cast<std::byte>(number >> (8 * i));
    }
}

template <class Number> Number get(Bytes header, std::size_t at) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
        number |= std::to_integer<std::uint64_t>(header[at + i]) << (8 * i);
    }
    return static_cast<Number>(number);
}

void putText(Header & header, std::size_t at, std::string_view text) {
    put(header, at, static_cast<std::uint16_t>(text.size()));
    std::ranges::copy(std::as_bytes(std::span(text)), header.begin() + static_cast<std::ptrdiff_t>(at) + 2);
}

std::optional<std::string> getText(Bytes header, std::size_t at) {
    auto const size = get<std::uint16_t>(header, at);
    if (size > longestText) {
        return std::nullopt;
    }
    std::string text;
    for (std::byte const byte : header.subspan(at + 2, size)) {
        text += static_cast<char>(std::to_integer<unsigned char>(byte));
    }
    return text;
}

bool makesSense(Entry const & entry) {
    std::uint32_t const sectorSize = entry.disk.sectorSize;
    if (sectorSize == 0 || sectorSize > largestSector || entry.range.sectorCount == 0 ||
        entry.disk.size > std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
        return false;
    }
    std::uint64_t const sectors = entry.disk.size / sectorSize;
    return entry.range.firstSector < sectors && entry.range.sectorCount <= sectors - entry.range.firstSector;
}

} // namespace

std::string clipped(std::string text) {
    if (text.size() > longestText) {
        std::size_t end = longestText;
        // Not in the middle of a character.
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
            --end;
        }
        text.resize(end);
    }
    return text;
}

Header encode(Entry const & entry) {
    Header header{};
    std::ranges::copy(std::as_bytes(std::span(magic)), header.begin() + magicAt);
    put(header, versionAt, version);
    put(header, headerSizeAt, static_cast<std::uint32_t>(headerSize));
    put(header, sequenceAt, entry.sequence);
    put(header, firstSectorAt, entry.range.firstSector);
    put(header, sectorCountAt, entry.range.sectorCount);
    put(header, sectorSizeAt, entry.disk.sectorSize);
    put(header, diskSizeAt, entry.disk.size);
    put(header, checksumAt, entry.checksum);
    putText(header, serialNumberAt, std::string_view(entry.disk.serialNumber).substr(0, longestText));
    putText(header, modelAt, std::string_view(entry.disk.model).substr(0, longestText));
    put(header, idAt, entry.id);
    put(header, headerChecksumAt, crc32c(Bytes(header).first(headerChecksumAt)));
    return header;
}

std::optional<Entry> decode(Bytes header) {
    if (header.size() != headerSize ||
        !std::ranges::equal(header.subspan(magicAt, magic.size()), std::as_bytes(std::span(magic))) ||
        get<std::uint32_t>(header, versionAt) != version || get<std::uint32_t>(header, headerSizeAt) != headerSize ||
        get<std::uint32_t>(header, headerChecksumAt) != crc32c(header.first(headerChecksumAt))) {
        return std::nullopt;
    }
    auto const serialNumber = getText(header, serialNumberAt);
    auto const model = getText(header, modelAt);
    if (!serialNumber || !model) {
        return std::nullopt;
    }
    Entry entry{.sequence = get<std::uint64_t>(header, sequenceAt),
                .id = get<std::uint64_t>(header, idAt),
                .disk = {.serialNumber = *serialNumber,
                         .model = *model,
                         .size = get<std::uint64_t>(header, diskSizeAt),
                         .sectorSize = get<std::uint32_t>(header, sectorSizeAt)},
                .range = {.firstSector = get<std::uint64_t>(header, firstSectorAt),
                          .sectorCount = get<std::uint32_t>(header, sectorCountAt)},
                .checksum = get<std::uint32_t>(header, checksumAt)};
    return makesSense(entry) ? std::optional(std::move(entry)) : std::nullopt;
}

} // namespace journal
