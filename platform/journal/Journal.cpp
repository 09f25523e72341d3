#include "Journal.h"

#include "Crc32c.h"
#include "kernel/Files.h"
#include "machine/SteadyClock.h"

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
constexpr std::uint64_t highestSequence = 999'999'999'999'999'999; // of so many digits

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

constexpr std::array endings{kept, unfinished, givenUp, trial};

// The numbers of all files but one.
struct Numbers {
    std::vector<std::uint64_t> taken;
    std::uint32_t error = 0;
};
Numbers numbersBut(Storage & storage, std::string const & own) {
    Storage::Names const listed = storage.list();
    Numbers numbers{.taken = {}, .error = listed.error};
    for (std::string const & name : listed.names) {
        for (std::string_view const ending : endings) {
            if (auto const sequence = sequenceOf(name, ending); sequence && name != own) {
                numbers.taken.push_back(*sequence);
            }
        }
    }
    return numbers;
}

struct Look {
    FoundEntry found;
    std::unique_ptr<StoredBytes> file; // null when it cannot be read
};

// Empty when the file has gone since it was listed: its process has closed the entry.
std::optional<Look> look(Storage & storage, std::string const & name, std::uint64_t sequence) {
    Look seen;
    FoundEntry & found = seen.found;
    found.name = name;
    found.entry.sequence = sequence;
    Result<StoredBytes> opened = storage.open(name);
    if (!opened.file) {
        if (opened.error == kernel::ERROR_FILE_NOT_FOUND) {
            return std::nullopt;
        }
        if (opened.error == kernel::ERROR_SHARING_VIOLATION) {
            found.state = FoundEntry::State::InUse;
        } else {
            found.error = opened.error;
        }
        return seen;
    }
    Header header{};
    std::span const start = std::span(header).first(std::min<std::uint64_t>(headerSize, opened.file->size()));
    found.error = opened.file->read(0, start);
    if (found.error != kernel::ERROR_SUCCESS) {
        return seen;
    }
    found.size = opened.file->size();
    found.headerSum = crc32c(start);
    auto entry = decode(start);
    if (entry && found.size - headerSize == entry->bytes()) {
        found.entry = std::move(*entry);
        found.state = FoundEntry::State::Owed;
    }
    seen.file = std::move(opened.file);
    return seen;
}

bool isAbandoned(Storage & storage, std::string const & name) {
    std::uint32_t const error = storage.open(name).error;
    return error != kernel::ERROR_SHARING_VIOLATION && error != kernel::ERROR_FILE_NOT_FOUND;
}

// Whoever has listed a file and comes back to its name later does so while the system still runs, whose time never
// comes back; so no other file of that name and number has the same. Real time, also where that of the PC is a
// described one.
std::uint64_t newId() {
    return static_cast<std::uint64_t>(machine::SteadyClock().now().count());
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

// Numbers go up as long as there are files, so that the order of two entries about one range is known. Another process
// may take one at the same time, and have renamed its file by the time that this one's is created under the first name.
Result<StoredFile> Journal::createNext(std::uint64_t & sequence) {
    Result<StoredFile> created;
    std::string name; // of what was created
    auto const giveBack = [&](std::uint32_t error) -> Result<StoredFile> {
        if (created.file) {
            storage_.remove(name);
            created.file.reset();
        }
        return {nullptr, error};
    };
    constexpr int attempts = 100;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        Numbers const others = numbersBut(storage_, created.file ? name : std::string());
        if (others.error != kernel::ERROR_SUCCESS) {
            return giveBack(others.error);
        }
        if (created.file && std::ranges::count(others.taken, sequence) == 0) {
            return created;
        }
        giveBack(fileExists);
        for (std::uint64_t const taken : others.taken) {
            lastSequence_ = std::max(lastSequence_, taken);
        }
        if (lastSequence_ >= highestSequence) {
            return {nullptr, noNumberLeft};
        }
        sequence = ++lastSequence_;
        name = nameOf(sequence, unfinished);
        created = storage_.create(name);
        if (!created.file && created.error != fileExists) {
            return created;
        }
    }
    return giveBack(fileExists);
}

Journal::Kept Journal::keep(DiskIdentity const & disk, Range const & range, Bytes backup) {
    return keepAs(kept, disk, range, backup);
}

Journal::Kept Journal::keepAs(std::string_view ending, DiskIdentity const & disk, Range const & range, Bytes backup) {
    Entry entry{.id = newId(), .disk = disk, .range = range, .checksum = crc32c(backup)};
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
        storage_.remove(unsafe);
        return {std::nullopt, error};
    }
    error = storage_.syncNames();
    if (error != kernel::ERROR_SUCCESS) {
        std::string const name = open.name;
        return {std::nullopt, error, name, close(std::move(open))}; // nothing is overwritten yet: nobody wants it back
    }
    return {std::move(open), kernel::ERROR_SUCCESS};
}

Journal::Closed Journal::close(OpenEntry entry) {
    return giveUp(entry.name, std::move(entry.file));
}

Journal::Closed Journal::close(std::string const & name) {
    return giveUp(name, nullptr);
}

// The name is changed only when the removal has failed: that is the rare case, and a removal that a loss of power
// undoes brings back no more than a change of the name would.
Journal::Closed Journal::giveUp(std::string const & name, std::unique_ptr<StoredFile> open) {
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
    open.reset(); // a file that is open may go only now, and that is to last
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
            if (auto seen = look(storage, name, *sequence)) {
                found.entries.push_back(std::move(seen->found));
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

Refound findAgain(Storage & storage, FoundEntry const & found) {
    using State = Refound::State;
    auto seen = look(storage, found.name, sequenceOf(found.name, kept).value_or(0));
    if (!seen) {
        return {State::Gone, nullptr, kernel::ERROR_FILE_NOT_FOUND};
    }
    if (seen->found.state == FoundEntry::State::InUse) {
        return {State::InUse, nullptr, kernel::ERROR_SHARING_VIOLATION};
    }
    std::uint32_t const error = seen->found.error;
    if (error != kernel::ERROR_SUCCESS && found.error == kernel::ERROR_SUCCESS) {
        return {State::Unreadable, nullptr, error};
    }
    bool const isSame = error != kernel::ERROR_SUCCESS || seen->found == found;
    return {isSame ? State::Same : State::Replaced, isSame ? std::move(seen->file) : nullptr, error};
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
    if (std::uint32_t const error = storage_.make(); error != kernel::ERROR_SUCCESS) {
        return error;
    }
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
