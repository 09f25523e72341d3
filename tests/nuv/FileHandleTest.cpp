#include "kernel/Runtime.h"
#include "kernel/ScriptedMachine.h"
#include "nuv.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

class FileHandleTest : public testing::Test {
protected:
    nuv::FileHandleResManager open() {
        nuv::CreateFileOpenArgs args;
        args.fileName = "\\\\?\\hub";
        args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
        args.shareMode = 3;
        return nuv::FileHandleResManager(args);
    }

    support::ScriptedMachine pc_;
    machine::InUse inUse_{pc_};
};

TEST_F(FileHandleTest, OpensByItsArgumentsAndClosesWhenItGoes) {
    {
        nuv::FileHandleResManager const file = open();
        EXPECT_TRUE(file.isValid());
        EXPECT_EQ(pc_.openedPaths.at(0), u"\\\\?\\hub");
        EXPECT_EQ(pc_.opens.at(0).access, 0xC0000000U);
        EXPECT_EQ(pc_.opens.at(0).share, 3U);
        EXPECT_EQ(pc_.opens.at(0).disposition, 3U);
        EXPECT_EQ(kernel::openHandleCount(), 1U);
    }
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    EXPECT_EQ(pc_.filesAlive, 0);
}

TEST_F(FileHandleTest, AFailedOpenIsInvalidAndTheLastErrorTellsWhy) {
    pc_.openError = kernel::ERROR_SHARING_VIOLATION;
    nuv::FileHandleResManager const file = open();
    EXPECT_FALSE(file.isValid());
    EXPECT_EQ(file.get(), kernel::INVALID_HANDLE_VALUE);
    EXPECT_EQ(nuv::System::getSystemError(), 32U);
}

TEST_F(FileHandleTest, MovingPassesTheHandleOn) {
    nuv::FileHandleResManager first = open();
    nuv::FileHandleResManager second = open();
    kernel::HANDLE const handle = first.get();
    second = std::move(first);
    EXPECT_EQ(second.get(), handle);
    EXPECT_EQ(kernel::openHandleCount(), 1U);
    nuv::FileHandleResManager const third = std::move(second);
    EXPECT_EQ(third.get(), handle);
    EXPECT_EQ(kernel::openHandleCount(), 1U);
}

TEST_F(FileHandleTest, ClosingPreservesTheLastError) {
    nuv::FileHandleResManager file = open();
    kernel::HANDLE const stale = file.get();
    kernel::SetLastError(1117);
    file.close();
    EXPECT_EQ(kernel::GetLastError(), 1117U);
    {
        nuv::FileHandleResManager const closedBefore(stale); // its closing fails
    }
    EXPECT_EQ(kernel::GetLastError(), 1117U);
    file.close();
    EXPECT_FALSE(file.isValid());
}

TEST_F(FileHandleTest, ASharedHandleClosesWithItsLastHolder) {
    nuv::SharedFileHandle first(new nuv::FileHandleResManager(open()));
    nuv::SharedFileHandle second = first;
    first.release();
    EXPECT_EQ(kernel::openHandleCount(), 1U);
    second.release();
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

} // namespace
