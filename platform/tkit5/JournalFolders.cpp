#include "JournalFolders.h"

#include "journal/Crc32c.h"
#include "kernel/Files.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <set>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>

namespace tkit5 {

namespace {

namespace fs = std::filesystem;

// folder-1A2B3C4D-1.new while it is written, then folder-1A2B3C4D-1.txt: the CRC-32C of its bytes and a number.
constexpr std::string_view prefix = "folder-";
constexpr std::string_view complete = ".txt";
constexpr std::string_view unfinished = ".new";
constexpr std::size_t checksumDigits = 8;
constexpr std::size_t mostDigits = 9;
constexpr std::uint64_t longestNote = 1U << 16U; // no system has longer paths

struct NoteName {
    std::uint32_t checksum = 0;
    std::uint32_t number = 0;
};

std::string textOf(NoteName const & name, std::string_view ending) {
    return fmt::format("{}{:08X}-{}{}", prefix, name.checksum, name.number, ending);
}

// Empty for a file that is no note.
std::optional<NoteName> parsed(std::string_view text, std::string_view ending) {
    std::size_t const shortest = prefix.size() + checksumDigits + 2 + ending.size();
    if (text.size() < shortest || text.size() > shortest - 1 + mostDigits || !text.starts_with(prefix) ||
        !text.ends_with(ending)) {
        return std::nullopt;
    }
    NoteName name;
    char const * const checksum = text.data() + prefix.size();
    char const * const number = checksum + checksumDigits + 1;
    char const * const end = text.data() + text.size() - ending.size();
    bool const isNote = std::from_chars(checksum, checksum + checksumDigits, name.checksum, 16).ec == std::errc() &&
                        std::from_chars(number, end, name.number).ec == std::errc();
    return isNote && textOf(name, ending) == text ? std::optional(name) : std::nullopt;
}

std::string utf8(fs::path const & path) {
    std::u8string const text = path.u8string();
    return {text.begin(), text.end()};
}

fs::path pathFrom(std::string const & utf8) {
    return {std::u8string(utf8.begin(), utf8.end())};
}

// Where names are UTF-16, not every text is one.
bool isPath(std::string const & utf8) {
    try {
        return !pathFrom(utf8).empty();
    } catch (std::system_error const &) {
        return false;
    }
}

std::uint32_t checksumOf(std::string const & contents) {
    return journal::crc32c(std::as_bytes(std::span(contents)));
}

// The error 32 for a note of a run that goes on, 2 for one that has gone since it was listed.
struct Contents {
    std::string text;
    std::uint32_t error = 0;
};
Contents contentsOf(journal::Storage & usual, std::string const & name) {
    auto const opened = usual.open(name);
    if (!opened.file) {
        return {{}, opened.error};
    }
    Contents contents;
    contents.text.resize(static_cast<std::size_t>(std::min(opened.file->size(), longestNote)));
    contents.error = opened.file->read(0, std::as_writable_bytes(std::span(contents.text)));
    return contents;
}

std::uint32_t writeAll(journal::StoredFile & file, std::string const & contents) {
    std::uint32_t const error = file.write(std::as_bytes(std::span(contents)));
    return error != kernel::ERROR_SUCCESS ? error : file.sync();
}

// A number that no note with these bytes has.
struct Created {
    journal::Result<journal::StoredFile> file;
    NoteName name;
};
Created createNext(journal::Storage & usual, std::uint32_t checksum) {
    Created created{.file = {}, .name = {.checksum = checksum, .number = 0}};
    if (created.file.error = usual.make(); created.file.error != kernel::ERROR_SUCCESS) {
        return created;
    }
    auto const listed = usual.list();
    if (listed.error != kernel::ERROR_SUCCESS) {
        created.file.error = listed.error;
        return created;
    }
    std::set<std::uint32_t> taken;
    for (std::string const & name : listed.names) {
        for (std::string_view const ending : {complete, unfinished}) {
            if (auto const other = parsed(name, ending); other && other->checksum == checksum) {
                taken.insert(other->number);
            }
        }
    }
    constexpr int attempts = 100; // other processes may take a number at the same time
    for (int attempt = 0; attempt < attempts; ++attempt) {
        do { // the lowest, so that it never gets too long for a name
            ++created.name.number;
        } while (taken.contains(created.name.number));
        created.file = usual.create(textOf(created.name, unfinished));
        if (created.file.error != journal::fileExists) {
            break;
        }
    }
    return created;
}

} // namespace

std::string absoluteFolder(std::string const & folder) {
    std::error_code failure;
    fs::path const absolute = fs::absolute(pathFrom(folder), failure);
    fs::path const direct = fs::weakly_canonical(absolute, failure);
    fs::path const found = failure ? absolute : direct;
    return utf8(found.has_filename() || !found.has_relative_path() ? found : found.parent_path());
}

bool isSameFolder(std::string const & a, std::string const & b) {
    std::error_code failure;
    return absoluteFolder(a) == absoluteFolder(b) || fs::equivalent(pathFrom(a), pathFrom(b), failure);
}

std::optional<std::string> folderOfNote(std::string const & name, std::string const & contents) {
    auto const note = parsed(name, complete);
    if (!note || checksumOf(contents) != note->checksum || !contents.ends_with('\n')) {
        return std::nullopt;
    }
    std::string folder = contents.substr(0, contents.size() - 1);
    return isPath(folder) ? std::optional(std::move(folder)) : std::nullopt;
}

Noted noteFolder(journal::Storage & usual, std::string const & folder) {
    std::string const contents = absoluteFolder(folder) + "\n";
    Created created = createNext(usual, checksumOf(contents));
    if (!created.file.file) {
        return {std::nullopt, created.file.error};
    }
    std::string const unsafe = textOf(created.name, unfinished);
    OpenNote note{.name = textOf(created.name, complete), .file = std::move(created.file.file)};
    std::uint32_t error = writeAll(*note.file, contents);
    if (error == kernel::ERROR_SUCCESS) {
        error = usual.rename(unsafe, note.name);
    }
    if (error != kernel::ERROR_SUCCESS) {
        usual.remove(unsafe);
        return {std::nullopt, error};
    }
    error = usual.syncNames();
    if (error != kernel::ERROR_SUCCESS) {
        takeBack(usual, std::move(note));
        return {std::nullopt, error};
    }
    return {std::move(note), kernel::ERROR_SUCCESS};
}

std::uint32_t takeBack(journal::Storage & usual, OpenNote note) {
    std::uint32_t const error = usual.remove(note.name); // while nobody takes it for that of a run that was cut short
    note.file.reset();                                   // a file that is open may go only now
    return error != kernel::ERROR_SUCCESS ? error : usual.syncNames();
}

FolderNotes folderNotes(journal::Storage & usual) {
    FolderNotes found;
    auto listed = usual.list();
    found.error = listed.error == kernel::ERROR_PATH_NOT_FOUND ? kernel::ERROR_SUCCESS : listed.error; // not made yet
    std::ranges::sort(listed.names);
    for (std::string const & name : listed.names) {
        bool const isComplete = parsed(name, complete).has_value();
        if (!isComplete && !parsed(name, unfinished)) {
            continue;
        }
        Contents const contents = contentsOf(usual, name);
        if (contents.error == kernel::ERROR_SHARING_VIOLATION || contents.error == kernel::ERROR_FILE_NOT_FOUND) {
            continue;
        }
        if (!isComplete) {
            found.unfinished.push_back(name);
        } else if (contents.error != kernel::ERROR_SUCCESS) {
            found.unread = name;
            found.error = contents.error;
        } else if (auto folder = folderOfNote(name, contents.text)) {
            found.notes.push_back({name, std::move(*folder)});
        } else {
            found.damaged.push_back(name);
        }
    }
    return found;
}

void removeUnfinished(journal::Storage & usual, FolderNotes const & notes) {
    for (std::string const & name : notes.unfinished) {
        usual.removeAbandoned(name); // a run may have begun to write it meanwhile
    }
}

std::uint32_t forgetFolder(journal::Storage & usual, FolderNotes const & notes, std::string const & folder) {
    std::vector<std::string> names;
    for (FolderNotes::Note const & note : notes.notes) {
        if (isSameFolder(note.folder, folder)) {
            names.push_back(note.name);
        }
    }
    std::uint32_t error = notes.error;
    for (std::string const & name : names) {
        if (std::uint32_t const failed = usual.remove(name); failed != kernel::ERROR_FILE_NOT_FOUND && failed != 0) {
            error = failed;
        }
    }
    if (names.empty() || error != kernel::ERROR_SUCCESS) {
        return error;
    }
    return usual.syncNames();
}

} // namespace tkit5
