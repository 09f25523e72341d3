// What every machine keeps, described or live. A machine joins by instantiating the suite with a maker of it; its PC
// needs a host controller that can be opened.
#pragma once

#include "machine/Machine.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>

struct ContractSubject {
    std::string name; // letters and digits
    std::function<std::unique_ptr<machine::Machine>()> make;

    friend std::ostream & operator<<(std::ostream & out, ContractSubject const & subject) {
        return out << subject.name;
    }
};

class MachineContract : public testing::TestWithParam<ContractSubject> {
protected:
    MachineContract() : pc(GetParam().make()) {}

    machine::Opened open(std::u16string_view path, std::uint32_t access, std::uint32_t share);
    std::u16string aController() const; // path of the first healthy host controller

    std::unique_ptr<machine::Machine> pc;
};
