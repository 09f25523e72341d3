#include "Journal.h"

#include "Crc32c.h"
#include "kernel/Files.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace journal {

namespace {

// backup-000042.new while it is written, then backup-000042.undo; backup-000042.done once it was given up and could not
// be removed.
constexpr std::string_view prefix = "backup-";
constexpr std::string_view kept = ".undo";
constexpr std::string_view unfinished = ".new";
constexpr std::string_view givenUp = ".done";
constexpr std::string_view trial = ".try"; // instead of .undo where there is nothing behind it
constexpr std::size_t fewestDigits = 6;
constexpr std::size_t mostDigits = 18;

std::string nameOf(std::uint64_t sequence, std::string_view ending) {
    std::string digits = std::to_string(sequence);
    digits.insert(0, fewestDigits - std::min(fewestDigits, digits.size()), '0');
    return std::string(prefix) + digits + std::string(ending);
}

// The number in a name; empty for a file that is none of the journal's.
std::optional<std::uint64_t> sequenceOf(std::string_view name, std::string_view ending) {
    if (!name.starts_with(prefix) || !name.ends_with(ending) || name.size() <= prefix.size() + ending.size()) {
        return std::nullopt;
    }
    std::string_view const digits = name.substr(prefix.size(), name.size() - prefix.size() - ending.size());
    if (digits.size() > mostDigits || !std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; })) {
        return std::nullopt;
    }
    std::uint64_t sequence = 0;
    for (char const digit : digits) {
        sequence = sequence * 10 + static_cast<std::uint64_t>(digit - '0');
    }
    return sequence;
}

// Empty when the file has gone since it was listed: its process has closed the entry.
std::optional<FoundEntry> look(Storage & storage, std::string const & name, std::uint64_t sequence) {
    FoundEntry found;
    found.name = name;
    found.entry.sequence = sequence;
    Result<StoredBytes> const opened = storage.open(name);
    if (!opened.file) {
        if (opened.error == kernel::ERROR_FILE_NOT_FOUND) {
            return std::nullopt;
        }
        if (opened.error == kernel::ERROR_SHARING_VIOLATION) {
            found.state = FoundEntry::State::InUse;
        } else {
            found.error = opened.error;
        }
        return found;
    }
    if (opened.file->size() < headerSize) {
        return found;
    }
    Header header{};
    found.error = opened.file->read(0, header);
    if (found.error != kernel::ERROR_SUCCESS) {
        return found;
    }
    auto entry = decode(header);
    if (entry && opened.file->size() - headerSize == entry->bytes()) {
        found.entry = std::move(*entry);
        found.state = FoundEntry::State::Owed;
    }
    return found;
}

bool isAbandoned(Storage & storage, std::string const & name) {
    std::uint32_t const error = storage.open(name).error;
    return error != kernel::ERROR_SHARING_VIOLATION && error != kernel::ERROR_FILE_NOT_FOUND;
}

std::uint32_t writeAll(StoredFile & file, Header const & header, Bytes backup) {
    for (Bytes const part : {Bytes(header), backup}) {
        if (std::uint32_t const error = file.write(part); error != kernel::ERROR_SUCCESS) {
            return error;
        }
    }
    return file.sync();
}

} // namespace

// Numbers go up as long as there are files, so that the order of two entries about one range is known.
Result<StoredFile> Journal::createNext(std::uint64_t & sequence) {
    Storage::Names const listed = storage_.list();
    if (listed.error != kernel::ERROR_SUCCESS) {
        return {nullptr, listed.error};
    }
    for (std::string const & name : listed.names) {
        for (std::string_view const ending : {kept, unfinished, givenUp, trial}) {
            lastSequence_ = std::max(lastSequence_, sequenceOf(name, ending).value_or(0));
        }
    }
    constexpr int attempts = 100; // other processes may take a number at the same time
    Result<StoredFile> created;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        sequence = ++lastSequence_;
        created = storage_.create(nameOf(sequence, unfinished));
        if (created.error != fileExists) {
            break;
        }
    }
    return created;
}

Journal::Kept Journal::keep(DiskIdentity const & disk, Range const & range, Bytes backup) {
    return keepAs(kept, disk, range, backup);
}

Journal::Kept Journal::keepAs(std::string_view ending, DiskIdentity const & disk, Range const & range, Bytes backup) {
    Entry entry{.disk = disk, .range = range, .checksum = crc32c(backup)};
    if (!decode(encode(entry))) {
        return {std::nullopt, kernel::ERROR_INVALID_PARAMETER}; // nobody could put it back
    }
    Result<StoredFile> created = createNext(entry.sequence);
    if (!created.file) {
        return {std::nullopt, created.error};
    }
    std::string const unsafe = nameOf(entry.sequence, unfinished);
    OpenEntry open{.entry = entry, .name = nameOf(entry.sequence, ending), .file = std::move(created.file)};
    std::uint32_t error = writeAll(*open.file, encode(entry), backup);
    if (error == kernel::ERROR_SUCCESS) {
        error = storage_.rename(unsafe, open.name);
    }
    if (error != kernel::ERROR_SUCCESS) {
        open.file.reset();
        storage_.remove(unsafe);
        return {std::nullopt, error};
    }
    error = storage_.syncNames();
    if (error != kernel::ERROR_SUCCESS) {
        close(std::move(open)); // nothing will be overwritten, so nothing is owed
        return {std::nullopt, error};
    }
    return {std::move(open), kernel::ERROR_SUCCESS};
}

Journal::Closed Journal::close(OpenEntry entry) {
    entry.file.reset();
    return close(entry.name);
}

// The name is changed only when the removal has failed: that is the rare case, and a removal that a loss of power
// undoes brings back no more than a change of the name would.
Journal::Closed Journal::close(std::string const & name) {
    Closed closed{.error = storage_.remove(name), .isOwed = false, .file = {}};
    if (closed.error != kernel::ERROR_SUCCESS) {
        closed.file = name;
        auto const sequence = sequenceOf(name, kept);
        std::string const renamed = sequence ? nameOf(*sequence, givenUp) : std::string();
        closed.isOwed = sequence.has_value() && storage_.rename(name, renamed) != kernel::ERROR_SUCCESS;
        if (closed.isOwed || !sequence) {
            return closed;
        }
        closed.file = renamed;
    }
    if (std::uint32_t const error = storage_.syncNames(); error != kernel::ERROR_SUCCESS) {
        closed.error = error;
        closed.isOwed = true;
    }
    return closed;
}

Survey survey(Storage & storage) {
    Survey found;
    Storage::Names const listed = storage.list();
    found.error = listed.error;
    for (std::string const & name : listed.names) {
        if (auto const sequence = sequenceOf(name, kept)) {
            if (auto entry = look(storage, name, *sequence)) {
                found.entries.push_back(std::move(*entry));
            }
        } else if (std::ranges::any_of(std::array{unfinished, givenUp, trial},
                                       [&](std::string_view ending) { return sequenceOf(name, ending).has_value(); }) &&
                   isAbandoned(storage, name)) {
            found.unfinished.push_back(name);
        }
    }
    std::ranges::sort(found.entries, {}, [](FoundEntry const & each) { return each.entry.sequence; });
    std::ranges::sort(found.unfinished);
    return found;
}

std::uint32_t readBackup(StoredBytes & file, std::uint64_t offset, std::span<std::byte> buffer) {
    return file.read(headerSize + offset, buffer);
}

BackupCheck checkBackup(StoredBytes & file, Entry const & entry) {
    constexpr std::size_t pieceSize = std::size_t{1} << 20U;
    std::vector<std::byte> piece(pieceSize);
    std::uint32_t sum = 0;
    for (std::uint64_t done = 0; done < entry.bytes(); done += pieceSize) {
        auto const size = static_cast<std::size_t>(std::min<std::uint64_t>(pieceSize, entry.bytes() - done));
        std::span const part = std::span(piece).first(size);
        if (std::uint32_t const error = readBackup(file, done, part); error != kernel::ERROR_SUCCESS) {
            return {false, error};
        }
        sum = crc32c(part, sum);
    }
    return {sum == entry.checksum, kernel::ERROR_SUCCESS};
}

std::uint32_t Journal::tryOut() {
    constexpr std::uint32_t sectorSize = 4096;
    std::vector<std::byte> const page(sectorSize, std::byte{0xA5});
    Kept tried = keepAs(trial, {.serialNumber = {}, .model = {}, .size = sectorSize, .sectorSize = sectorSize},
                        {.firstSector = 0, .sectorCount = 1}, page);
    if (!tried.entry) {
        return tried.error;
    }
    tried.entry->file.reset();
    BackupCheck check;
    {
        Result<StoredBytes> const opened = storage_.open(tried.entry->name);
        check = opened.file ? checkBackup(*opened.file, tried.entry->entry) : BackupCheck{false, opened.error};
    }
    std::uint32_t const error = close(tried.entry->name).error;
    if (check.error != kernel::ERROR_SUCCESS) {
        return check.error;
    }
    return check.intact ? error : kernel::ERROR_CRC;
}

} // namespace journal
