// A file opened for overlapped I/O, and a record with an event for its transfers.
#pragma once

#include "ScriptedMachine.h"
#include "ScriptedTransfer.h"
#include "kernel.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>

class TransferFixture : public testing::Test {
protected:
    ~TransferFixture() override {
        kernel::CloseHandle(event_);
        kernel::CloseHandle(file_);
    }

    static kernel::HANDLE openOverlapped() {
        return kernel::CreateFileW(u"\\\\.\\PhysicalDrive1", kernel::GENERIC_READ | kernel::GENERIC_WRITE, 0, nullptr,
                                   kernel::OPEN_EXISTING, kernel::FILE_FLAG_OVERLAPPED, nullptr);
    }

    static kernel::OVERLAPPED recordWith(kernel::HANDLE event) {
        kernel::OVERLAPPED record{};
        record.hEvent = event;
        return record;
    }

    static bool isSet(kernel::HANDLE event) { return kernel::WaitForSingleObject(event, 0) == kernel::WAIT_OBJECT_0; }

    // From now on transfers go on as the script says.
    void transfersGoOn(support::TransferScript const & script) {
        pc_.transfer = [this, script](bool, std::uint64_t, std::size_t) {
            return support::goesOn(pc_.clock(), script);
        };
    }
    void transfersFail(std::uint32_t error) {
        pc_.transfer = [error](bool, std::uint64_t, std::size_t) { return machine::Started{{error, 0}, nullptr}; };
    }

    bool read(kernel::OVERLAPPED & record) {
        return kernel::ReadFile(file_, buffer_.data(), static_cast<std::uint32_t>(buffer_.size()), nullptr, &record);
    }

    support::ScriptedMachine pc_;
    machine::InUse inUse_{pc_};
    kernel::HANDLE file_ = openOverlapped();
    kernel::HANDLE event_ = kernel::CreateEventW(nullptr, true, false, nullptr);
    kernel::OVERLAPPED record_ = recordWith(event_);
    std::array<std::byte, 512> buffer_{};
};
