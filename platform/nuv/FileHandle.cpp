#include "nuv.h"

#include "journal/Preservation.h"
#include "kernel/Runtime.h"

namespace nuv {

FileHandleResManager::FileHandleResManager(CreateFileOpenArgs const & args)
    : handle_(kernel::CreateFileW(args.fileName.c_str(), args.desiredAccess, args.shareMode, nullptr,
                                  args.creationDisposition, args.flagsAndAttributes, nullptr)) {
    journal::Preservation * const preservation = journal::Preservation::active();
    bool const mayWrite = isValid() && (args.desiredAccess & kernel::GENERIC_WRITE) != 0;
    if (preservation == nullptr || !preservation->isAnyUnderWay() || !mayWrite) {
        return;
    }
    std::u16string const disk = kernel::fileKey(handle_);
    if (preservation->isUnderWay(disk)) {
        std::uint32_t const lastError = kernel::GetLastError();
        preservation->noteOpened(disk, handle_);
        kernel::SetLastError(lastError);
    }
}

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
