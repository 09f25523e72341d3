// Files, transfers and events together, on the disk of a described PC.
#include "TransferFixture.h"
#include "support/Describe.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <span>

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t sector = 512;
constexpr std::uint32_t wholeBuffer = 128 * sector;

class DescribedDiskTest : public testing::Test {
protected:
    ~DescribedDiskTest() override {
        kernel::CloseHandle(event_);
        kernel::CloseHandle(disk_);
    }

    void open(std::uint32_t flags) {
        disk_ = kernel::CreateFileW(u"\\\\.\\PhysicalDrive1", kernel::GENERIC_READ | kernel::GENERIC_WRITE, 0, nullptr,
                                    kernel::OPEN_EXISTING, flags, nullptr);
        ASSERT_NE(disk_, kernel::INVALID_HANDLE_VALUE);
    }
    kernel::OVERLAPPED recordAt(std::uint64_t offset) const {
        kernel::OVERLAPPED record{};
        record.Offset = static_cast<std::uint32_t>(offset);
        record.OffsetHigh = static_cast<std::uint32_t>(offset >> 32U);
        record.hEvent = event_;
        return record;
    }
    machine::Duration now() const { return pc_->clock().now(); }

    // 64 KiB take 2 ms to read.
    std::unique_ptr<machine::Machine> pc_ = support::describedPc(
        R"({"name": "PC", "controllers": [{"instanceId": "PCI\\X", "rootHub": {"portCount": 1, "ports": [{"port": 1,
            "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\A", "disk": {"instanceId": "USBSTOR\\D",
            "readRate": 31.25, "writeRate": 15.625, "seed": 1, "faults": [
                {"call": "read", "firstSector": 1000, "lastSector": 1000, "error": 23},
                {"call": "read", "firstSector": 2000, "lastSector": 2000, "hangs": true}]}}}]}}]})");
    machine::InUse inUse_{*pc_};
    kernel::HANDLE disk_ = kernel::INVALID_HANDLE_VALUE;
    kernel::HANDLE event_ = kernel::CreateEventW(nullptr, true, false, nullptr);
    std::array<std::uint8_t, wholeBuffer> buffer_{};
};

TEST_F(DescribedDiskTest, BytesComeBackThroughAnOrdinaryHandle) {
    open(0);
    std::uint64_t const beyond = 0x123456000; // 4 GiB and more
    std::uint8_t value = 0;
    std::ranges::generate(buffer_, [&value] { return value = static_cast<std::uint8_t>(value * 5 + 3); });
    auto const written = buffer_;

    auto record = recordAt(beyond);
    std::uint32_t moved = 0;
    EXPECT_TRUE(kernel::WriteFile(disk_, buffer_.data(), wholeBuffer, &moved, &record));
    EXPECT_EQ(moved, wholeBuffer);
    buffer_.fill(0);
    record = recordAt(beyond);
    EXPECT_TRUE(kernel::ReadFile(disk_, buffer_.data(), wholeBuffer, &moved, &record));
    EXPECT_EQ(moved, wholeBuffer);
    EXPECT_EQ(buffer_, written);
    record = recordAt(beyond - 0x100000000); // the same low half
    EXPECT_TRUE(kernel::ReadFile(disk_, buffer_.data(), wholeBuffer, nullptr, &record));
    EXPECT_NE(buffer_, written);
}

TEST_F(DescribedDiskTest, AnOverlappedReadEndsInItsTime) {
    open(kernel::FILE_FLAG_OVERLAPPED);
    auto record = recordAt(0);
    machine::Duration const start = now();
    EXPECT_FALSE(kernel::ReadFile(disk_, buffer_.data(), wholeBuffer, nullptr, &record));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_IO_PENDING);
    EXPECT_EQ(now(), start);
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 1), kernel::WAIT_TIMEOUT);
    EXPECT_TRUE(std::ranges::all_of(buffer_, [](std::uint8_t byte) { return byte == 0; }));
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 100), kernel::WAIT_OBJECT_0);
    EXPECT_EQ(now() - start, 2ms);
    std::uint32_t moved = 0;
    EXPECT_TRUE(kernel::GetOverlappedResult(disk_, &record, &moved, false));
    EXPECT_EQ(moved, wholeBuffer);
    EXPECT_FALSE(std::ranges::all_of(buffer_, [](std::uint8_t byte) { return byte == 0; }));
}

TEST_F(DescribedDiskTest, AFaultyReadEndsByItsEventOnAnOverlappedHandle) {
    open(kernel::FILE_FLAG_OVERLAPPED);
    auto record = recordAt(1000 * sector);
    EXPECT_FALSE(kernel::ReadFile(disk_, buffer_.data(), sector, nullptr, &record));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_IO_PENDING);
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 100), kernel::WAIT_OBJECT_0);
    EXPECT_FALSE(kernel::GetOverlappedResult(disk_, &record, nullptr, false));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_CRC);
}

TEST_F(DescribedDiskTest, AFaultyReadFailsAtOnceOnAnOrdinaryHandle) {
    open(0);
    auto record = recordAt(1000 * sector);
    EXPECT_FALSE(kernel::ReadFile(disk_, buffer_.data(), sector, nullptr, &record));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_CRC);
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 0), kernel::WAIT_TIMEOUT);
}

TEST_F(DescribedDiskTest, AReadThatNeverEndsIsCancelled) {
    open(kernel::FILE_FLAG_OVERLAPPED);
    auto record = recordAt(2000 * sector);
    machine::Duration const start = now();
    EXPECT_FALSE(kernel::ReadFile(disk_, buffer_.data(), sector, nullptr, &record));
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 30'000), kernel::WAIT_TIMEOUT);
    EXPECT_EQ(now() - start, 30s);
    EXPECT_TRUE(kernel::CancelIoEx(disk_, &record));
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 1'000), kernel::WAIT_OBJECT_0);
    EXPECT_FALSE(kernel::GetOverlappedResult(disk_, &record, nullptr, true));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_OPERATION_ABORTED);
}

TEST_F(DescribedDiskTest, ShareModesHoldBetweenHandles) {
    open(0);
    EXPECT_EQ(kernel::CreateFileW(u"\\\\.\\physicaldrive1", kernel::GENERIC_READ, 3, nullptr, kernel::OPEN_EXISTING, 0,
                                  nullptr),
              kernel::INVALID_HANDLE_VALUE);
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_SHARING_VIOLATION);
}

} // namespace
