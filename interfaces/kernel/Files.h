#pragma once

#include <cstddef>
#include <cstdint>

namespace kernel {

using HANDLE = void *;

inline HANDLE const INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});

// Desired access, share mode, disposition, flags: bit values of CreateFileW.
inline constexpr std::uint32_t GENERIC_READ = 0x80000000;
inline constexpr std::uint32_t GENERIC_WRITE = 0x40000000;
inline constexpr std::uint32_t FILE_SHARE_READ = 0x00000001;
inline constexpr std::uint32_t FILE_SHARE_WRITE = 0x00000002;
inline constexpr std::uint32_t OPEN_EXISTING = 3;
inline constexpr std::uint32_t FILE_ATTRIBUTE_NORMAL = 0x00000080;
inline constexpr std::uint32_t FILE_FLAG_WRITE_THROUGH = 0x80000000;
inline constexpr std::uint32_t FILE_FLAG_OVERLAPPED = 0x40000000;
inline constexpr std::uint32_t FILE_FLAG_NO_BUFFERING = 0x20000000;

// Windows error codes that this module and the libraries below it tell apart.
inline constexpr std::uint32_t ERROR_SUCCESS = 0;
inline constexpr std::uint32_t ERROR_INVALID_FUNCTION = 1;
inline constexpr std::uint32_t ERROR_FILE_NOT_FOUND = 2;
inline constexpr std::uint32_t ERROR_PATH_NOT_FOUND = 3;
inline constexpr std::uint32_t ERROR_ACCESS_DENIED = 5;
inline constexpr std::uint32_t ERROR_INVALID_HANDLE = 6;
inline constexpr std::uint32_t ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr std::uint32_t ERROR_WRITE_PROTECT = 19;
inline constexpr std::uint32_t ERROR_NOT_READY = 21;
inline constexpr std::uint32_t ERROR_CRC = 23;
inline constexpr std::uint32_t ERROR_BAD_LENGTH = 24;
inline constexpr std::uint32_t ERROR_SECTOR_NOT_FOUND = 27;
inline constexpr std::uint32_t ERROR_GEN_FAILURE = 31;
inline constexpr std::uint32_t ERROR_SHARING_VIOLATION = 32;
inline constexpr std::uint32_t ERROR_HANDLE_EOF = 38;
inline constexpr std::uint32_t ERROR_NOT_SUPPORTED = 50;
inline constexpr std::uint32_t ERROR_DEV_NOT_EXIST = 55;
inline constexpr std::uint32_t ERROR_INVALID_PARAMETER = 87;
inline constexpr std::uint32_t ERROR_SEM_TIMEOUT = 121;
inline constexpr std::uint32_t ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr std::uint32_t ERROR_NOT_LOCKED = 158;
inline constexpr std::uint32_t ERROR_MORE_DATA = 234;
inline constexpr std::uint32_t ERROR_NO_SUCH_DEVICE = 433;
inline constexpr std::uint32_t ERROR_OPERATION_ABORTED = 995;
inline constexpr std::uint32_t ERROR_IO_INCOMPLETE = 996;
inline constexpr std::uint32_t ERROR_IO_PENDING = 997;
inline constexpr std::uint32_t ERROR_MEDIA_CHANGED = 1110;
inline constexpr std::uint32_t ERROR_NO_MEDIA_IN_DRIVE = 1112;
inline constexpr std::uint32_t ERROR_IO_DEVICE = 1117;
inline constexpr std::uint32_t ERROR_DEVICE_NOT_CONNECTED = 1167;
inline constexpr std::uint32_t ERROR_NOT_FOUND = 1168;
inline constexpr std::uint32_t ERROR_DEVICE_REMOVED = 1617;

// State of one overlapped transfer. The caller owns it; with the buffer and the event it must stay alive until the
// transfer has ended. Layout of the published record on 64-bit Windows.
struct OVERLAPPED {
    std::uintptr_t Internal;
    std::uintptr_t InternalHigh;
    std::uint32_t Offset;     // of the transfer's first byte, low half
    std::uint32_t OffsetHigh; // and high half
    HANDLE hEvent;            // signalled when the transfer ends
};
static_assert(sizeof(void *) != 8 || sizeof(OVERLAPPED) == 32);

// Every function below sets the thread's last error when it fails and leaves it alone when it succeeds.

std::uint32_t GetLastError();
void SetLastError(std::uint32_t code);

// Opens a device or file by name, whatever the letter case. INVALID_HANDLE_VALUE when it fails: 2 no such name,
// 5 access denied, 32 somebody's share mode forbids it. The caller closes the handle. securityAttributes and
// templateFile are null. May block on slow hardware.
HANDLE CreateFileW(char16_t const * fileName, std::uint32_t desiredAccess, std::uint32_t shareMode,
                   void * securityAttributes, std::uint32_t creationDisposition, std::uint32_t flagsAndAttributes,
                   HANDLE templateFile);

// False for a handle that is not open.
bool CloseHandle(HANDLE handle);

// Sends an I/O control; sizes in bytes, input and output may be the same buffer. True when the device carried it out;
// bytesReturned then tells how much of the output it filled, and is 0 on failure. A query to a USB hub or host
// controller that is not answered within 5 seconds fails with 121, and that hub is not asked again during the run; its
// late answer never reaches the caller's buffer. On a handle opened for overlapped I/O a control with an overlapped
// record is given 10 seconds, and sets the record's event when it ends. Everything else blocks until the device
// answers.
bool DeviceIoControl(HANDLE device, std::uint32_t controlCode, void * input, std::uint32_t inputSize, void * output,
                     std::uint32_t outputSize, std::uint32_t * bytesReturned, OVERLAPPED * overlapped);

// Read or write byteCount bytes at the offset of the overlapped record, which is never null here: raw devices have no
// current position. On a handle opened for overlapped I/O the transfer may go on after the return (false with last
// error 997) until the record's event is set; the event is reset at the start. A transfer that fails at once sets no
// event.
bool ReadFile(HANDLE file, void * buffer, std::uint32_t byteCount, std::uint32_t * bytesRead, OVERLAPPED * overlapped);
bool WriteFile(HANDLE file, void const * buffer, std::uint32_t byteCount, std::uint32_t * bytesWritten,
               OVERLAPPED * overlapped);

// Has the device put everything that was written to it where a loss of power leaves it. Needs write access. Error 1 or
// 50 from a device that knows no such request.
bool FlushFileBuffers(HANDLE file);

// The outcome of an overlapped transfer. With wait it blocks until the transfer has ended; without, a transfer under
// way gives false and last error 996.
bool GetOverlappedResult(HANDLE file, OVERLAPPED * overlapped, std::uint32_t * bytesTransferred, bool wait);

// Asks for the end of an overlapped transfer; it ends by its event all the same, usually with error 995. False with
// 1168 when there is no such transfer under way.
bool CancelIoEx(HANDLE file, OVERLAPPED * overlapped);

// Error dialogs of the OS that the process does without, from now on. Returns the mode before.
inline constexpr std::uint32_t SEM_FAILCRITICALERRORS = 0x0001;
inline constexpr std::uint32_t SEM_NOOPENFILEERRORBOX = 0x8000;
std::uint32_t SetErrorMode(std::uint32_t mode);

// Memory, or null; zero-filled with GPTR, with any content with GMEM_FIXED. The caller gives it back with GlobalFree,
// which takes null and returns null when it succeeded.
inline constexpr std::uint32_t GMEM_FIXED = 0x0000;
inline constexpr std::uint32_t GPTR = 0x0040;
void * GlobalAlloc(std::uint32_t flags, std::size_t byteCount);
void * GlobalFree(void * memory);

} // namespace kernel
