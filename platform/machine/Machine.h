// The seam between everything that this program knows and the PC that it looks at: files that can be opened and asked,
// a device tree, a clock. Implemented by described PCs (simulated/) and by live ones.
#pragma once

#include "Clock.h"
#include "DeviceTree.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace machine {

// Outcome of one transfer or I/O control: a Windows error code, 0 for success, and the bytes moved or returned.
struct Transfer {
    std::uint32_t error = 0;
    std::uint32_t bytes = 0;
};

// One open file or device. Its destruction closes it. Used by one thread.
class File {
public:
    virtual ~File() = default;

    // Sends an I/O control. Input and output do not overlap. Returns at the latest when the limit is over, with error
    // 121; without a limit it blocks until the device answers. Nothing is written to the output after the return.
    virtual Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                             std::optional<Duration> limit) = 0;
};

// How to open a file: the values of CreateFileW.
struct OpenRequest {
    std::u16string_view path; // whatever the letter case
    std::uint32_t access = 0;
    std::uint32_t share = 0;
    std::uint32_t disposition = 0;
    std::uint32_t flags = 0;
};

// An open file, or the Windows error that prevented it.
struct Opened {
    std::unique_ptr<File> file;
    std::uint32_t error = 0;
};

class Machine {
public:
    virtual ~Machine() = default;

    virtual std::string name() const = 0; // for people: what PC this is, UTF-8

    virtual Opened open(OpenRequest const & request) = 0;
    virtual DeviceTree const & devices() const = 0; // valid as long as the machine
    virtual Clock & clock() = 0;

    // True when the machine knows, beyond what I/O controls can tell, that a port can do SuperSpeedPlus.
    virtual bool portDoesSuperSpeedPlus(std::u16string_view hubPath, std::uint32_t port) const = 0;
};

// The machine that the libraries work on. One at a time; the owner keeps it alive while it is in use.
Machine & current(); // ends the process when there is none: a programming error
class InUse {
public:
    explicit InUse(Machine & machine); // makes it the current one
    InUse(InUse const &) = delete;
    InUse & operator=(InUse const &) = delete;
    ~InUse(); // puts back the one before

private:
    Machine * previous_;
};

} // namespace machine
