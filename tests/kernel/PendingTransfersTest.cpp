// How transfers under way end: by themselves, in somebody's wait, or cancelled.
#include "TransferFixture.h"

#include <chrono>

namespace {

using namespace std::chrono_literals;

class PendingTransfersTest : public TransferFixture {
protected:
    // Starts a read that goes on as the script says.
    void start(kernel::OVERLAPPED & record, support::TransferScript const & script) {
        transfersGoOn(script);
        ASSERT_FALSE(read(record));
        ASSERT_EQ(kernel::GetLastError(), kernel::ERROR_IO_PENDING);
        kernel::SetLastError(0);
    }
    machine::Duration now() { return pc_.clock().now(); }
};

TEST_F(PendingTransfersTest, AWaitThatIsTooShortTakesExactlyItsTime) {
    start(record_, {.takes = 100ms, .outcome = {0, 512}});
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 30), kernel::WAIT_TIMEOUT);
    EXPECT_EQ(now(), 30ms);
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 69), kernel::WAIT_TIMEOUT);
    EXPECT_EQ(now(), 99ms);
    EXPECT_EQ(record_.Internal, 0x103U);
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 1), kernel::WAIT_OBJECT_0);
}

TEST_F(PendingTransfersTest, AWaitEndsWithTheTransfer) {
    start(record_, {.takes = 40ms, .outcome = {0, 512}});
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 5000), kernel::WAIT_OBJECT_0);
    EXPECT_EQ(now(), 40ms);
    std::uint32_t moved = 0;
    EXPECT_TRUE(kernel::GetOverlappedResult(file_, &record_, &moved, false));
    EXPECT_EQ(moved, 512U);
    EXPECT_EQ(record_.Internal, 0U);
    EXPECT_EQ(record_.InternalHigh, 512U);
    EXPECT_EQ(kernel::GetLastError(), 0U);
}

TEST_F(PendingTransfersTest, ATransferWhoseTimePassedOtherwiseHasEnded) {
    start(record_, {.takes = 40ms, .outcome = {0, 512}});
    pc_.clock().sleep(1s);
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 0), kernel::WAIT_OBJECT_0);
    EXPECT_EQ(now(), 1s);
}

TEST_F(PendingTransfersTest, AWaitWithoutALimitLastsAsLongAsTheTransfer) {
    start(record_, {.takes = 200s, .outcome = {0, 512}});
    EXPECT_EQ(kernel::WaitForSingleObject(event_, kernel::INFINITE), kernel::WAIT_OBJECT_0);
    EXPECT_EQ(now(), 200s);
}

TEST_F(PendingTransfersTest, TheResultIsNotThereBeforeTheEnd) {
    start(record_, {.takes = 40ms, .outcome = {0, 512}});
    EXPECT_FALSE(kernel::GetOverlappedResult(file_, &record_, nullptr, false));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_IO_INCOMPLETE);
    EXPECT_EQ(now(), 0s);
    EXPECT_TRUE(kernel::GetOverlappedResult(file_, &record_, nullptr, true));
    EXPECT_EQ(now(), 40ms);
}

TEST_F(PendingTransfersTest, TheResultSetsTheEventAndStaysReadable) {
    start(record_, {.takes = 40ms, .outcome = {0, 512}});
    EXPECT_TRUE(kernel::GetOverlappedResult(file_, &record_, nullptr, true));
    EXPECT_TRUE(isSet(event_));
    for (bool const wait : {false, true}) {
        std::uint32_t moved = 0;
        EXPECT_TRUE(kernel::GetOverlappedResult(file_, &record_, &moved, wait));
        EXPECT_EQ(moved, 512U);
    }
    EXPECT_EQ(now(), 40ms);
}

TEST_F(PendingTransfersTest, AFailureAtTheEndSetsTheEventAndIsTheResult) {
    start(record_, {.takes = 40ms, .outcome = {kernel::ERROR_CRC, 128}});
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 50), kernel::WAIT_OBJECT_0);
    EXPECT_EQ(kernel::GetLastError(), 0U); // the wait itself succeeded
    EXPECT_FALSE(kernel::GetOverlappedResult(file_, &record_, nullptr, false));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_CRC);
    EXPECT_EQ(record_.InternalHigh, 128U);
}

TEST_F(PendingTransfersTest, NoRecordHasNoResult) {
    EXPECT_FALSE(kernel::GetOverlappedResult(file_, nullptr, nullptr, true));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
}

TEST_F(PendingTransfersTest, EachTransferSetsItsOwnEvent) {
    kernel::HANDLE const other = kernel::CreateEventW(nullptr, true, false, nullptr);
    kernel::OVERLAPPED second = recordWith(other);
    start(record_, {.takes = 80ms, .outcome = {0, 512}});
    start(second, {.takes = 50ms, .outcome = {0, 256}});
    EXPECT_EQ(kernel::WaitForSingleObject(other, 1000), kernel::WAIT_OBJECT_0);
    EXPECT_EQ(now(), 50ms);
    EXPECT_FALSE(isSet(event_));
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 1000), kernel::WAIT_OBJECT_0);
    EXPECT_EQ(now(), 80ms);
    kernel::CloseHandle(other);
}

TEST_F(PendingTransfersTest, AnEventThatResetsItselfTellsTheEndOnce) {
    kernel::HANDLE const once = kernel::CreateEventW(nullptr, false, false, nullptr);
    kernel::OVERLAPPED record = recordWith(once);
    start(record, {.takes = 40ms, .outcome = {0, 512}});
    EXPECT_EQ(kernel::WaitForSingleObject(once, 1000), kernel::WAIT_OBJECT_0);
    EXPECT_EQ(kernel::WaitForSingleObject(once, 10), kernel::WAIT_TIMEOUT);
    EXPECT_EQ(now(), 50ms);
    kernel::CloseHandle(once);
}

TEST_F(PendingTransfersTest, ATransferOutlivesItsHandleAndItsEvent) {
    kernel::HANDLE const event = kernel::CreateEventW(nullptr, true, false, nullptr);
    kernel::OVERLAPPED record = recordWith(event);
    start(record, {.takes = 40ms, .outcome = {0, 512}});
    EXPECT_TRUE(kernel::CloseHandle(event));
    EXPECT_TRUE(kernel::CloseHandle(file_));
    EXPECT_EQ(pc_.filesAlive, 0);
    EXPECT_TRUE(kernel::GetOverlappedResult(file_, &record, nullptr, true));
    EXPECT_EQ(now(), 40ms);
}

TEST_F(PendingTransfersTest, ACancelledTransferEndsByItsEvent) {
    start(record_, {.takes = 10min, .outcome = {0, 512}});
    EXPECT_TRUE(kernel::CancelIoEx(file_, &record_));
    EXPECT_EQ(kernel::GetLastError(), 0U);
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 1000), kernel::WAIT_OBJECT_0);
    EXPECT_EQ(now(), 0s);
    std::uint32_t moved = 99;
    EXPECT_FALSE(kernel::GetOverlappedResult(file_, &record_, &moved, false));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_OPERATION_ABORTED);
    EXPECT_EQ(moved, 0U);
}

TEST_F(PendingTransfersTest, ATransferThatIgnoresItsCancellationGoesOn) {
    start(record_, {.takes = 10s, .outcome = {0, 512}, .cancellable = false});
    EXPECT_TRUE(kernel::CancelIoEx(file_, &record_));
    EXPECT_EQ(kernel::WaitForSingleObject(event_, 2000), kernel::WAIT_TIMEOUT);
    EXPECT_EQ(now(), 2s);
    EXPECT_TRUE(kernel::CancelIoEx(file_, &record_)); // still under way
    EXPECT_TRUE(kernel::GetOverlappedResult(file_, &record_, nullptr, true));
    EXPECT_EQ(now(), 10s);
}

TEST_F(PendingTransfersTest, NoRecordCancelsAllTransfersOfTheFile) {
    kernel::HANDLE const otherFile = openOverlapped();
    kernel::OVERLAPPED second{};
    kernel::OVERLAPPED ofOther{};
    start(record_, {.takes = 10s, .outcome = {0, 512}});
    start(second, {.takes = 10s, .outcome = {0, 512}});
    EXPECT_FALSE(kernel::ReadFile(otherFile, buffer_.data(), 512, nullptr, &ofOther));
    EXPECT_TRUE(kernel::CancelIoEx(file_, nullptr));
    EXPECT_FALSE(kernel::GetOverlappedResult(file_, &record_, nullptr, false));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_OPERATION_ABORTED);
    EXPECT_FALSE(kernel::GetOverlappedResult(file_, &second, nullptr, false));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_OPERATION_ABORTED);
    EXPECT_FALSE(kernel::GetOverlappedResult(otherFile, &ofOther, nullptr, false));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_IO_INCOMPLETE);
    EXPECT_TRUE(kernel::GetOverlappedResult(otherFile, &ofOther, nullptr, true));
    kernel::CloseHandle(otherFile);
}

TEST_F(PendingTransfersTest, NothingUnderWayIsNothingToCancel) {
    EXPECT_FALSE(kernel::CancelIoEx(file_, &record_));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_NOT_FOUND);
    kernel::SetLastError(0);
    EXPECT_FALSE(kernel::CancelIoEx(file_, nullptr));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_NOT_FOUND);

    start(record_, {.takes = 40ms, .outcome = {0, 512}});
    kernel::OVERLAPPED other{};
    EXPECT_FALSE(kernel::CancelIoEx(file_, &other));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_NOT_FOUND);
    EXPECT_TRUE(kernel::GetOverlappedResult(file_, &record_, nullptr, true));
    EXPECT_FALSE(kernel::CancelIoEx(file_, &record_)); // it has ended
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_NOT_FOUND);
}

TEST_F(PendingTransfersTest, OnlyTheFilesOwnTransfersAreCancelled) {
    kernel::HANDLE const otherFile = openOverlapped();
    start(record_, {.takes = 40ms, .outcome = {0, 512}});
    EXPECT_FALSE(kernel::CancelIoEx(otherFile, &record_));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_NOT_FOUND);
    EXPECT_TRUE(kernel::GetOverlappedResult(file_, &record_, nullptr, true));
    kernel::CloseHandle(otherFile);
}

} // namespace
