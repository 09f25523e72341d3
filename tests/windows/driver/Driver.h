// The driver that forwards requests, from its loading to its unloading.
#pragma once

#include "Forwarder.h"
#include "machine/windows/Handle.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace livepc {

class Driver {
public:
    explicit Driver(std::wstring const & file); // throws a sentence when it cannot be loaded
    Driver(Driver const &) = delete;
    Driver & operator=(Driver const &) = delete;
    ~Driver();

    void addName(std::uint32_t number, std::u16string_view link);
    void removeName(std::uint32_t number);

    // Becomes set when there is a request, which next() gives once; it then waits for the following one.
    HANDLE requestEvent() const { return fetched_.get(); }
    struct Request {
        ForwarderRequest head;
        std::vector<std::byte> input;
    };
    Request next();

    void complete(ForwarderAnswer const & answer, std::span<std::byte const> output);

private:
    class Service {
    public:
        explicit Service(std::wstring const & file);
        Service(Service const &) = delete;
        Service & operator=(Service const &) = delete;
        ~Service();

    private:
        SC_HANDLE manager_ = nullptr;
        SC_HANDLE service_ = nullptr;
    };

    void control(std::uint32_t code, std::span<std::byte const> input);
    void fetch();

    Service service_;
    machine::windows::FileHandle device_;
    machine::windows::EventHandle controlled_;
    machine::windows::EventHandle fetched_;
    OVERLAPPED fetch_{};
    std::vector<std::byte> buffer_;
};

} // namespace livepc
