#include "ScriptedMachine.h"
#include "kernel.h"
#include "kernel/Runtime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr bool manual = true;
constexpr bool resetsItself = false;

class EventsTest : public testing::Test {
protected:
    static kernel::HANDLE make(bool manualReset, bool isSet) {
        return kernel::CreateEventW(nullptr, manualReset, isSet, nullptr);
    }
    machine::Duration now() { return pc_.clock().now(); }

    support::ScriptedMachine pc_;
    machine::InUse inUse_{pc_};
};

TEST_F(EventsTest, AManualEventStaysSet) {
    kernel::HANDLE const event = make(manual, true);
    EXPECT_EQ(kernel::WaitForSingleObject(event, 1000), kernel::WAIT_OBJECT_0);
    EXPECT_EQ(kernel::WaitForSingleObject(event, 1000), kernel::WAIT_OBJECT_0);
    EXPECT_EQ(now(), 0s);
    kernel::CloseHandle(event);
}

TEST_F(EventsTest, AnEventThatResetsItselfIsSetForOneWait) {
    kernel::HANDLE const event = make(resetsItself, true);
    EXPECT_EQ(kernel::WaitForSingleObject(event, 1000), kernel::WAIT_OBJECT_0);
    EXPECT_EQ(kernel::WaitForSingleObject(event, 0), kernel::WAIT_TIMEOUT);
    kernel::CloseHandle(event);
}

TEST_F(EventsTest, EventsAreSetAndReset) {
    for (bool const manualReset : {manual, resetsItself}) {
        kernel::HANDLE const event = make(manualReset, false);
        EXPECT_EQ(kernel::WaitForSingleObject(event, 0), kernel::WAIT_TIMEOUT);
        EXPECT_TRUE(kernel::SetEvent(event));
        EXPECT_TRUE(kernel::ResetEvent(event));
        EXPECT_EQ(kernel::WaitForSingleObject(event, 0), kernel::WAIT_TIMEOUT);
        EXPECT_TRUE(kernel::SetEvent(event));
        EXPECT_EQ(kernel::WaitForSingleObject(event, 0), kernel::WAIT_OBJECT_0);
        kernel::CloseHandle(event);
    }
}

TEST_F(EventsTest, AWaitInVainTakesExactlyItsTime) {
    kernel::HANDLE const event = make(manual, false);
    EXPECT_EQ(kernel::WaitForSingleObject(event, 250), kernel::WAIT_TIMEOUT);
    EXPECT_EQ(now(), 250ms);
    EXPECT_EQ(kernel::WaitForSingleObject(event, 0), kernel::WAIT_TIMEOUT);
    EXPECT_EQ(now(), 250ms);
    EXPECT_EQ(kernel::WaitForSingleObject(event, 0xFFFFFFFE), kernel::WAIT_TIMEOUT);
    EXPECT_EQ(now(), 250ms + 4294967294ms);
    kernel::CloseHandle(event);
}

TEST_F(EventsTest, AWaitThatNobodyCouldEndIsRefused) {
    kernel::HANDLE const event = make(manual, false);
    EXPECT_EQ(kernel::WaitForSingleObject(event, kernel::INFINITE), kernel::WAIT_FAILED);
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
    EXPECT_EQ(now(), 0s);
    EXPECT_TRUE(kernel::SetEvent(event));
    EXPECT_EQ(kernel::WaitForSingleObject(event, kernel::INFINITE), kernel::WAIT_OBJECT_0);
    kernel::CloseHandle(event);
}

TEST_F(EventsTest, NeitherSuccessNorATimeoutTouchesTheLastError) {
    kernel::SetLastError(1117);
    kernel::HANDLE const event = make(manual, false);
    EXPECT_EQ(kernel::WaitForSingleObject(event, 1), kernel::WAIT_TIMEOUT);
    EXPECT_TRUE(kernel::SetEvent(event));
    EXPECT_EQ(kernel::WaitForSingleObject(event, 1), kernel::WAIT_OBJECT_0);
    EXPECT_TRUE(kernel::ResetEvent(event));
    EXPECT_TRUE(kernel::CloseHandle(event));
    EXPECT_EQ(kernel::GetLastError(), 1117U);
}

TEST_F(EventsTest, OnlyAnOpenEventIsOne) {
    kernel::HANDLE const file = kernel::CreateFileW(u"\\\\?\\device", 0, 0, nullptr, 3, 0, nullptr);
    kernel::HANDLE const closed = make(manual, true);
    kernel::CloseHandle(closed);
    for (kernel::HANDLE const handle : {kernel::HANDLE{}, kernel::INVALID_HANDLE_VALUE, closed, file}) {
        kernel::SetLastError(0);
        EXPECT_FALSE(kernel::SetEvent(handle));
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
        kernel::SetLastError(0);
        EXPECT_FALSE(kernel::ResetEvent(handle));
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
        kernel::SetLastError(0);
        EXPECT_EQ(kernel::WaitForSingleObject(handle, 100), kernel::WAIT_FAILED);
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(now(), 0s);
    kernel::CloseHandle(file);
}

TEST_F(EventsTest, AnEventIsNoFile) {
    kernel::HANDLE const event = make(manual, true);
    EXPECT_FALSE(kernel::DeviceIoControl(event, 0x70000, nullptr, 0, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
    EXPECT_EQ(pc_.controls, 0);
    kernel::CloseHandle(event);
}

TEST_F(EventsTest, OpenEventsCountAsOpenHandles) {
    kernel::HANDLE const first = make(manual, false);
    kernel::HANDLE const second = make(resetsItself, false);
    EXPECT_EQ(kernel::openHandleCount(), 2U);
    EXPECT_TRUE(kernel::CloseHandle(first));
    EXPECT_TRUE(kernel::CloseHandle(second));
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    EXPECT_FALSE(kernel::CloseHandle(second));
}

TEST_F(EventsTest, AShortageOfEventsIsAFailure) {
    pc_.shortage = machine::Resource::Event;
    pc_.shortageError = 1450;
    EXPECT_EQ(make(manual, false), nullptr);
    EXPECT_EQ(kernel::GetLastError(), 1450U);
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    pc_.shortage = machine::Resource::Memory; // which an event does not ask for
    kernel::HANDLE const event = make(manual, false);
    EXPECT_NE(event, nullptr);
    kernel::CloseHandle(event);
}

TEST_F(EventsTest, AFullTableIsAFailure) {
    std::vector<kernel::HANDLE> events;
    for (kernel::HANDLE event = make(manual, false); event != nullptr && events.size() < 100000;
         event = make(manual, false)) {
        events.push_back(event);
    }
    EXPECT_EQ(events.size(), 65536U);
    EXPECT_EQ(kernel::GetLastError(), 4U);
    for (kernel::HANDLE const event : events) {
        kernel::CloseHandle(event);
    }
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

} // namespace
