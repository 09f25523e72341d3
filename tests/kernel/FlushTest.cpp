#include "ScriptedMachine.h"
#include "kernel.h"
#include "machine/TracingMachine.h"
#include "support/DiskPc.h"

#include <gtest/gtest.h>

namespace {

TEST(FlushTest, ReachesTheDeviceAndGivesItsError) {
    support::ScriptedMachine pc;
    machine::InUse const inUse(pc);
    nuv::FileHandleResManager const disk = support::openFile(support::disk1);
    EXPECT_TRUE(kernel::FlushFileBuffers(disk.get()));
    EXPECT_EQ(pc.flushes, 1);
    pc.flushError = 1117;
    EXPECT_FALSE(kernel::FlushFileBuffers(disk.get()));
    EXPECT_EQ(kernel::GetLastError(), 1117U);
}

TEST(FlushTest, NeedsAnOpenHandle) {
    EXPECT_FALSE(kernel::FlushFileBuffers(kernel::INVALID_HANDLE_VALUE));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
}

TEST(FlushTest, OfADescribedDiskNeedsWriteAccessAndAMedium) {
    support::DiskPc const pc({"", R"("media": "absent")"});
    EXPECT_TRUE(kernel::FlushFileBuffers(support::openFile(support::disk1).get()));
    EXPECT_FALSE(kernel::FlushFileBuffers(support::openFile(support::disk1, kernel::GENERIC_READ).get()));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_ACCESS_DENIED);
    EXPECT_FALSE(kernel::FlushFileBuffers(support::openFile(support::disk2).get()));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_NOT_READY);
}

TEST(FlushTest, IsALineOfTheTrace) {
    support::ScriptedMachine pc;
    std::vector<std::string> lines;
    machine::TracingMachine traced(pc, [&lines](std::string_view line) { lines.emplace_back(line); });
    pc.flushError = 19;
    EXPECT_EQ(traced.open({u"\\\\.\\PhysicalDrive1", 0xC0000000, 0, 3, 0}).file->flush(), 19U);
    EXPECT_EQ(lines.at(1), R"({"t":0.000000000,"call":"flush","handle":1,"error":19})");
}

} // namespace
