// What the handler makes of the events that Windows sends to a console program. That a closed console leaves the
// program the time for its end is shown on the program itself.
#include "terminal/windows/StopEvents.h"
#include "terminal/Console.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;

bool isRequested() {
    return WaitForSingleObject(terminal::stopRequests().stop, 0) == WAIT_OBJECT_0;
}

// The handler on a thread of its own, which this test leaves behind where it does not return.
class Sent {
public:
    explicit Sent(DWORD kind) {
        std::thread([kind, returned = returned_] { *returned = terminal::onControlEvent(kind) != FALSE; }).detach();
    }
    bool returns(std::chrono::milliseconds limit) const {
        for (auto waited = 0ms; waited < limit && !*returned_; waited += 10ms) {
            std::this_thread::sleep_for(10ms);
        }
        return *returned_;
    }

private:
    std::shared_ptr<std::atomic<bool>> returned_ = std::make_shared<std::atomic<bool>>(false);
};

class StopEvents : public testing::Test {
protected:
    StopEvents() {
        ResetEvent(terminal::stopRequests().stop);
        ResetEvent(terminal::stopRequests().end);
    }
};

class LastEvents : public StopEvents, public testing::WithParamInterface<DWORD> {};

TEST_P(LastEvents, AskForTheStopAndNeverReturn) {
    ASSERT_FALSE(isRequested());

    Sent const event(GetParam());

    EXPECT_EQ(WaitForSingleObject(terminal::stopRequests().stop, 5000), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(terminal::stopRequests().end, 0), WAIT_OBJECT_0);
    EXPECT_FALSE(event.returns(300ms));
}

TEST_P(LastEvents, ChangeNothingWhenTheyComeAgain) {
    Sent const first(GetParam());
    ASSERT_EQ(WaitForSingleObject(terminal::stopRequests().stop, 5000), WAIT_OBJECT_0);

    Sent const second(GetParam());
    Sent const third(CTRL_C_EVENT); // goes on as if there were none before it

    EXPECT_TRUE(third.returns(5s));
    EXPECT_FALSE(second.returns(300ms));
    EXPECT_FALSE(first.returns(10ms));
    EXPECT_TRUE(isRequested());
}

INSTANTIATE_TEST_SUITE_P(Windows, LastEvents, testing::Values(CTRL_CLOSE_EVENT, CTRL_LOGOFF_EVENT, CTRL_SHUTDOWN_EVENT),
                         [](auto const & instance) { return "Event" + std::to_string(instance.param); });

TEST_F(StopEvents, OfKeysLetTheProcessGoOn) {
    ASSERT_FALSE(isRequested());
    for (DWORD const kind : {DWORD{CTRL_C_EVENT}, DWORD{CTRL_BREAK_EVENT}, DWORD{CTRL_C_EVENT}}) {
        EXPECT_TRUE(Sent(kind).returns(5s)) << kind;
        EXPECT_TRUE(isRequested());
    }
    EXPECT_EQ(WaitForSingleObject(terminal::stopRequests().end, 0), WAIT_TIMEOUT);
}

TEST_F(StopEvents, SessionMayEnd) {
    EXPECT_NE(terminal::onSessionMessage(nullptr, WM_QUERYENDSESSION, 0, ENDSESSION_LOGOFF), FALSE);
    EXPECT_FALSE(isRequested());
}

TEST_F(StopEvents, SessionThatGoesOnAsksForNoStop) {
    EXPECT_EQ(terminal::onSessionMessage(nullptr, WM_ENDSESSION, FALSE, 0), 0);
    EXPECT_FALSE(isRequested());
}

TEST_F(StopEvents, SessionThatEndsAsksForTheStopAndWaits) {
    auto const returned = std::make_shared<std::atomic<bool>>(false);
    std::thread([returned] {
        terminal::onSessionMessage(nullptr, WM_ENDSESSION, TRUE, static_cast<LPARAM>(ENDSESSION_LOGOFF));
        *returned = true;
    }).detach();

    EXPECT_EQ(WaitForSingleObject(terminal::stopRequests().stop, 5000), WAIT_OBJECT_0);
    std::this_thread::sleep_for(300ms);
    EXPECT_FALSE(*returned);
}

// As programs are asked to close that have a window.
TEST_F(StopEvents, ClosedWindowIsARequestAndStays) {
    WNDCLASSW look{};
    look.lpfnWndProc = terminal::onSessionMessage;
    look.hInstance = GetModuleHandleW(nullptr);
    look.lpszClassName = L"nuvrusb test";
    ASSERT_NE(RegisterClassW(&look), 0);
    HWND const window =
        CreateWindowExW(0, look.lpszClassName, L"test", 0, 0, 0, 0, 0, nullptr, nullptr, look.hInstance, nullptr);
    ASSERT_NE(window, nullptr);

    SendMessageW(window, WM_CLOSE, 0, 0);

    EXPECT_TRUE(isRequested());
    EXPECT_EQ(WaitForSingleObject(terminal::stopRequests().end, 0), WAIT_TIMEOUT);
    EXPECT_NE(IsWindow(window), FALSE);
    DestroyWindow(window);
    UnregisterClassW(look.lpszClassName, look.hInstance);
}

TEST_F(StopEvents, AreSeenByTheConsole) {
    auto const console = terminal::openStandardConsole();
    ASSERT_FALSE(console->stopRequested());

    Sent const event(CTRL_CLOSE_EVENT);

    EXPECT_EQ(WaitForSingleObject(terminal::stopRequests().stop, 5000), WAIT_OBJECT_0);
    EXPECT_TRUE(console->stopRequested());
}

} // namespace
