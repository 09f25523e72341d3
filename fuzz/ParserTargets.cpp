#include "ParserTargets.h"

#include "journal/Crc32c.h"
#include "journal/Entry.h"
#include "libVolumes/VolumeRecords.h"
#include "machine/StorageDescriptor.h"
#include "machine/simulated/DescriptionReader.h"
#include "machine/simulated/SimulatedMachine.h"
#include "machine/windows/AtaIdentity.h"
#include "machine/windows/NodeTraits.h"
#include "machine/windows/Records.h"
#include "scsi/SenseData.h"
#include "terminal/LinePieces.h"
#include "tkit5.h"
#include "tkit5/CommandLine.h"
#include "tkit5/HostLines.h"
#include "tkit5/JournalFolders.h"
#include "tkit5/Locale.h"
#include "tkit5/ParameterText.h"
#include "usbtopo/ConnectionRecords.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace fuzz {

namespace {

// A broken promise is a finding, as a crash is.
void promise(bool kept) {
    if (!kept) {
        std::abort();
    }
}

// In memory of exactly that size, so that a read beyond the end is seen.
std::vector<std::byte> exactly(std::uint8_t const * data, std::size_t size) {
    std::vector<std::byte> bytes(size);
    if (size != 0) {
        std::memcpy(bytes.data(), data, size);
    }
    return bytes;
}

std::string textOf(std::uint8_t const * data, std::size_t size) {
    return {data, data + size};
}

bool isSentence(std::string_view text) {
    return !text.empty() && text.find('\n') == std::string_view::npos;
}

void description(std::uint8_t const * data, std::size_t size) {
    auto read = machine::readDescription(textOf(data, size));
    if (auto const * const error = std::get_if<machine::DescriptionError>(&read)) {
        promise(!error->message.empty());
        return;
    }
    auto & pc = std::get<machine::simulated::Description>(read);
    promise(!machine::makeSimulatedMachine(std::move(pc))->name().empty());
}

// Words are separated by line ends.
void commandLine(std::uint8_t const * data, std::size_t size) {
    std::vector<std::string> words;
    std::string const text = textOf(data, size);
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const end = std::min(text.find('\n', at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    auto const asked = tkit5::parseCommandLine(words);
    if (auto const * const error = std::get_if<tkit5::UsageError>(&asked)) {
        promise(!error->message.empty());
    }
    promise(!words.empty() || std::holds_alternative<tkit5::NothingAsked>(asked));
}

// A stream in pieces, each as long as the first byte says.
void hostLines(std::uint8_t const * data, std::size_t size) {
    std::string const text = textOf(data, size);
    std::size_t const piece = text.empty() ? 1 : 1 + static_cast<unsigned char>(text.front());
    terminal::LinePieces pieces;
    std::string line;
    for (std::size_t at = 1; at < text.size(); at += piece) {
        pieces.add(std::string_view(text).substr(at, piece));
    }
    pieces.end();
    while (pieces.take(line)) {
        promise(line.size() <= terminal::LinePieces::longestLine);
        auto const understood = tkit5::parseHostLine(line);
        if (auto const * const fault = std::get_if<tkit5::HostLineFault>(&understood)) {
            promise(isSentence(fault->message));
        }
    }
}

// The first byte chooses the type.
void setting(std::uint8_t const * data, std::size_t size) {
    using tkit5::DataType;
    constexpr DataType types[] = {DataType::STRING, DataType::BOOLEAN, DataType::INT32,  DataType::UINT32,
                                  DataType::UINT64, DataType::DOUBLE,  DataType::PERCENT};
    if (size != 0) {
        auto const value = tkit5::valueFromText(types[data[0] % std::size(types)], textOf(data + 1, size - 1));
        promise(!value || value->valueString().getUTF8Buffer() != nullptr);
    }
}

void locale(std::uint8_t const * data, std::size_t size) {
    try {
        auto const read = tkit5::Locale::fromFile("fuzzed", textOf(data, size));
        for (auto const & [key, text] : read.texts()) {
            read.resolve(key, {});
        }
    } catch (tkit5::TkitException const & refused) {
        promise(std::strlen(refused.toString().getUTF8Buffer()) != 0);
    }
}

// With the checksum put right, without which nothing behind it would ever be read.
void journalEntry(std::uint8_t const * data, std::size_t size) {
    auto header = exactly(data, size);
    journal::decode(header);
    if (header.size() != journal::headerSize) {
        header.resize(journal::headerSize);
    }
    constexpr std::size_t sumAt = journal::headerSize - 4;
    std::uint32_t const sum = journal::crc32c(std::span<std::byte const>(header).first(sumAt));
    for (std::size_t i = 0; i < 4; ++i) {
        header[sumAt + i] = static_cast<std::byte>(sum >> (8 * i));
    }
    if (auto const entry = journal::decode(header)) {
        promise(entry->bytes() != 0 && entry->bytes() <= entry->disk.size);
        promise(journal::decode(journal::encode(*entry)) == entry);
    }
}

// A line with the name of its file and the contents, which are also given the name that their checksum makes.
void folderNote(std::uint8_t const * data, std::size_t size) {
    std::string const text = textOf(data, size);
    std::size_t const end = std::min(text.find('\n'), text.size());
    std::string const contents = text.substr(std::min(end + 1, text.size()));
    std::uint32_t const sum = journal::crc32c(std::as_bytes(std::span(contents)));
    for (std::string const & name : {text.substr(0, end), fmt::format("folder-{:08X}-1.txt", sum)}) {
        if (auto const folder = tkit5::folderOfNote(name, contents)) {
            promise(*folder + "\n" == contents);
            promise(tkit5::isSameFolder(*folder, *folder));
        }
    }
}

void portRecords(std::uint8_t const * data, std::size_t size) {
    auto const bytes = exactly(data, size);
    if (auto const ports = usbtopo::parsePortCount(bytes)) {
        promise(*ports <= std::numeric_limits<std::uint8_t>::max());
    }
    usbtopo::parseConnection(bytes);
    usbtopo::parseConnectionV2(bytes);
    if (auto const companion = usbtopo::parseConnector(bytes)) {
        promise(companion->hubName.size() * sizeof(char16_t) <= bytes.size());
    }
    for (auto const record : {usbtopo::NameRecord::OfController, usbtopo::NameRecord::OfPort}) {
        auto const claimed = usbtopo::parseNameRecordSize(record, bytes);
        promise(!claimed || *claimed <= usbtopo::longestRecord);
        auto const name = usbtopo::parseName(record, bytes);
        promise(!name || name->size() * sizeof(char16_t) <= bytes.size());
    }
}

void volumeExtents(std::uint8_t const * data, std::size_t size) {
    auto const bytes = exactly(data, size);
    if (auto const extents = libVolumes::parseExtents(bytes)) {
        promise(!extents->empty() && libVolumes::extentsRecordSize(extents->size()) <= bytes.size());
    }
    auto const disks = machine::windows::parseDiskNumbers(bytes);
    promise(disks.size() <= bytes.size() / sizeof(kernel::DISK_EXTENT));
}

void bootSector(std::uint8_t const * data, std::size_t size) {
    libVolumes::isBitLockerSector(exactly(data, size));
}

void senseData(std::uint8_t const * data, std::size_t size) {
    if (auto const sense = scsi::parseSense(exactly(data, size))) {
        promise(sense->key < 16);
        promise(!scsi::meansSanitizing(*sense) || !scsi::meansNoMedium(*sense));
    }
}

void ataIdentity(std::uint8_t const * data, std::size_t size) {
    using namespace machine::windows;
    auto const bytes = exactly(data, size);
    parseSecurity(bytes);
    for (AtaPath const path : {AtaPath::Direct, AtaPath::Bridge}) {
        if (auto const identity = identityOf(path, bytes)) {
            promise(identity->size() == identitySize);
            auto const security = parseSecurity(*identity);
            promise(!security || security->supported || !security->locked);
        }
    }
}

void storageDescriptor(std::uint8_t const * data, std::size_t size) {
    auto const facts = machine::parseStorageDescriptor(exactly(data, size));
    promise(!facts || (facts->serialNumber.size() <= size && facts->product.size() <= 2 * size + 1));
}

// A list of texts of the registry: hardware IDs, the first of which is taken for the instance ID too.
void nodeTraits(std::uint8_t const * data, std::size_t size) {
    using namespace machine::windows;
    auto const bytes = exactly(data, size);
    promise(registryText(bytes).size() * sizeof(char16_t) <= size);
    NodeTraits traits;
    traits.ids = registryTexts(bytes);
    if (!traits.ids.empty()) {
        traits.instanceId = traits.ids.front();
    }
    auto const nodeClass = classify(traits);
    promise(static_cast<std::size_t>(nodeClass) < machine::nodeClasses);
    promise(interfacePath(traits, nodeClass).empty()); // without interfaces there is none
}

} // namespace

std::span<Target const> parserTargets() {
    static constexpr Target all[] = {{"ata_identity", ataIdentity},
                                     {"boot_sector", bootSector},
                                     {"command_line", commandLine},
                                     {"description", description},
                                     {"folder_note", folderNote},
                                     {"host_lines", hostLines},
                                     {"journal_entry", journalEntry},
                                     {"locale", locale},
                                     {"node_traits", nodeTraits},
                                     {"port_records", portRecords},
                                     {"sense_data", senseData},
                                     {"setting", setting},
                                     {"storage_descriptor", storageDescriptor},
                                     {"volume_extents", volumeExtents}};
    return all;
}

} // namespace fuzz
