#include "ControlThreads.h"

#include "Wait.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <utility>

namespace machine::windows {

namespace {

std::thread startThread(std::function<void()> body) {
    try {
        return std::thread(std::move(body));
    } catch (std::system_error const &) {
        return {};
    }
}

} // namespace

ControlCall::ControlCall(std::shared_ptr<FileHandle const> file, std::uint32_t code, std::span<std::byte const> input,
                         std::size_t outputSize)
    : file_(std::move(file)), code_(code), input_(input.begin(), input.end()), output_(outputSize) {
    overlapped_.hEvent = ended_.get();
}

void ControlCall::carryOut() {
    if (ended_.get() == nullptr) {
        outcome_.error = ERROR_NOT_ENOUGH_MEMORY;
        output_.clear();
        return;
    }
    if (isCancelled_) { // given up before it began
        outcome_.error = ERROR_OPERATION_ABORTED;
        output_.clear();
        return;
    }
    DWORD returned = 0;
    bool succeeded = DeviceIoControl(file_->get(), code_, input_.empty() ? nullptr : input_.data(),
                                     static_cast<DWORD>(input_.size()), output_.empty() ? nullptr : output_.data(),
                                     static_cast<DWORD>(output_.size()), &returned, &overlapped_) != FALSE;
    DWORD error = succeeded ? ERROR_SUCCESS : GetLastError();
    if (error == ERROR_IO_PENDING) {
        if (isCancelled_) {
            CancelIoEx(file_->get(), &overlapped_); // the first time it may have come before the control
        }
        succeeded = GetOverlappedResult(file_->get(), &overlapped_, &returned, TRUE) != FALSE;
        error = succeeded ? ERROR_SUCCESS : GetLastError();
    }
    // An answer that is longer than the output comes with an error and is there all the same.
    bool const hasOutput = succeeded || error == ERROR_MORE_DATA;
    output_.resize(hasOutput ? std::min<std::size_t>(returned, output_.size()) : 0);
    outcome_ = {error, static_cast<std::uint32_t>(output_.size())};
}

void ControlCall::cancel() {
    isCancelled_ = true;
    CancelIoEx(file_->get(), &overlapped_);
}

class ControlThreads::Thread {
public:
    static std::shared_ptr<Thread> start(Start const & start) {
        auto thread = std::make_shared<Thread>();
        if (thread->work_.get() != nullptr && thread->done_.get() != nullptr) {
            thread->thread_ = start([thread] { thread->run(); });
        }
        return thread->thread_.joinable() ? thread : nullptr;
    }

    bool carryOut(std::shared_ptr<ControlCall> const & call, Duration limit) {
        call_ = call;
        ResetEvent(done_.get());
        SetEvent(work_.get());
        return WaitForSingleObject(done_.get(), waitMilliseconds(limit)) == WAIT_OBJECT_0;
    }

    // While it waits for a device.
    void giveUp() {
        tellToEnd();
        thread_.detach();
    }

    // While it waits for work.
    void end() {
        tellToEnd();
        thread_.join();
    }

private:
    void tellToEnd() {
        ends_ = true;
        SetEvent(work_.get());
    }

    void run() {
        for (;;) {
            WaitForSingleObject(work_.get(), INFINITE);
            ResetEvent(work_.get());
            if (std::shared_ptr<ControlCall> const call = std::exchange(call_, nullptr)) {
                call->carryOut();
                SetEvent(done_.get());
            }
            if (ends_) {
                return;
            }
        }
    }

    EventHandle work_;
    EventHandle done_;
    std::shared_ptr<ControlCall> call_; // the thread's from work to done
    std::atomic<bool> ends_ = false;
    std::thread thread_; // the owner's
};

ControlThreads::ControlThreads() : ControlThreads(startThread) {}

ControlThreads::ControlThreads(Start start) : start_(std::move(start)) {}

ControlThreads::~ControlThreads() {
    for (auto const & thread : idle_) {
        thread->end();
    }
}

std::uint32_t ControlThreads::carryOut(std::shared_ptr<ControlCall> const & call, Duration limit) {
    std::shared_ptr<Thread> const thread = take();
    if (!thread) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    if (!thread->carryOut(call, limit)) {
        thread->giveUp();
        call->cancel();
        return ERROR_SEM_TIMEOUT;
    }
    std::lock_guard const guard(lock_);
    idle_.push_back(thread);
    return ERROR_SUCCESS;
}

std::shared_ptr<ControlThreads::Thread> ControlThreads::take() {
    {
        std::lock_guard const guard(lock_);
        if (!idle_.empty()) {
            std::shared_ptr<Thread> thread = std::move(idle_.back());
            idle_.pop_back();
            return thread;
        }
    }
    return Thread::start(start_);
}

} // namespace machine::windows
