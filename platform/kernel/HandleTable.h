// The open files and events of the process. A handle is a number made of a place in the table and of how often that
// place was used before, never an address: a stale or foreign handle is recognised and leads nowhere.
#pragma once

#include "kernel.h"
#include "machine/Machine.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace kernel {

// What a handle stands for.
struct KernelObject {
    KernelObject() = default;
    KernelObject(KernelObject const &) = delete;
    KernelObject & operator=(KernelObject const &) = delete;
    virtual ~KernelObject() = default;
};

struct OpenFile final : KernelObject {
    std::unique_ptr<machine::File> file;
    std::u16string key;      // which device this is: its path without prefix, folded
    bool overlapped = false; // opened for overlapped I/O
};

struct Event final : KernelObject {
    bool manualReset = false;
    std::atomic<bool> isSet = false;
};

class HandleTable {
public:
    static HandleTable & instance();

    // A handle for the file, or INVALID_HANDLE_VALUE when the table is full.
    HANDLE add(std::shared_ptr<KernelObject> object);

    // Empty for a handle that is not open, or stands for something else. An object that is in use stays alive when its
    // handle is closed meanwhile.
    std::shared_ptr<OpenFile> findFile(HANDLE handle) const;
    std::shared_ptr<Event> findEvent(HANDLE handle) const;

    // Takes the object out; empty for a handle that is not open.
    std::shared_ptr<KernelObject> remove(HANDLE handle);

    std::size_t size() const; // open handles

private:
    struct Place {
        std::shared_ptr<KernelObject> object;
        std::uintptr_t generation = 1;
    };

    std::shared_ptr<KernelObject> find(HANDLE handle) const;

    // The place of an open handle in places_, or its size. With the lock held.
    std::size_t placeOf(HANDLE handle) const;

    mutable std::mutex lock_;
    std::vector<Place> places_;
    std::vector<std::size_t> free_;
    std::size_t open_ = 0;
};

} // namespace kernel
