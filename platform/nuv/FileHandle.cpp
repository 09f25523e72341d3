#include "nuv.h"

namespace nuv {

FileHandleResManager::FileHandleResManager(CreateFileOpenArgs const & args)
    : handle_(kernel::CreateFileW(args.fileName.c_str(), args.desiredAccess, args.shareMode, nullptr,
                                  args.creationDisposition, args.flagsAndAttributes, nullptr)) {}

FileHandleResManager & FileHandleResManager::operator=(FileHandleResManager && other) noexcept {
    if (this != &other) {
        close();
        handle_ = std::exchange(other.handle_, kernel::INVALID_HANDLE_VALUE);
    }
    return *this;
}

void FileHandleResManager::close() {
    if (!isValid()) {
        return;
    }
    std::uint32_t const lastError = kernel::GetLastError();
    kernel::CloseHandle(std::exchange(handle_, kernel::INVALID_HANDLE_VALUE));
    kernel::SetLastError(lastError);
}

} // namespace nuv
