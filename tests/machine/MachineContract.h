// What every machine keeps, described or live. A machine joins by instantiating the suite with a maker of it; its PC
// needs a host controller that can be opened.
#pragma once

#include "machine/Machine.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

struct ContractSubject {
    std::string name; // letters and digits
    std::function<std::unique_ptr<machine::Machine>()> make;

    friend std::ostream & operator<<(std::ostream & out, ContractSubject const & subject) {
        return out << subject.name;
    }
};

ContractSubject describedSubject(std::string name, std::string file); // a PC of the folder machines

class MachineContract : public testing::TestWithParam<ContractSubject> {
protected:
    MachineContract() : pc(GetParam().make()) {}

    machine::Opened open(std::u16string_view path, std::uint32_t access, std::uint32_t share, std::uint32_t flags = 0);
    std::u16string aController() const; // path of the first healthy host controller

    std::unique_ptr<machine::Machine> pc;
};

// The same of its disks, for a PC with a disk that can be read.
class MachineDiskContract : public MachineContract {
protected:
    void SetUp() override; // skips a PC without one
    std::unique_ptr<machine::File> openDisk(std::uint32_t access, std::uint32_t flags = 0);

    // The first disk that can be read.
    std::u16string path;
    std::uint32_t number = 0;
    std::uint32_t sectorSize = 0;
    std::uint64_t size = 0; // bytes
};
