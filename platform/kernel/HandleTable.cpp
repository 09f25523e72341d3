#include "HandleTable.h"

#include <limits>
#include <utility>

namespace kernel {

namespace {

// From the lowest bit: two that are always 0, as in the system's own handles, the place, the generation. The generation
// starts at 1, so that no handle is null; the two zeros keep every handle apart from INVALID_HANDLE_VALUE.
constexpr unsigned placeShift = 2;
constexpr unsigned placeBits = 16;
constexpr unsigned generationShift = placeShift + placeBits;
constexpr std::uintptr_t placeMask = (std::uintptr_t{1} << placeBits) - 1;
constexpr std::uintptr_t lastGeneration = std::numeric_limits<std::uintptr_t>::max() >> generationShift;

HANDLE handleOf(std::size_t place, std::uintptr_t generation) {
    return reinterpret_cast<HANDLE>((generation << generationShift) | (std::uintptr_t{place} << placeShift));
}

} // namespace

HandleTable & HandleTable::instance() {
    static HandleTable table;
    return table;
}

HANDLE HandleTable::add(std::shared_ptr<KernelObject> object) {
    std::lock_guard const guard(lock_);
    if (free_.empty()) {
        if (places_.size() > placeMask) {
            return INVALID_HANDLE_VALUE;
        }
        free_.push_back(places_.size());
        places_.emplace_back();
    }
    std::size_t const place = free_.back();
    free_.pop_back();
    places_[place].object = std::move(object);
    ++open_;
    return handleOf(place, places_[place].generation);
}

std::shared_ptr<KernelObject> HandleTable::find(HANDLE handle) const {
    std::lock_guard const guard(lock_);
    std::size_t const place = placeOf(handle);
    return place == places_.size() ? nullptr : places_[place].object;
}

std::shared_ptr<OpenFile> HandleTable::findFile(HANDLE handle) const {
    return std::dynamic_pointer_cast<OpenFile>(find(handle));
}

std::shared_ptr<Event> HandleTable::findEvent(HANDLE handle) const {
    return std::dynamic_pointer_cast<Event>(find(handle));
}

std::shared_ptr<KernelObject> HandleTable::remove(HANDLE handle) {
    std::lock_guard const guard(lock_);
    std::size_t const place = placeOf(handle);
    if (place == places_.size()) {
        return nullptr;
    }
    Place & left = places_[place];
    std::shared_ptr<KernelObject> object = std::exchange(left.object, nullptr);
    --open_;
    // A place whose generations are used up is given up rather than let an old handle come to life again.
    if (left.generation < lastGeneration) {
        ++left.generation;
        free_.push_back(place);
    }
    return object;
}

std::size_t HandleTable::size() const {
    std::lock_guard const guard(lock_);
    return open_;
}

std::size_t HandleTable::placeOf(HANDLE handle) const {
    auto const value = reinterpret_cast<std::uintptr_t>(handle);
    std::size_t const place = (value >> placeShift) & placeMask;
    bool const isOpen =
        place < places_.size() && places_[place].object && handleOf(place, places_[place].generation) == handle;
    return isOpen ? place : places_.size();
}

} // namespace kernel
