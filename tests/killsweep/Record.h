// What a program did to a disk and to the storage of its journal, call by call, with the bytes that it wrote.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace killsweep {

using Bytes = std::vector<std::byte>;

struct Step {
    enum class Kind {
        Call, // changes nothing that outlasts the process
        DiskWrite,
        DiskFlush,
        FileCreate,
        FileWrite, // at the end of the file
        FileSync,
        FileRename,
        FileRemove,
        NamesSync,
    };
    Kind kind = Kind::Call;
    std::string call = {};    // for people
    std::uint64_t offset = 0; // of a write to the disk
    std::string file = {};
    std::string newName = {}; // of a rename
    Bytes bytes = {};         // of a write
};

class Record {
public:
    void add(Step step) { steps_.push_back(std::move(step)); }
    void call(std::string text) { add({.kind = Step::Kind::Call, .call = std::move(text)}); }

    std::vector<Step> const & steps() const { return steps_; }

private:
    std::vector<Step> steps_;
};

inline Bytes copyOf(std::span<std::byte const> bytes) {
    return {bytes.begin(), bytes.end()};
}

} // namespace killsweep
