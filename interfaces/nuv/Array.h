#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace nuv {

// Ends the process with the message "index < size()": an index outside an array is a programming error, never a
// device's fault.
[[noreturn]] void arrayIndexAssertion();

// A growable array. The first element makes room for 8; when it is full the room doubles until the elements fit.
template <class T> class Array {
public:
    Array() = default;

    std::size_t size() const { return elements_.size(); }
    bool empty() const { return elements_.empty(); }
    std::size_t capacity() const { return elements_.capacity(); }

    void reserve(std::size_t count) { elements_.reserve(count); }

    void append(T element) {
        if (elements_.size() == elements_.capacity()) {
            elements_.reserve(elements_.capacity() == 0 ? firstRoom : elements_.capacity() * 2);
        }
        elements_.push_back(std::move(element));
    }

    T & operator[](std::size_t index) { return elements_[checked(index)]; }
    T const & operator[](std::size_t index) const { return elements_[checked(index)]; }

    auto begin() { return elements_.begin(); }
    auto end() { return elements_.end(); }
    auto begin() const { return elements_.begin(); }
    auto end() const { return elements_.end(); }

private:
    static constexpr std::size_t firstRoom = 8;

    std::size_t checked(std::size_t index) const {
        if (!(index < size())) {
            arrayIndexAssertion();
        }
        return index;
    }

    std::vector<T> elements_;
};

} // namespace nuv
