#include "Remains.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace killsweep {

namespace {

std::size_t below(Random & random, std::size_t limit) {
    return limit == 0 ? 0 : static_cast<std::size_t>(random() % limit);
}

bool chance(Random & random) {
    return (random() & 1U) != 0;
}

void put(Bytes & disk, Step const & write, std::size_t first, std::size_t count) {
    auto const from = std::span(write.bytes).subspan(first, count);
    std::memcpy(std::span(disk).subspan(write.offset + first, count).data(), from.data(), count);
}

void put(Bytes & disk, Step const & write) {
    put(disk, write, 0, write.bytes.size());
}

} // namespace

Remains::Remains(State const & safe, std::size_t sectorSize) : sectorSize_(sectorSize), disk_(safe.disk) {
    for (auto const & [name, bytes] : safe.files) {
        names_[name] = files_.size();
        files_.push_back({bytes, {}});
    }
    current_ = names_;
}

void Remains::apply(Step const & step) {
    switch (step.kind) {
    case Step::Kind::Call:
        return;
    case Step::Kind::DiskWrite:
        unflushed_.push_back(&step);
        return;
    case Step::Kind::DiskFlush:
        for (Step const * write : unflushed_) {
            put(disk_, *write);
        }
        unflushed_.clear();
        return;
    case Step::Kind::FileCreate:
        created_[step.file] = files_.size();
        unsynced_.push_back({&step, files_.size()});
        change(current_, unsynced_.back());
        files_.emplace_back();
        return;
    case Step::Kind::FileWrite:
        files_[created_.at(step.file)].unsafe.push_back(&step);
        return;
    case Step::Kind::FileSync: {
        File & file = files_[created_.at(step.file)];
        file.safe = whole(file);
        file.unsafe.clear();
        return;
    }
    case Step::Kind::FileRename:
    case Step::Kind::FileRemove:
        unsynced_.push_back({&step, current_.at(step.file)});
        change(current_, unsynced_.back());
        return;
    case Step::Kind::NamesSync:
        names_ = current_;
        unsynced_.clear();
        return;
    }
}

void Remains::change(Names & names, NameChange const & change) {
    if (change.step->kind == Step::Kind::FileCreate) {
        names[change.step->file] = change.file;
        return;
    }
    names.erase(change.step->file);
    if (change.step->kind == Step::Kind::FileRename) {
        names[change.step->newName] = change.file;
    }
}

bool Remains::isAllSafe() const {
    return unflushed_.empty() && unsynced_.empty() &&
           std::ranges::all_of(names_, [this](auto const & name) { return files_[name.second].unsafe.empty(); });
}

State Remains::withAllKept() const {
    State state{disk_, {}};
    for (Step const * write : unflushed_) {
        put(state.disk, *write);
    }
    for (auto const & [name, file] : current_) {
        state.files[name] = whole(files_[file]);
    }
    return state;
}

State Remains::withAllLost() const {
    State state{disk_, {}};
    for (auto const & [name, file] : names_) {
        state.files[name] = files_[file].safe;
    }
    return state;
}

State Remains::withSome(Random & random) const {
    State state{someOfDisk(random), {}};
    for (auto const & [name, file] : someNames(random)) {
        state.files[name] = someOfFile(files_[file], random);
    }
    return state;
}

Bytes Remains::someOfDisk(Random & random) const {
    Bytes disk = disk_;
    if (unflushed_.empty()) {
        return disk;
    }
    if (chance(random)) {
        // In order, up to any sector.
        std::size_t const last = below(random, unflushed_.size());
        for (std::size_t i = 0; i < last; ++i) {
            put(disk, *unflushed_[i]);
        }
        Step const & torn = *unflushed_[last];
        put(disk, torn, 0, below(random, torn.bytes.size() / sectorSize_ + 1) * sectorSize_);
        return disk;
    }
    // Of each write some sectors, whatever became of the writes before it.
    for (Step const * write : unflushed_) {
        std::size_t const sectors = write->bytes.size() / sectorSize_;
        for (std::size_t sector = 0; sector < sectors;) {
            std::size_t const run = std::min(sectors - sector, 1 + below(random, 1 + sectors / 8));
            if (chance(random)) {
                put(disk, *write, sector * sectorSize_, run * sectorSize_);
            }
            sector += run;
        }
    }
    return disk;
}

Bytes Remains::someOfFile(File const & file, Random & random) const {
    Bytes bytes = whole(file);
    std::size_t const safe = file.safe.size();
    switch (below(random, 4)) {
    case 0:
        return bytes;
    case 1:
        return file.safe;
    case 2: // cut off anywhere
        bytes.resize(safe + below(random, bytes.size() - safe + 1));
        return bytes;
    default: // as long as it was, but with holes
        for (std::size_t holes = 1 + below(random, 3); holes > 0; --holes) {
            std::size_t const first = safe + below(random, bytes.size() - safe);
            std::size_t const count = below(random, bytes.size() - first + 1);
            std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(first), count, std::byte{0});
        }
        return bytes;
    }
}

Remains::Names Remains::someNames(Random & random) const {
    Names names = names_;
    if (chance(random)) {
        std::size_t const kept = below(random, unsynced_.size() + 1);
        for (std::size_t i = 0; i < kept; ++i) {
            change(names, unsynced_[i]);
        }
        return names;
    }
    // The changes of one file keep their order, but not those of different ones.
    std::vector<std::size_t> left(files_.size());
    std::ranges::generate(left, [&] { return below(random, unsynced_.size() + 1); });
    for (NameChange const & each : unsynced_) {
        if (left[each.file] != 0) {
            --left[each.file];
            change(names, each);
        }
    }
    return names;
}

Bytes Remains::whole(File const & file) {
    Bytes bytes = file.safe;
    for (Step const * write : file.unsafe) {
        bytes.insert(bytes.end(), write->bytes.begin(), write->bytes.end());
    }
    return bytes;
}

} // namespace killsweep
