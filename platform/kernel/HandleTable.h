// The open files of the process. A handle is a number made of a place in the table and of how often that place was used
// before, never an address: a stale or foreign handle is recognised and leads nowhere.
#pragma once

#include "kernel.h"
#include "machine/Machine.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace kernel {

struct OpenFile {
    std::unique_ptr<machine::File> file;
    std::u16string key; // which device this is: its path without prefix, folded
};

class HandleTable {
public:
    static HandleTable & instance();

    // A handle for the file, or INVALID_HANDLE_VALUE when the table is full.
    HANDLE add(std::shared_ptr<OpenFile> file);

    // Empty for a handle that is not open. A file that is in use stays alive when its handle is closed meanwhile.
    std::shared_ptr<OpenFile> find(HANDLE handle) const;

    // Takes the file out; empty for a handle that is not open.
    std::shared_ptr<OpenFile> remove(HANDLE handle);

    std::size_t size() const; // open handles

private:
    struct Place {
        std::shared_ptr<OpenFile> file;
        std::uintptr_t generation = 1;
    };

    // The place of an open handle in places_, or its size. With the lock held.
    std::size_t placeOf(HANDLE handle) const;

    mutable std::mutex lock_;
    std::vector<Place> places_;
    std::vector<std::size_t> free_;
    std::size_t open_ = 0;
};

} // namespace kernel
