#include "ScriptedMachine.h"
#include "kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <vector>

namespace {

using machine::Transfer;

constexpr std::uint32_t diskControl = kernel::IOCTL_DISK_GET_LENGTH_INFO;
constexpr std::uint32_t hubControl = kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX;

class DeviceIoControlTest : public testing::Test {
protected:
    ~DeviceIoControlTest() override { kernel::CloseHandle(handle_); }

    support::ScriptedMachine pc_;
    machine::InUse inUse_{pc_};
    kernel::HANDLE handle_ = kernel::CreateFileW(u"\\\\?\\device", 0, 0, nullptr, kernel::OPEN_EXISTING, 0, nullptr);
};

TEST_F(DeviceIoControlTest, InputAndOutputMayBeTheSameBuffer) {
    pc_.answer = [](std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output, auto) {
        EXPECT_EQ(code, hubControl);
        EXPECT_NE(static_cast<void const *>(input.data()), output.data());
        std::ranges::fill(output, std::byte{0xEE}); // the input is still what it was
        std::ranges::reverse_copy(input, output.begin());
        return Transfer{0, 4};
    };
    std::array<std::uint8_t, 6> buffer{1, 2, 3, 4, 5, 6};
    std::uint32_t returned = 99;
    EXPECT_TRUE(kernel::DeviceIoControl(handle_, hubControl, buffer.data(), 4, buffer.data(), 6, &returned, nullptr));
    EXPECT_EQ(returned, 4U);
    EXPECT_EQ(buffer, (std::array<std::uint8_t, 6>{4, 3, 2, 1, 5, 6})); // nothing beyond what was returned
}

TEST_F(DeviceIoControlTest, AFailedControlLeavesTheOutputAlone) {
    pc_.answer = [](std::uint32_t, std::span<std::byte const>, std::span<std::byte> output, auto) {
        std::ranges::fill(output, std::byte{0xEE});
        return Transfer{kernel::ERROR_GEN_FAILURE, 8};
    };
    std::array<std::uint8_t, 4> buffer{1, 2, 3, 4};
    std::uint32_t returned = 99;
    EXPECT_FALSE(kernel::DeviceIoControl(handle_, hubControl, buffer.data(), 4, buffer.data(), 4, &returned, nullptr));
    EXPECT_EQ(returned, 0U);
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_GEN_FAILURE);
    EXPECT_EQ(buffer, (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
}

TEST_F(DeviceIoControlTest, AnAnswerThatClaimsMoreThanTheRoomIsCutOff) {
    pc_.answer = [](std::uint32_t, std::span<std::byte const>, std::span<std::byte> output, auto) {
        std::ranges::fill(output, std::byte{0x11});
        return Transfer{0, 4000000000U};
    };
    std::array<std::uint8_t, 4> buffer{};
    std::uint32_t returned = 0;
    EXPECT_TRUE(kernel::DeviceIoControl(handle_, diskControl, nullptr, 0, buffer.data(), 3, &returned, nullptr));
    EXPECT_EQ(returned, 3U);
    EXPECT_EQ(buffer, (std::array<std::uint8_t, 4>{0x11, 0x11, 0x11, 0}));
}

TEST_F(DeviceIoControlTest, TheCallerNeedNotAskForTheBytesReturned) {
    pc_.answer = [](auto, auto, std::span<std::byte> output, auto) {
        output[0] = std::byte{7};
        return Transfer{0, 1};
    };
    std::uint8_t byte = 0;
    EXPECT_TRUE(kernel::DeviceIoControl(handle_, diskControl, nullptr, 0, &byte, 1, nullptr, nullptr));
    EXPECT_EQ(byte, 7);
}

TEST_F(DeviceIoControlTest, LargeRecordsArePassedWhole) {
    pc_.answer = [](std::uint32_t, std::span<std::byte const> input, std::span<std::byte> output, auto) {
        std::ranges::copy(input, output.begin());
        return Transfer{0, static_cast<std::uint32_t>(input.size())};
    };
    std::vector<std::uint8_t> sent(65536);
    for (std::size_t i = 0; i < sent.size(); ++i) {
        sent[i] = static_cast<std::uint8_t>(i * 7);
    }
    std::vector<std::uint8_t> received(65536);
    std::uint32_t returned = 0;
    EXPECT_TRUE(
        kernel::DeviceIoControl(handle_, hubControl, sent.data(), 65536, received.data(), 65536, &returned, nullptr));
    EXPECT_EQ(returned, 65536U);
    EXPECT_EQ(received, sent);
}

TEST_F(DeviceIoControlTest, ASizeWithoutABufferIsRefused) {
    std::uint8_t byte = 0;
    EXPECT_FALSE(kernel::DeviceIoControl(handle_, diskControl, nullptr, 1, &byte, 1, nullptr, nullptr));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(kernel::DeviceIoControl(handle_, diskControl, &byte, 1, nullptr, 1, nullptr, nullptr));
    EXPECT_EQ(pc_.controls, 0);
}

TEST_F(DeviceIoControlTest, OnlyHubQueriesAreBounded) {
    std::vector<std::optional<machine::Duration>> limits;
    pc_.answer = [&limits](auto, auto, auto, std::optional<machine::Duration> limit) {
        limits.push_back(limit);
        return Transfer{};
    };
    kernel::DeviceIoControl(handle_, hubControl, nullptr, 0, nullptr, 0, nullptr, nullptr);
    kernel::DeviceIoControl(handle_, diskControl, nullptr, 0, nullptr, 0, nullptr, nullptr);
    ASSERT_EQ(limits.size(), 2U);
    EXPECT_EQ(limits[0], std::chrono::seconds(5));
    EXPECT_EQ(limits[1], std::nullopt);
}

TEST_F(DeviceIoControlTest, AnOverlappedControlIsBoundedOnAnOverlappedHandleOnly) {
    std::vector<std::optional<machine::Duration>> limits;
    pc_.answer = [&limits](auto, auto, auto, std::optional<machine::Duration> limit) {
        limits.push_back(limit);
        return Transfer{};
    };
    kernel::HANDLE const overlappedHandle = kernel::CreateFileW(u"\\\\?\\device", 0, 0, nullptr, kernel::OPEN_EXISTING,
                                                                kernel::FILE_FLAG_OVERLAPPED, nullptr);
    kernel::OVERLAPPED overlapped{};
    auto const control = [&](kernel::HANDLE handle, std::uint32_t code, kernel::OVERLAPPED * record) {
        kernel::DeviceIoControl(handle, code, nullptr, 0, nullptr, 0, nullptr, record);
    };
    control(overlappedHandle, diskControl, &overlapped);
    control(overlappedHandle, diskControl, nullptr);
    control(handle_, diskControl, &overlapped);
    control(overlappedHandle, hubControl, &overlapped);
    EXPECT_EQ(limits, (std::vector<std::optional<machine::Duration>>{std::chrono::seconds(10), std::nullopt,
                                                                     std::nullopt, std::chrono::seconds(5)}));
    kernel::CloseHandle(overlappedHandle);
}

TEST_F(DeviceIoControlTest, AnOverlappedRecordReceivesTheOutcome) {
    pc_.answer = [](auto, auto, auto, auto) { return Transfer{0, 2}; };
    kernel::OVERLAPPED overlapped{};
    overlapped.Internal = 99;
    std::array<std::uint8_t, 4> buffer{};
    EXPECT_TRUE(kernel::DeviceIoControl(handle_, diskControl, nullptr, 0, buffer.data(), 4, nullptr, &overlapped));
    EXPECT_EQ(overlapped.Internal, 0U);
    EXPECT_EQ(overlapped.InternalHigh, 2U);
    std::uint32_t moved = 0;
    EXPECT_TRUE(kernel::GetOverlappedResult(handle_, &overlapped, &moved, true));
    EXPECT_EQ(moved, 2U);
}

class OverlappedControlTest : public DeviceIoControlTest {
protected:
    OverlappedControlTest() { overlapped_.hEvent = kernel::CreateEventW(nullptr, true, false, nullptr); }
    ~OverlappedControlTest() override { kernel::CloseHandle(overlapped_.hEvent); }

    bool control() {
        return kernel::DeviceIoControl(handle_, diskControl, nullptr, 0, nullptr, 0, nullptr, &overlapped_);
    }
    bool isSet() const { return kernel::WaitForSingleObject(overlapped_.hEvent, 0) == kernel::WAIT_OBJECT_0; }

    kernel::OVERLAPPED overlapped_{};
};

TEST_F(OverlappedControlTest, ItsEventIsSetWhenItEnds) {
    EXPECT_TRUE(control());
    EXPECT_TRUE(isSet());
}

TEST_F(OverlappedControlTest, ItsEventIsResetAtTheStartAndAFailureLeavesItSo) {
    kernel::SetEvent(overlapped_.hEvent);
    bool setMeanwhile = true;
    pc_.answer = [&](auto, auto, auto, auto) {
        setMeanwhile = isSet();
        return Transfer{kernel::ERROR_SEM_TIMEOUT, 0};
    };
    EXPECT_FALSE(control());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_SEM_TIMEOUT);
    EXPECT_FALSE(setMeanwhile);
    EXPECT_FALSE(isSet());
}

} // namespace
