// Tests of the bus of a described PC. Fields of connection records are compared as values, with a plus sign in front:
// the records are packed, and a reference to a field may be misaligned.
#pragma once

#include "kernel/Runtime.h"
#include "machine/Machine.h"
#include "support/Describe.h"
#include "usbtopo.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

namespace support {

class BusFixture : public testing::Test {
protected:
    ~BusFixture() override {
        EXPECT_EQ(kernel::openHandleCount(), 0U);
        kernel::beginRun();
    }

    // The PC with these controllers, in use from now on.
    void describe(std::string const & controllers) {
        inUse_.reset();
        pc_ = describedPc(R"({"name": "test", "controllers": [)" + controllers + "]}");
        inUse_.emplace(*pc_);
        kernel::beginRun();
    }

    // The PC with one controller, whose root hub has these ports, and further members such as faults, which begin with
    // a comma.
    void describePorts(std::string const & ports, std::string const & furtherMembers = "") {
        describe(R"({"name": "xHCI", "instanceId": "PCI\\A", "rootHub": {"symbolicName": "ROOT", "portCount": 8,)"
                 R"("ports": [)" +
                 ports + "]" + furtherMembers + "}}");
    }

    usbtopo::CUsbSystem const & read() {
        system_ = usbtopo::CUsbSystem();
        EXPECT_TRUE(system_.EnumerateHostControllers());
        return system_;
    }

    usbtopo::CUsbHub const & rootHub() { return read().controllers()[0]->rootHub(); }

    // Port of the first controller's root hub, counted from 1.
    usbtopo::CUsbPort const & port(std::size_t number) { return *rootHub().ports()[number - 1]; }

    machine::Machine & pc() { return *pc_; }

private:
    std::unique_ptr<machine::Machine> pc_;
    std::optional<machine::InUse> inUse_;
    usbtopo::CUsbSystem system_;
};

} // namespace support
