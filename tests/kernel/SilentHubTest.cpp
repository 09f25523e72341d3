#include "ScriptedMachine.h"
#include "kernel.h"
#include "kernel/Runtime.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using machine::Transfer;

constexpr std::uint32_t hubControl = kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX;

// Hubs do not answer; disks do.
class SilentHubTest : public testing::Test {
protected:
    SilentHubTest() {
        kernel::beginRun();
        pc_.answer = [this](std::uint32_t code, auto, auto, std::optional<machine::Duration> limit) {
            if (code == kernel::IOCTL_DISK_GET_LENGTH_INFO || !wedged_) {
                return Transfer{};
            }
            pc_.clock().sleep(limit.value());
            return Transfer{kernel::ERROR_SEM_TIMEOUT, 0};
        };
    }
    ~SilentHubTest() override { kernel::beginRun(); }

    // The error of one query of a hub that is opened for it.
    static std::uint32_t ask(char16_t const * path, std::uint32_t code = hubControl) {
        kernel::HANDLE const hub = kernel::CreateFileW(path, 0, 3, nullptr, kernel::OPEN_EXISTING, 0, nullptr);
        EXPECT_NE(hub, kernel::INVALID_HANDLE_VALUE);
        kernel::SetLastError(0);
        kernel::DeviceIoControl(hub, code, nullptr, 0, nullptr, 0, nullptr, nullptr);
        std::uint32_t const error = kernel::GetLastError();
        kernel::CloseHandle(hub);
        return error;
    }

    support::ScriptedMachine pc_;
    machine::InUse inUse_{pc_};
    bool wedged_ = true;
};

TEST_F(SilentHubTest, IsAskedOnlyOnce) {
    EXPECT_EQ(ask(u"\\\\?\\USB#HUB#1"), kernel::ERROR_SEM_TIMEOUT);
    EXPECT_EQ(ask(u"\\\\?\\USB#HUB#1"), kernel::ERROR_SEM_TIMEOUT);
    EXPECT_EQ(pc_.controls, 1);
    EXPECT_EQ(pc_.clock().now(), std::chrono::seconds(5));
}

TEST_F(SilentHubTest, IsKnownByAnySpellingOfItsPath) {
    ask(u"\\\\?\\USB#HUB#1");
    EXPECT_EQ(ask(u"\\\\?\\usb#Hub#1"), kernel::ERROR_SEM_TIMEOUT);
    EXPECT_EQ(ask(u"\\\\.\\usb#hub#1"), kernel::ERROR_SEM_TIMEOUT);
    EXPECT_EQ(pc_.controls, 1);
}

TEST_F(SilentHubTest, IsKnownToHandlesThatWereOpenBefore) {
    kernel::HANDLE const before = kernel::CreateFileW(u"\\\\?\\hub", 0, 3, nullptr, 3, 0, nullptr);
    ask(u"\\\\?\\hub");
    EXPECT_FALSE(kernel::DeviceIoControl(before, hubControl, nullptr, 0, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(pc_.controls, 1);
    kernel::CloseHandle(before);
}

TEST_F(SilentHubTest, DoesNotSilenceOthers) {
    ask(u"\\\\?\\hub");
    ask(u"\\\\?\\another hub");
    EXPECT_EQ(pc_.controls, 2);
    EXPECT_EQ(ask(u"\\\\?\\hub", kernel::IOCTL_DISK_GET_LENGTH_INFO), 0U); // not a hub query
}

TEST_F(SilentHubTest, IsAskedAgainInTheNextRun) {
    ask(u"\\\\?\\hub");
    kernel::beginRun();
    wedged_ = false;
    EXPECT_EQ(ask(u"\\\\?\\hub"), 0U);
    EXPECT_EQ(pc_.controls, 2);
}

TEST_F(SilentHubTest, AnyOtherErrorIsNoSilence) {
    pc_.answer = [](auto, auto, auto, auto) { return Transfer{kernel::ERROR_GEN_FAILURE, 0}; };
    ask(u"\\\\?\\hub");
    ask(u"\\\\?\\hub");
    EXPECT_EQ(pc_.controls, 2);
}

} // namespace
