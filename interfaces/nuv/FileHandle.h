#pragma once

#include "../kernel/Files.h"
#include "SharedResourceManager.h"
#include "String.h"

#include <cstdint>

namespace nuv {

// The arguments of one open, with the meaning and the values of the kernel service CreateFileW.
struct CreateFileOpenArgs {
    String fileName;
    std::uint32_t desiredAccess = 0;
    std::uint32_t shareMode = 0;
    std::uint32_t creationDisposition = kernel::OPEN_EXISTING;
    std::uint32_t flagsAndAttributes = 0;
};

// Sole owner of a file handle: closes it when it goes. Knows its invalid value (all bits set), which a failed open
// leaves; the kernel's last error then tells why. Closing preserves the last error.
class FileHandleResManager {
public:
    FileHandleResManager() = default;                               // invalid
    explicit FileHandleResManager(CreateFileOpenArgs const & args); // opens; may block as CreateFileW does
    explicit FileHandleResManager(kernel::HANDLE owned) : handle_(owned) {}
    FileHandleResManager(FileHandleResManager && other) noexcept : handle_(other.handle_) {
        other.handle_ = kernel::INVALID_HANDLE_VALUE;
    }
    FileHandleResManager & operator=(FileHandleResManager && other) noexcept;
    FileHandleResManager(FileHandleResManager const &) = delete;
    FileHandleResManager & operator=(FileHandleResManager const &) = delete;
    ~FileHandleResManager() { close(); }

    bool isValid() const { return handle_ != kernel::INVALID_HANDLE_VALUE; }
    kernel::HANDLE get() const { return handle_; } // still owned here
    void close();                                  // leaves the owner invalid

private:
    kernel::HANDLE handle_ = kernel::INVALID_HANDLE_VALUE;
};

// A file handle with several holders; the last one to go closes it.
using SharedFileHandle = SharedResource<FileHandleResManager>;

} // namespace nuv
