// The hubs and host controllers that did not answer a query in this run.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

namespace kernel {

class SilentHubs {
public:
    static SilentHubs & instance();

    bool contains(std::u16string const & key) const;
    void add(std::u16string const & key);
    void clear();
    std::vector<std::u16string> names() const; // sorted

private:
    std::atomic<bool> any_ = false; // on a healthy PC no query takes the lock
    mutable std::mutex lock_;
    std::unordered_set<std::u16string> keys_;
};

} // namespace kernel
