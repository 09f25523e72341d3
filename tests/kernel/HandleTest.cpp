#include "ScriptedMachine.h"
#include "kernel.h"
#include "kernel/Runtime.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace {

class HandleTest : public testing::Test {
protected:
    static kernel::HANDLE open(char16_t const * path = u"\\\\?\\device") {
        return kernel::CreateFileW(path, kernel::GENERIC_WRITE, kernel::FILE_SHARE_WRITE, nullptr,
                                   kernel::OPEN_EXISTING, 0, nullptr);
    }
    static bool control(kernel::HANDLE handle) {
        return kernel::DeviceIoControl(handle, 0x70000, nullptr, 0, nullptr, 0, nullptr, nullptr);
    }

    support::ScriptedMachine pc_;
    machine::InUse inUse_{pc_};
};

TEST_F(HandleTest, PassesTheArgumentsOfAnOpenOn) {
    kernel::HANDLE const handle =
        kernel::CreateFileW(u"\\\\.\\PhysicalDrive1", 0xA0000000, 0, nullptr, 3, 0x60000080, nullptr);
    ASSERT_NE(handle, kernel::INVALID_HANDLE_VALUE);
    EXPECT_EQ(pc_.openedPaths.at(0), u"\\\\.\\PhysicalDrive1");
    EXPECT_EQ(pc_.opens.at(0).access, 0xA0000000U);
    EXPECT_EQ(pc_.opens.at(0).share, 0U);
    EXPECT_EQ(pc_.opens.at(0).disposition, 3U);
    EXPECT_EQ(pc_.opens.at(0).flags, 0x60000080U);
    EXPECT_TRUE(kernel::CloseHandle(handle));
}

TEST_F(HandleTest, AFailedOpenSetsTheLastError) {
    pc_.openError = kernel::ERROR_SHARING_VIOLATION;
    EXPECT_EQ(open(), kernel::INVALID_HANDLE_VALUE);
    EXPECT_EQ(kernel::GetLastError(), 32U);
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

TEST_F(HandleTest, NoNameIsNoFile) {
    EXPECT_EQ(open(nullptr), kernel::INVALID_HANDLE_VALUE);
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(open(u""), kernel::INVALID_HANDLE_VALUE);
    EXPECT_TRUE(pc_.openedPaths.empty());
}

TEST_F(HandleTest, CountsOpenHandles) {
    kernel::HANDLE const first = open();
    kernel::HANDLE const second = open();
    EXPECT_NE(first, second);
    EXPECT_EQ(kernel::openHandleCount(), 2U);
    EXPECT_TRUE(kernel::CloseHandle(first));
    EXPECT_TRUE(kernel::CloseHandle(second));
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    EXPECT_EQ(pc_.filesAlive, 0);
}

TEST_F(HandleTest, AStaleHandleIsRefusedEvenWhenItsPlaceIsTakenAgain) {
    kernel::HANDLE const stale = open();
    EXPECT_TRUE(kernel::CloseHandle(stale));
    kernel::HANDLE const fresh = open();
    EXPECT_NE(stale, fresh);

    kernel::SetLastError(0);
    EXPECT_FALSE(kernel::CloseHandle(stale));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
    kernel::SetLastError(0);
    EXPECT_FALSE(control(stale));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
    EXPECT_EQ(pc_.controls, 0);

    EXPECT_TRUE(control(fresh));
    EXPECT_TRUE(kernel::CloseHandle(fresh));
}

TEST_F(HandleTest, HandlesAreNotUsedTwice) {
    std::set<kernel::HANDLE> seen;
    for (int i = 0; i < 1000; ++i) {
        kernel::HANDLE const handle = open();
        EXPECT_TRUE(seen.insert(handle).second);
        kernel::CloseHandle(handle);
    }
}

TEST_F(HandleTest, ForeignHandlesAreRefused) {
    kernel::HANDLE const handle = open();
    int local = 0;
    std::vector<kernel::HANDLE> const foreign{nullptr, kernel::INVALID_HANDLE_VALUE, &local,
                                              static_cast<char *>(handle) + 1, static_cast<char *>(handle) + 4};
    for (kernel::HANDLE const other : foreign) {
        EXPECT_FALSE(control(other));
        EXPECT_FALSE(kernel::CloseHandle(other));
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
    }
    EXPECT_TRUE(kernel::CloseHandle(handle));
}

TEST_F(HandleTest, SuccessLeavesTheLastErrorAlone) {
    kernel::SetLastError(1117);
    kernel::HANDLE const handle = open();
    EXPECT_TRUE(control(handle));
    EXPECT_TRUE(kernel::CloseHandle(handle));
    EXPECT_EQ(kernel::GetLastError(), 1117U);
}

TEST_F(HandleTest, AFullTableIsAFailedOpen) {
    std::vector<kernel::HANDLE> handles;
    kernel::HANDLE handle = open();
    while (handle != kernel::INVALID_HANDLE_VALUE && handles.size() < 100000) {
        handles.push_back(handle);
        handle = open();
    }
    EXPECT_EQ(handles.size(), 65536U);
    EXPECT_EQ(kernel::GetLastError(), 4U);
    EXPECT_EQ(pc_.filesAlive, 65536);
    for (kernel::HANDLE const open : handles) {
        kernel::CloseHandle(open);
    }
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

} // namespace
