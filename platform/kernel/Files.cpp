#include "HandleTable.h"
#include "LastError.h"
#include "PendingTransfers.h"
#include "Runtime.h"
#include "SilentHubs.h"
#include "kernel.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

namespace kernel {

namespace {

// A wedged device makes its hub wait without end; a healthy hub answers in milliseconds.
constexpr std::chrono::seconds hubQueryLimit{5};

// Enough for a drive that spins down; a wedged one is not waited for.
constexpr std::chrono::seconds overlappedControlLimit{10};

// Device type of an I/O control code: what kind of device it is meant for.
constexpr std::uint32_t usbDeviceType = 0x22;

bool isHubQuery(std::uint32_t controlCode) {
    return controlCode >> 16 == usbDeviceType;
}

// Zero-filled bytes of one I/O control, on the stack as long as they are few. The records of hub queries fit.
class Scratch {
public:
    explicit Scratch(std::size_t size) : size_(size) {
        if (size_ > few_.size()) {
            many_.resize(size_);
        } else {
            std::fill_n(few_.begin(), size_, std::byte{});
        }
    }
    std::span<std::byte> bytes() { return {size_ > few_.size() ? many_.data() : few_.data(), size_}; }

private:
    std::size_t size_;
    std::array<std::byte, 2048> few_; // set in the constructor, as far as it is used
    std::vector<std::byte> many_;
};

} // namespace

HANDLE CreateFileW(char16_t const * fileName, std::uint32_t desiredAccess, std::uint32_t shareMode, void *,
                   std::uint32_t creationDisposition, std::uint32_t flagsAndAttributes, HANDLE) {
    if (fileName == nullptr || *fileName == u'\0') {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    machine::OpenRequest const request{fileName, desiredAccess, shareMode, creationDisposition, flagsAndAttributes};
    machine::Opened opened = machine::current().open(request);
    if (!opened.file) {
        SetLastError(opened.error == ERROR_SUCCESS ? ERROR_GEN_FAILURE : opened.error);
        return INVALID_HANDLE_VALUE;
    }
    auto file = std::make_shared<OpenFile>();
    file->file = std::move(opened.file);
    file->overlapped = (flagsAndAttributes & FILE_FLAG_OVERLAPPED) != 0;
    file->key = fileKey(request.path);
    HANDLE const handle = HandleTable::instance().add(std::move(file));
    if (handle == INVALID_HANDLE_VALUE) {
        SetLastError(tooManyOpenFiles);
    }
    return handle;
}

bool CloseHandle(HANDLE handle) {
    return HandleTable::instance().remove(handle) || fail(ERROR_INVALID_HANDLE);
}

bool DeviceIoControl(HANDLE device, std::uint32_t controlCode, void * input, std::uint32_t inputSize, void * output,
                     std::uint32_t outputSize, std::uint32_t * bytesReturned, OVERLAPPED * overlapped) {
    if (bytesReturned != nullptr) {
        *bytesReturned = 0;
    }
    std::shared_ptr<OpenFile> const file = HandleTable::instance().findFile(device);
    if (!file) {
        return fail(ERROR_INVALID_HANDLE);
    }
    if ((input == nullptr && inputSize != 0) || (output == nullptr && outputSize != 0)) {
        return fail(ERROR_INVALID_PARAMETER);
    }
    if (isHubQuery(controlCode) && SilentHubs::instance().contains(file->key)) {
        return fail(ERROR_SEM_TIMEOUT);
    }

    if (overlapped != nullptr) {
        begin(*overlapped);
    }

    // Copies, because the caller's two buffers may be one, and so that a failed control leaves its output alone.
    Scratch sent(inputSize);
    Scratch received(outputSize);
    if (inputSize != 0) {
        std::memcpy(sent.bytes().data(), input, inputSize);
    }
    std::optional<machine::Duration> limit;
    if (isHubQuery(controlCode)) {
        limit = hubQueryLimit;
    } else if (overlapped != nullptr && file->overlapped) {
        limit = overlappedControlLimit;
    }
    machine::Transfer const transfer = file->file->control(controlCode, sent.bytes(), received.bytes(), limit);
    if (transfer.error != ERROR_SUCCESS) {
        if (isHubQuery(controlCode) && transfer.error == ERROR_SEM_TIMEOUT) {
            SilentHubs::instance().add(file->key);
        }
        return fail(transfer.error);
    }
    std::uint32_t const returned = std::min(transfer.bytes, outputSize);
    if (returned != 0) {
        std::memcpy(output, received.bytes().data(), returned);
    }
    if (bytesReturned != nullptr) {
        *bytesReturned = returned;
    }
    if (overlapped != nullptr) {
        finish(*overlapped, {ERROR_SUCCESS, returned}, true);
    }
    return true;
}

} // namespace kernel
