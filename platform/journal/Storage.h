// Where a journal keeps its files. Errors are Windows error codes, 0 for success.
#pragma once

#include "Entry.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace journal {

// A file that is being written, from its start to its end. As long as it is open nobody else can open it, which tells
// the files of a process that runs from those of one that is gone.
class StoredFile {
public:
    StoredFile() = default;
    StoredFile(StoredFile const &) = delete;
    StoredFile & operator=(StoredFile const &) = delete;
    virtual ~StoredFile() = default; // closes it

    virtual std::uint32_t write(Bytes bytes) = 0; // behind what was written before
    virtual std::uint32_t sync() = 0;             // returns once a loss of power leaves the bytes where they are
};

// A file that is read.
class StoredBytes {
public:
    StoredBytes() = default;
    StoredBytes(StoredBytes const &) = delete;
    StoredBytes & operator=(StoredBytes const &) = delete;
    virtual ~StoredBytes() = default;

    virtual std::uint64_t size() const = 0;
    virtual std::uint32_t read(std::uint64_t offset, std::span<std::byte> buffer) = 0; // all of the buffer
};

template <class Stored> struct Result {
    std::unique_ptr<Stored> file; // null when it failed
    std::uint32_t error = 0;
};

class Storage {
public:
    Storage() = default;
    Storage(Storage const &) = delete;
    Storage & operator=(Storage const &) = delete;
    virtual ~Storage() = default;

    virtual std::string place() const = 0; // for people, UTF-8
    virtual std::string pathOf(std::string const & name) const = 0;

    // Makes the place itself, where it is not there yet. Nothing else does: a place that goes away later is an error of
    // every call, and no other one is made in its stead.
    virtual std::uint32_t make() = 0;

    virtual Result<StoredFile> create(std::string const & name) = 0; // error 80 when there is one of that name
    virtual Result<StoredBytes> open(std::string const & name) = 0;  // error 32 while it is being written
    // At once or not at all; error 80 when there is one of that name.
    virtual std::uint32_t rename(std::string const & from, std::string const & to) = 0;
    virtual std::uint32_t remove(std::string const & name) = 0; // also while it is being written
    // Error 32 while anybody has it open, 2 when there is none. Nobody begins to write it between the look and the
    // removal.
    virtual std::uint32_t removeAbandoned(std::string const & name) = 0;
    virtual std::uint32_t syncNames() = 0; // returns once renames and removals outlast a loss of power

    struct Names {
        std::vector<std::string> names; // in no order
        std::uint32_t error = 0;
    };
    virtual Names list() = 0; // error 3 when there is no such place, 267 when it is no folder

    virtual std::optional<std::uint64_t> room() = 0; // bytes; empty when it cannot be told
};

inline constexpr std::uint32_t fileExists = 80;
inline constexpr std::uint32_t notAFolder = 267;

} // namespace journal
