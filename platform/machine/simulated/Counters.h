// Numbers that Windows hands out and a description may leave to us.
#pragma once

#include "Description.h"

#include <cstdint>
#include <string>
#include <unordered_set>

namespace machine::simulated {

// Counts driver keys and disk numbers, leaving out those that the description gives away itself.
class Counters {
public:
    explicit Counters(Description const & description);

    std::u16string nextUsbKey();
    std::u16string nextDiskKey();
    std::uint32_t nextDiskNumber(); // from 1: the system's own disk, which is not on USB, is 0

private:
    void collect(NodeFacts const & facts);
    void collect(Hub const & hub);
    void collect(std::vector<Node> const & nodes);
    std::u16string nextKey(std::u16string_view setupClass, std::uint32_t & counter);

    std::unordered_set<std::u16string> keysTaken_;
    std::unordered_set<std::uint32_t> disksTaken_;
    std::uint32_t usbKeys_ = 0;
    std::uint32_t diskKeys_ = 0;
    std::uint32_t disks_ = 0;
};

} // namespace machine::simulated
