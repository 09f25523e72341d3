// Data come back also when an exception leaves the transfer, wherever it is thrown.
#include "PassRun.h"
#include "StorageCall.h"

#include "kernel.h"
#include "libVolumes.h"

#include "kernel/Runtime.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace test {

namespace {

class RestoreGuardTest : public testing::Test {
protected:
    // A pass over two transfers, as if a caller of the engine had started it. The first read of the disk is that of the
    // volume's first sector.
    void write(std::initializer_list<std::pair<char const *, Json>> members = {},
               Settings const & settings = writePreserved) {
        Json const volumes = {{{"firstSector", 16}, {"sectorCount", 2000}}};
        call_ = std::make_unique<StorageCall>(
            stickPc(inImage(with(diskToWrite(2, {{"volumes", volumes}}), members), image_)), settings);
        call_->reporter.whenTold = [this](std::string const & key) { told(key); };
        call_->whenCalled = [this](Json const & call) { called(call); };
        auto const calculator = call_->calculator();
        calculator->calculate(result_, nuvrusb::operation::write);
    }

    // Whatever the pass threw, it has let go of everything.
    void TearDown() override {
        if (call_) {
            EXPECT_EQ(kernel::openHandleCount(), 0U);
            EXPECT_TRUE(libVolumes::DeviceLockingManager(diskLocator).lockVolumes());
        }
    }

    Lines transfers() const { return only(diskCallsIn(call_->calls), {"read ", "write "}); }

    std::function<void(std::string const & key)> told = [](auto const &) {};
    std::function<void(Json const & call)> called = [](auto const &) {};
    DiskImage image_{2 * smallTransfer + 1};
    std::unique_ptr<StorageCall> call_;
    tkit5::TestResult result_;
};

struct Foreign {};

bool isWriteTo(Json const & call, std::uint64_t sector) {
    return call["call"] == "write" && call["offset"] == sector * 512;
}

TEST_F(RestoreGuardTest, AnExceptionOfTheLibraryLeavesThePassAndTheDataAsTheyWere) {
    told = [](std::string const & key) {
        if (key == "CURRENT_WRITE_PERFORMANCE") {
            throw nuv::Exception("nobody shows progress today");
        }
    };
    EXPECT_THROW(write(), nuv::Exception);

    EXPECT_EQ(transfers(), (Lines{"read 0", "write 0", "write 0"}));
    EXPECT_TRUE(image_.isAsBefore());
}

TEST_F(RestoreGuardTest, AnExceptionInTheMiddleOfTheWriteIsRestored) {
    int writes = 0;
    called = [&writes](Json const & call) {
        if (isWriteTo(call, 1024) && ++writes == 1) {
            throw Foreign();
        }
    };
    EXPECT_THROW(write(), Foreign);

    EXPECT_EQ(transfers(), (Lines{"read 0", "write 0", "write 0", "read 1024", "write 1024", "write 1024"}));
    EXPECT_TRUE(image_.isAsBefore());
}

TEST_F(RestoreGuardTest, AReportOfAFailedWriteThatThrowsIsRestored) {
    told = [](std::string const & key) {
        if (key == "WRITE_SECTOR_ERROR") {
            throw std::runtime_error("the output is full");
        }
    };
    EXPECT_THROW(write({{"faults", Json::array({fault("write", {{"times", 1}, {"error", 1117}})})}}),
                 std::runtime_error);

    EXPECT_EQ(transfers(), (Lines{"read 0", "write 0 error 1117", "write 0"}));
    EXPECT_TRUE(image_.isAsBefore());
}

TEST_F(RestoreGuardTest, AReportOfTheErrorLimitThatThrowsIsRestored) {
    told = [](std::string const & key) {
        if (key == "MAX_ERROR_REACHED") {
            throw Foreign();
        }
    };
    EXPECT_THROW(write({{"faults", Json::array({fault("write", {{"times", 1}, {"error", 1117}})})}},
                       with(writePreserved, {{"MaxErrors", "1"}})),
                 Foreign);

    EXPECT_TRUE(image_.isAsBefore());
}

TEST_F(RestoreGuardTest, AReopenBeforeTheWriteThatThrowsIsRestoredWithWhatIsOpen) {
    int probes = 0;
    called = [&probes](Json const & call) {
        if (call["call"] == "open" && call["flags"] == "0x60000080" && ++probes == 2) {
            throw Foreign();
        }
    };
    EXPECT_THROW(write(), Foreign);

    EXPECT_EQ(transfers(), Lines{"read 0"}); // the disk is not open any more, and not overwritten yet
    EXPECT_EQ(reportsIn(call_->reporter.lines), Lines{"warning CANNOT_RESTORE_DATA 880"});
    EXPECT_TRUE(image_.isAsBefore());
}

// A restore that fails on a healthy way out: what its own report throws stays inside, and the pass goes on.
TEST_F(RestoreGuardTest, WhatTheReportOfAFailedRestoreThrowsEndsNothing) {
    told = [](std::string const & key) {
        if (key == "CANNOT_RESTORE_DATA") {
            throw nuv::Exception("nobody listens");
        }
    };
    write({{"faults", Json::array({fault("write", {{"after", 1}, {"times", 1}, {"error", 1117}})})}});

    EXPECT_EQ(transfers(), (Lines{"read 0", "write 0", "write 0 error 1117", "read 1024", "write 1024", "write 1024",
                                  "read 0", "write 0", "write 0"}));
    EXPECT_EQ(result_, tkit5::TestResult::PASS());
}

// While one exception passes, a second one would end the process.
TEST_F(RestoreGuardTest, ARestoreThatThrowsWhileAnExceptionPassesLetsThatOneThrough) {
    told = [](std::string const & key) {
        if (key == "WRITE_SECTOR_ERROR") {
            throw Foreign();
        }
        if (key == "CANNOT_RESTORE_DATA") {
            throw nuv::Exception("nobody listens");
        }
    };
    EXPECT_THROW(write({{"faults", Json::array({fault("write", {{"times", 2}, {"error", 1117}})})}}), Foreign);

    EXPECT_EQ(transfers(), (Lines{"read 0", "write 0 error 1117", "write 0 error 1117"}));
}

TEST_F(RestoreGuardTest, AnExceptionBeforeAnythingIsOverwrittenWritesNothing) {
    told = [](std::string const & key) {
        if (key == "FAILED_BACKUP") {
            throw Foreign();
        }
    };
    EXPECT_THROW(
        write({{"faults", Json::array({fault("read", {{"overlapped", false}, {"after", 1}, {"error", 23}})})}}),
        Foreign);

    EXPECT_EQ(transfers(), Lines{"read 0 error 23"});
    EXPECT_TRUE(image_.isAsBefore());
}

// The backup of another range is not what the guard writes back.
TEST_F(RestoreGuardTest, WithoutABackupOfItsOwnATransferIsNotRestored) {
    int writes = 0;
    told = [&writes](std::string const & key) {
        if (key == "CURRENT_WRITE_PERFORMANCE" && ++writes == 2) {
            throw Foreign();
        }
    };
    EXPECT_THROW(
        write({{"faults", Json::array({fault("read", {{"overlapped", false}, {"after", 2}, {"error", 23}})})}}),
        Foreign);

    EXPECT_EQ(transfers(), (Lines{"read 0", "write 0", "write 0", "read 1024 error 23", "write 1024"}));
    EXPECT_EQ(image_.changedSectors(), (std::vector<std::pair<std::uint64_t, std::uint64_t>>{{1024, 2047}}));
}

} // namespace

} // namespace test
