// What a disk and the storage of a journal hold, and what of it a sudden end leaves. What was not flushed or synced can
// be kept, lost, torn or reordered: the disk by sectors, journal files by bytes, names by their changes.
#pragma once

#include "Record.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace killsweep {

using Random = std::mt19937_64;

struct State {
    Bytes disk;
    std::map<std::string, Bytes> files;
};

class Remains {
public:
    // The steps that are applied must outlive it.
    Remains(State const & safe, std::size_t sectorSize);

    void apply(Step const & step);

    bool isAllSafe() const; // a loss of power would change nothing
    State withAllKept() const;
    State withAllLost() const;
    State withSome(Random & random) const; // of what is not safe

private:
    struct File {
        Bytes safe;
        std::vector<Step const *> unsafe;
    };
    using Names = std::map<std::string, std::size_t>; // of files, by index

    struct NameChange {
        Step const * step;
        std::size_t file;
    };

    Bytes someOfDisk(Random & random) const;
    Bytes someOfFile(File const & file, Random & random) const;
    Names someNames(Random & random) const;
    static Bytes whole(File const & file);
    static void change(Names & names, NameChange const & change);

    std::size_t sectorSize_;
    Bytes disk_; // as it was flushed
    std::vector<Step const *> unflushed_;
    std::vector<File> files_;
    Names names_; // as they were synced
    std::vector<NameChange> unsynced_;
    std::map<std::string, std::size_t> created_; // files by the name that they were created with
    Names current_;
};

} // namespace killsweep
