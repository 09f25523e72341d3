// I/O controls that are bounded in time, although a device may never answer.
#pragma once

#include "Handle.h"
#include "machine/Machine.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

namespace machine::windows {

// One I/O control with all that the device may touch. Lives until the device has answered.
class ControlCall {
public:
    ControlCall(std::shared_ptr<FileHandle const> file, std::uint32_t code, std::span<std::byte const> input,
                std::size_t outputSize);
    ControlCall(ControlCall const &) = delete;
    ControlCall & operator=(ControlCall const &) = delete;

    void carryOut(); // returns when the device has answered
    void cancel();   // asks for the answer, from another thread

    Transfer outcome() const { return outcome_; }
    std::span<std::byte const> output() const { return output_; } // what came back

private:
    std::shared_ptr<FileHandle const> file_;
    std::uint32_t code_;
    std::vector<std::byte> input_;
    std::vector<std::byte> output_;
    EventHandle ended_;
    OVERLAPPED overlapped_{};
    std::atomic<bool> isCancelled_ = false;
    Transfer outcome_;
};

// Threads that wait for devices. One that waits for ever is given up, and its call with it; the others have ended when
// this goes.
class ControlThreads {
public:
    // A thread that runs something; one that cannot be joined when there is none to be had.
    using Start = std::function<std::thread(std::function<void()> body)>;

    ControlThreads();
    explicit ControlThreads(Start start);
    ControlThreads(ControlThreads const &) = delete;
    ControlThreads & operator=(ControlThreads const &) = delete;
    ~ControlThreads();

    // 0 when the call was answered, by whatever outcome. Otherwise it is no longer the caller's: 121 when the limit is
    // over, 8 when there is no thread for it, so that the device was not asked at all.
    std::uint32_t carryOut(std::shared_ptr<ControlCall> const & call, Duration limit);

private:
    class Thread;

    std::shared_ptr<Thread> take(); // an idle one, or a new one; null when there is none to be had

    Start const start_;
    std::mutex lock_;
    std::vector<std::shared_ptr<Thread>> idle_;
};

} // namespace machine::windows
