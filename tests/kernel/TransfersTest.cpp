// How reads and writes start, and what those that end at once leave behind.
#include "TransferFixture.h"

#include <chrono>
#include <optional>

namespace {

using namespace std::chrono_literals;

class TransfersTest : public TransferFixture {
protected:
    struct Asked {
        bool isWrite;
        std::uint64_t offset;
        std::size_t size;
    };

    TransfersTest() {
        pc_.transfer = [this](bool isWrite, std::uint64_t offset, std::size_t size) {
            asked_ = Asked{isWrite, offset, size};
            return machine::Started{{0, static_cast<std::uint32_t>(size)}, nullptr};
        };
    }

    std::optional<Asked> asked_;
};

TEST_F(TransfersTest, ReadsAtAnOffsetBeyondFourGibibytes) {
    record_.Offset = 0xFFFFFE00;
    record_.OffsetHigh = 0x12;
    std::uint32_t moved = 99;
    EXPECT_TRUE(kernel::ReadFile(file_, buffer_.data(), 512, &moved, &record_));
    ASSERT_TRUE(asked_);
    EXPECT_FALSE(asked_->isWrite);
    EXPECT_EQ(asked_->offset, 0x12FFFFFE00U);
    EXPECT_EQ(asked_->size, 512U);
    EXPECT_EQ(moved, 512U);
}

TEST_F(TransfersTest, WritesAtAnOffsetBeyondFourGibibytes) {
    record_.Offset = 0x200;
    record_.OffsetHigh = 0x80000000;
    std::uint32_t moved = 99;
    EXPECT_TRUE(kernel::WriteFile(file_, buffer_.data(), 256, &moved, &record_));
    ASSERT_TRUE(asked_);
    EXPECT_TRUE(asked_->isWrite);
    EXPECT_EQ(asked_->offset, 0x8000000000000200U);
    EXPECT_EQ(asked_->size, 256U);
    EXPECT_EQ(moved, 256U);
}

TEST_F(TransfersTest, SuccessAtOnceSetsTheEventAndFillsTheRecord) {
    record_.Internal = 77;
    EXPECT_TRUE(read(record_));
    EXPECT_EQ(record_.Internal, 0U);
    EXPECT_EQ(record_.InternalHigh, 512U);
    EXPECT_TRUE(isSet(event_));
    std::uint32_t moved = 0;
    EXPECT_TRUE(kernel::GetOverlappedResult(file_, &record_, &moved, false));
    EXPECT_EQ(moved, 512U);
}

TEST_F(TransfersTest, SuccessLeavesTheLastErrorAlone) {
    kernel::SetLastError(1117);
    EXPECT_TRUE(read(record_));
    EXPECT_TRUE(kernel::WriteFile(file_, buffer_.data(), 512, nullptr, &record_));
    EXPECT_TRUE(kernel::GetOverlappedResult(file_, &record_, nullptr, true));
    EXPECT_EQ(kernel::GetLastError(), 1117U);
}

TEST_F(TransfersTest, ATransferOfFewerBytesSaysSo) {
    pc_.transfer = [](bool, std::uint64_t, std::size_t) { return machine::Started{{0, 100}, nullptr}; };
    std::uint32_t moved = 0;
    EXPECT_TRUE(kernel::ReadFile(file_, buffer_.data(), 512, &moved, &record_));
    EXPECT_EQ(moved, 100U);
    EXPECT_EQ(record_.InternalHigh, 100U);
}

TEST_F(TransfersTest, ARecordIsRequired) {
    std::uint32_t moved = 99;
    EXPECT_FALSE(kernel::ReadFile(file_, buffer_.data(), 512, &moved, nullptr));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
    EXPECT_EQ(moved, 0U);
    kernel::SetLastError(0);
    EXPECT_FALSE(kernel::WriteFile(file_, buffer_.data(), 512, &moved, nullptr));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(asked_);
}

TEST_F(TransfersTest, ASizeWithoutABufferIsRefused) {
    EXPECT_FALSE(kernel::ReadFile(file_, nullptr, 512, nullptr, &record_));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(kernel::WriteFile(file_, nullptr, 512, nullptr, &record_));
    EXPECT_FALSE(asked_);
    EXPECT_TRUE(kernel::ReadFile(file_, nullptr, 0, nullptr, &record_));
    EXPECT_TRUE(asked_);
}

TEST_F(TransfersTest, OnlyAnOpenFileIsRead) {
    kernel::HANDLE const closed = openOverlapped();
    kernel::CloseHandle(closed);
    for (kernel::HANDLE const handle : {kernel::HANDLE{}, kernel::INVALID_HANDLE_VALUE, closed, event_}) {
        std::uint32_t moved = 99;
        kernel::SetLastError(0);
        EXPECT_FALSE(kernel::ReadFile(handle, buffer_.data(), 512, &moved, &record_));
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
        EXPECT_EQ(moved, 0U);
        kernel::SetLastError(0);
        EXPECT_FALSE(kernel::WriteFile(handle, buffer_.data(), 512, &moved, &record_));
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
    }
    EXPECT_FALSE(asked_);
}

TEST_F(TransfersTest, AFlushIsPassedOn) {
    kernel::SetLastError(7);
    EXPECT_TRUE(kernel::FlushFileBuffers(file_));
    EXPECT_EQ(pc_.flushes, 1);
    EXPECT_EQ(kernel::GetLastError(), 7U);
    pc_.flushError = kernel::ERROR_WRITE_PROTECT;
    EXPECT_FALSE(kernel::FlushFileBuffers(file_));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_WRITE_PROTECT);
    EXPECT_FALSE(kernel::FlushFileBuffers(event_));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
    EXPECT_EQ(pc_.flushes, 2);
}

TEST_F(TransfersTest, TheEventIsResetAtTheStart) {
    kernel::SetEvent(event_);
    bool setMeanwhile = true;
    pc_.transfer = [&](bool, std::uint64_t, std::size_t) {
        setMeanwhile = isSet(event_);
        return machine::Started{{0, 512}, nullptr};
    };
    EXPECT_TRUE(read(record_));
    EXPECT_FALSE(setMeanwhile);
    EXPECT_TRUE(isSet(event_));
}

TEST_F(TransfersTest, AFailureAtOnceSetsNoEvent) {
    kernel::SetEvent(event_);
    transfersFail(kernel::ERROR_NO_MEDIA_IN_DRIVE);
    std::uint32_t moved = 99;
    EXPECT_FALSE(kernel::WriteFile(file_, buffer_.data(), 512, &moved, &record_));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_NO_MEDIA_IN_DRIVE);
    EXPECT_EQ(moved, 0U);
    EXPECT_FALSE(isSet(event_));
}

TEST_F(TransfersTest, AFailureAtOnceIsAlsoItsResult) {
    transfersFail(kernel::ERROR_CRC);
    EXPECT_FALSE(read(record_));
    kernel::SetLastError(0);
    EXPECT_FALSE(kernel::GetOverlappedResult(file_, &record_, nullptr, true));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_CRC);
}

TEST_F(TransfersTest, ATransferThatGoesOnIsPending) {
    kernel::SetEvent(event_);
    transfersGoOn({.takes = 5s, .outcome = {0, 512}});
    record_.InternalHigh = 77;
    std::uint32_t moved = 99;
    EXPECT_FALSE(kernel::ReadFile(file_, buffer_.data(), 512, &moved, &record_));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_IO_PENDING);
    EXPECT_EQ(moved, 0U);
    EXPECT_EQ(record_.Internal, 0x103U);
    EXPECT_EQ(record_.InternalHigh, 0U);
    EXPECT_FALSE(isSet(event_));
    EXPECT_TRUE(kernel::GetOverlappedResult(file_, &record_, nullptr, true));
}

TEST_F(TransfersTest, ARecordWorksWithoutAnEvent) {
    kernel::OVERLAPPED plain{};
    EXPECT_TRUE(read(plain));
    transfersGoOn({.takes = 1s, .outcome = {0, 512}});
    EXPECT_FALSE(read(plain));
    EXPECT_TRUE(kernel::GetOverlappedResult(file_, &plain, nullptr, true));
    EXPECT_FALSE(isSet(event_));
}

TEST_F(TransfersTest, ARecordUnderWayIsNotStartedAgain) {
    transfersGoOn({.takes = 2s, .outcome = {0, 512}});
    EXPECT_FALSE(read(record_));
    int starts = 0;
    pc_.transfer = [&starts](bool, std::uint64_t, std::size_t) {
        ++starts;
        return machine::Started{{0, 1}, nullptr};
    };
    EXPECT_FALSE(read(record_));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
    EXPECT_EQ(starts, 0);
    EXPECT_EQ(record_.Internal, 0x103U); // the first one goes on

    std::uint32_t moved = 0;
    EXPECT_TRUE(kernel::GetOverlappedResult(file_, &record_, &moved, true));
    EXPECT_EQ(moved, 512U);
    EXPECT_TRUE(read(record_));
    EXPECT_EQ(starts, 1);
}

} // namespace
