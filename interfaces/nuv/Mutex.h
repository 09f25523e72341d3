#pragma once

#include <mutex>

namespace nuv {

// Mutual exclusion between threads; not recursive. lock() blocks until the mutex is free.
class mutex {
public:
    mutex() = default;
    mutex(mutex const &) = delete;
    mutex & operator=(mutex const &) = delete;

    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

} // namespace nuv
