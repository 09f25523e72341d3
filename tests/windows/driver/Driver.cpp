#include "Driver.h"

#include <cstring>
#include <stdexcept>

namespace livepc {

namespace {

[[noreturn]] void fail(std::string const & what) {
    throw std::runtime_error(what + ": error " + std::to_string(GetLastError()));
}

} // namespace

Driver::Service::Service(std::wstring const & file)
    : manager_(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)) {
    if (manager_ == nullptr) {
        fail("the service manager cannot be opened");
    }
    service_ = CreateServiceW(manager_, FORWARDER_SERVICE, nullptr, SERVICE_ALL_ACCESS, SERVICE_KERNEL_DRIVER,
                              SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, file.c_str(), nullptr, nullptr, nullptr,
                              nullptr, nullptr);
    if (service_ == nullptr && GetLastError() == ERROR_SERVICE_EXISTS) {
        service_ = OpenServiceW(manager_, FORWARDER_SERVICE, SERVICE_ALL_ACCESS);
    }
    if (service_ == nullptr) {
        CloseServiceHandle(manager_);
        fail("the driver cannot be installed");
    }
    if (StartServiceW(service_, 0, nullptr) == FALSE && GetLastError() != ERROR_SERVICE_ALREADY_RUNNING) {
        DWORD const error = GetLastError();
        DeleteService(service_);
        CloseServiceHandle(service_);
        CloseServiceHandle(manager_);
        SetLastError(error);
        fail("the driver cannot be started");
    }
}

Driver::Service::~Service() {
    SERVICE_STATUS status{};
    ControlService(service_, SERVICE_CONTROL_STOP, &status);
    DeleteService(service_);
    CloseServiceHandle(service_);
    CloseServiceHandle(manager_);
}

Driver::Driver(std::wstring const & file)
    : service_(file), device_(CreateFileW(L"\\\\.\\" FORWARDER_DEVICE, GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr)),
      buffer_(sizeof(ForwarderRequest) + forwarderMostBytes) {
    if (!device_.isValid()) {
        fail("the driver's device cannot be opened");
    }
    fetch_.hEvent = fetched_.get();
    fetch();
}

Driver::~Driver() {
    DWORD size = 0;
    CancelIoEx(device_.get(), &fetch_);
    GetOverlappedResult(device_.get(), &fetch_, &size, TRUE); // the buffer is the driver's until then
}

void Driver::fetch() {
    ResetEvent(fetched_.get());
    auto const size = static_cast<DWORD>(buffer_.size());
    if (DeviceIoControl(device_.get(), static_cast<DWORD>(forwarderNext), nullptr, 0, buffer_.data(), size, nullptr,
                        &fetch_) == FALSE &&
        GetLastError() != ERROR_IO_PENDING) {
        fail("no request can be fetched");
    }
}

Driver::Request Driver::next() {
    DWORD size = 0;
    if (GetOverlappedResult(device_.get(), &fetch_, &size, TRUE) == FALSE) {
        fail("no request was fetched");
    }
    Request request{};
    if (size < sizeof request.head) {
        throw std::runtime_error("a request is too short");
    }
    std::memcpy(&request.head, buffer_.data(), sizeof request.head);
    request.input.assign(buffer_.begin() + sizeof request.head, buffer_.begin() + size);
    fetch();
    return request;
}

void Driver::control(std::uint32_t code, std::span<std::byte const> input) {
    OVERLAPPED overlapped{};
    overlapped.hEvent = controlled_.get();
    std::vector<std::byte> bytes(input.begin(), input.end());
    DWORD size = 0;
    bool succeeded = DeviceIoControl(device_.get(), code, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, 0,
                                     nullptr, &overlapped) != FALSE;
    if (!succeeded && GetLastError() == ERROR_IO_PENDING) {
        succeeded = GetOverlappedResult(device_.get(), &overlapped, &size, TRUE) != FALSE;
    }
    if (!succeeded) {
        fail("the driver refuses a control");
    }
}

void Driver::addName(std::uint32_t number, std::u16string_view link) {
    std::vector<std::byte> bytes(sizeof number + link.size() * sizeof(char16_t));
    std::memcpy(bytes.data(), &number, sizeof number);
    std::memcpy(bytes.data() + sizeof number, link.data(), link.size() * sizeof(char16_t));
    control(static_cast<std::uint32_t>(forwarderAdd), bytes);
}

void Driver::removeName(std::uint32_t number) {
    control(static_cast<std::uint32_t>(forwarderRemove), std::as_bytes(std::span(&number, 1)));
}

void Driver::complete(ForwarderAnswer const & answer, std::span<std::byte const> output) {
    std::vector<std::byte> bytes(sizeof answer + output.size());
    std::memcpy(bytes.data(), &answer, sizeof answer);
    if (!output.empty()) {
        std::memcpy(bytes.data() + sizeof answer, output.data(), output.size());
    }
    control(static_cast<std::uint32_t>(forwarderComplete), bytes);
}

} // namespace livepc
