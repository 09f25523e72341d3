// Transfers and I/O controls that a device keeps. The device is a pipe whose other end is the test's.
#include "HandleCount.h"
#include "machine/windows/ControlThreads.h"
#include "machine/windows/LiveFile.h"
#include "machine/windows/PerformanceClock.h"
#include "machine/windows/Wide.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace {

using namespace std::chrono_literals;
using machine::windows::ControlCall;
using machine::windows::ControlThreads;
using machine::windows::FileHandle;

constexpr std::uint32_t waitForClient = 0x00110008; // FSCTL_PIPE_LISTEN, kept until a client opens the pipe
constexpr DWORD cancelled = ERROR_OPERATION_ABORTED;

class SlowDevice : public testing::Test {
protected:
    static std::wstring newName() {
        static int number = 0;
        return L"\\\\.\\pipe\\nuvrusb-test-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
               std::to_wstring(++number);
    }

    std::shared_ptr<FileHandle> makeServer() const {
        return std::make_shared<FileHandle>(CreateNamedPipeW(name_.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                                             PIPE_TYPE_BYTE, 1, 4096, 4096, 0, nullptr));
    }

    machine::Opened openClient(std::uint32_t flags) const {
        std::u16string const path = machine::windows::fromWide(name_);
        return machine::windows::openLive({.path = path,
                                           .access = GENERIC_READ | GENERIC_WRITE,
                                           .share = 0,
                                           .disposition = OPEN_EXISTING,
                                           .flags = flags},
                                          threads_);
    }

    void answer(std::string_view bytes) const {
        DWORD written = 0;
        OVERLAPPED overlapped{};
        machine::windows::EventHandle const ended;
        overlapped.hEvent = ended.get();
        WriteFile(server_->get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped);
        ASSERT_TRUE(GetOverlappedResult(server_->get(), &overlapped, &written, TRUE));
    }

    std::wstring const name_ = newName();
    std::shared_ptr<FileHandle> server_ = makeServer();
    std::shared_ptr<ControlThreads> threads_ = std::make_shared<ControlThreads>();
};

TEST_F(SlowDevice, ControlThatIsNotAnsweredIsGivenUpInTime) {
    machine::windows::PerformanceClock const clock;
    auto const call = std::make_shared<ControlCall>(server_, waitForClient, std::span<std::byte const>(), 0);
    machine::Duration const before = clock.now();

    EXPECT_EQ(threads_->carryOut(call, 50ms), DWORD{ERROR_SEM_TIMEOUT});

    EXPECT_GE(clock.now() - before, 49ms);
    EXPECT_LT(clock.now() - before, 5s);
}

TEST_F(SlowDevice, ControlThatIsCancelledBeforeItBeginsEnds) {
    ControlCall call(server_, waitForClient, {}, 0);

    call.cancel();
    call.carryOut();

    EXPECT_EQ(call.outcome().error, cancelled);
}

// Threads that have ended may leave something for those to come, as often as more of them live at once than ever
// before. A leak leaves something every time.
TEST_F(SlowDevice, GivenUpControlLeavesNothingBehindOnceItEnds) {
    machine::windows::PerformanceClock clock;
    auto const leavesSomething = [&] {
        std::size_t const before = test::handleCount();
        for (int i = 0; i < 20; ++i) {
            auto const call = std::make_shared<ControlCall>(server_, waitForClient, std::span<std::byte const>(), 0);
            EXPECT_EQ(threads_->carryOut(call, 1ms), DWORD{ERROR_SEM_TIMEOUT});
        }
        for (int i = 0; i < 50 && test::handleCount() > before; ++i) {
            clock.sleep(20ms); // the cancelled calls end on threads of their own
        }
        return test::handleCount() > before;
    };

    int times = 0;
    while (times < 5 && leavesSomething()) {
        ++times;
    }

    EXPECT_LT(times, 5);
}

TEST_F(SlowDevice, NextControlIsCarriedOutAfterOneThatWasGivenUp) {
    threads_->carryOut(std::make_shared<ControlCall>(server_, waitForClient, std::span<std::byte const>(), 0), 1ms);
    auto const unknown = std::make_shared<ControlCall>(server_, 0x0022FFFC, std::span<std::byte const>(), 16);

    EXPECT_EQ(threads_->carryOut(unknown, 5s), DWORD{ERROR_SUCCESS});

    EXPECT_NE(unknown->outcome().error, 0U);
    EXPECT_TRUE(unknown->output().empty());
}

TEST_F(SlowDevice, ControlForWhichThereIsNoThreadIsAShortageAndNoTimeout) {
    int asked = 0;
    threads_ = std::make_shared<ControlThreads>(
        [&asked](std::function<void()> body) { return ++asked == 1 ? std::thread() : std::thread(std::move(body)); });
    auto const client = openClient(0);
    ASSERT_EQ(client.error, 0U);
    std::array<std::byte, 16> output{};

    machine::Transfer const refused = client.file->control(0x0022FFFC, {}, output, 5s);
    machine::Transfer const answered = client.file->control(0x0022FFFC, {}, output, 5s);

    EXPECT_EQ(refused.error, DWORD{ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_EQ(refused.bytes, 0U);
    EXPECT_EQ(asked, 2);
    EXPECT_NE(answered.error, 0U);
    EXPECT_NE(answered.error, refused.error);
    EXPECT_NE(answered.error, DWORD{ERROR_SEM_TIMEOUT});
}

TEST_F(SlowDevice, ReadGoesOnUntilTheDeviceAnswers) {
    auto const client = openClient(FILE_FLAG_OVERLAPPED);
    ASSERT_EQ(client.error, 0U);
    std::array<std::byte, 4> buffer{};
    auto const pending = client.file->read(0, buffer).pending;
    ASSERT_NE(pending, nullptr);
    EXPECT_FALSE(pending->wait(0ms).has_value());
    EXPECT_FALSE(pending->wait(10ms).has_value());

    answer("abcd");

    auto const outcome = pending->wait(5s);
    ASSERT_TRUE(outcome.has_value());
    EXPECT_EQ(outcome->error, 0U);
    EXPECT_EQ(outcome->bytes, 4U);
    EXPECT_EQ(buffer[3], std::byte{'d'});
}

TEST_F(SlowDevice, CancelledReadEndsAsCancelled) {
    auto const client = openClient(FILE_FLAG_OVERLAPPED);
    std::array<std::byte, 4> buffer{};
    auto const pending = client.file->read(0, buffer).pending;
    ASSERT_NE(pending, nullptr);

    pending->cancel();

    auto const outcome = pending->wait(5s);
    ASSERT_TRUE(outcome.has_value());
    EXPECT_EQ(outcome->error, cancelled);
    EXPECT_EQ(outcome->bytes, 0U);
}

TEST_F(SlowDevice, ReadOutlivesItsFile) {
    auto client = openClient(FILE_FLAG_OVERLAPPED);
    std::array<std::byte, 4> buffer{};
    auto const pending = client.file->read(0, buffer).pending;
    ASSERT_NE(pending, nullptr);
    client.file.reset();

    answer("abcd");

    EXPECT_EQ(pending->wait(5s).value_or(machine::Transfer{}).bytes, 4U);
}

TEST_F(SlowDevice, FilesAndTransfersLeaveNoHandleBehind) {
    openClient(FILE_FLAG_OVERLAPPED);
    std::size_t const before = test::handleCount();
    for (int i = 0; i < 10; ++i) {
        server_.reset();
        server_ = makeServer();
        auto const client = openClient(FILE_FLAG_OVERLAPPED);
        ASSERT_EQ(client.error, 0U);
        std::array<std::byte, 4> buffer{};
        auto const pending = client.file->read(0, buffer).pending;
        answer("abcd");
        EXPECT_TRUE(pending->wait(5s).has_value());
        client.file->control(0x0022FFFC, {}, {}, std::nullopt);
    }
    EXPECT_EQ(test::handleCount(), before);
}

} // namespace
