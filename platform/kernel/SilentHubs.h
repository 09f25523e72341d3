// The hubs and host controllers that did not answer a query in this run.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <unordered_set>

namespace kernel {

class SilentHubs {
public:
    static SilentHubs & instance();

    bool contains(std::u16string const & key) const;
    void add(std::u16string const & key);
    void clear();

private:
    std::atomic<bool> any_ = false; // on a healthy PC no query takes the lock
    mutable std::mutex lock_;
    std::unordered_set<std::u16string> keys_;
};

} // namespace kernel
