#pragma once

#include "Mutex.h"

#include <cstddef>
#include <mutex>
#include <utility>

namespace nuv {

// Shared ownership of one heap object. Copies share it; the count is kept under a mutex of the object's own, so that
// copies may live on different threads; the last holder to go deletes the object. A default-constructed holder is
// empty.
template <class T> class SharedResourceManager {
public:
    SharedResourceManager() = default;

    // Takes ownership of the object; a null pointer gives an empty holder.
    explicit SharedResourceManager(T * object) : shared_(object == nullptr ? nullptr : new Shared{object}) {}

    SharedResourceManager(SharedResourceManager const & other) : shared_(other.shared_) {
        if (shared_ != nullptr) {
            std::lock_guard const guard(shared_->lock);
            ++shared_->holders;
        }
    }
    SharedResourceManager(SharedResourceManager && other) noexcept : shared_(std::exchange(other.shared_, nullptr)) {}
    SharedResourceManager & operator=(SharedResourceManager other) noexcept {
        std::swap(shared_, other.shared_);
        return *this;
    }
    ~SharedResourceManager() { release(); }

    // Gives up this holder's share and leaves it empty.
    void release() {
        Shared * const shared = std::exchange(shared_, nullptr);
        if (shared == nullptr) {
            return;
        }
        bool last = false;
        {
            std::lock_guard const guard(shared->lock);
            last = --shared->holders == 0;
        }
        if (last) {
            delete shared->object;
            delete shared;
        }
    }

    T * get() const { return shared_ == nullptr ? nullptr : shared_->object; } // null when empty
    T & operator*() const { return *get(); }                                   // not on an empty holder
    T * operator->() const { return get(); }                                   // not on an empty holder
    explicit operator bool() const { return shared_ != nullptr; }

    friend bool operator==(SharedResourceManager const & a, SharedResourceManager const & b) {
        return a.get() == b.get();
    }

private:
    struct Shared {
        T * object;
        mutex lock{};
        std::size_t holders = 1;
    };

    Shared * shared_ = nullptr;
};

// The same holder under the name it goes by for resources that are not plain objects, such as file handles.
template <class T> using SharedResource = SharedResourceManager<T>;

} // namespace nuv
