// The seam between everything that this program knows and the PC that it looks at: files that can be opened, asked,
// read and written, a device tree, volumes, a clock. Implemented by described PCs (simulated/) and by live ones.
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
#include <vector>

namespace machine {

// Outcome of one transfer or I/O control: a Windows error code, 0 for success, and the bytes moved or returned.
struct Transfer {
    std::uint32_t error = 0;
    std::uint32_t bytes = 0;
};

// A read or write that goes on after its start. Its buffer must stay alive until it has ended, and so must this object:
// one that never ends is never destroyed. It may outlive its file.
class PendingTransfer {
public:
    virtual ~PendingTransfer() = default;

    // The outcome; empty when the transfer has not ended when the limit is over. Not asked again after an outcome.
    virtual std::optional<Transfer> wait(Duration limit) = 0;

    virtual void cancel() = 0; // asks for the end; a device may go on all the same
};

// The outcome of a transfer that ended at once, or else the transfer under way.
struct Started {
    Transfer transfer;
    std::unique_ptr<PendingTransfer> pending;
};

// One open file or device. Its destruction closes it. Used by one thread.
class File {
public:
    virtual ~File() = default;

    // Reads or writes bytes at an offset. Goes on after the return only where the file was opened for overlapped I/O.
    virtual Started read(std::uint64_t offset, std::span<std::byte> buffer) = 0;
    virtual Started write(std::uint64_t offset, std::span<std::byte const> buffer) = 0;

    // Has the device put what was written where a loss of power leaves it. A Windows error, 0 for success; 1 or 50 from
    // a device that knows no such request. Blocks until the device has done it.
    virtual std::uint32_t flush() = 0;

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

struct VolumePaths {
    std::vector<std::u16string> paths;
    bool complete = true; // false when the PC may have others that it failed to tell of
};

// What the PC can run out of.
enum class Resource : std::uint8_t { Memory, Event };

class Machine {
public:
    virtual ~Machine() = default;

    virtual std::string name() const = 0; // for people: what PC this is, UTF-8

    virtual Opened open(OpenRequest const & request) = 0;
    virtual DeviceTree const & devices() const = 0; // as it was when it was read; valid as long as the machine
    virtual bool isPresent(NodeId node) const = 0;  // now: a device can be unplugged after the tree was read
    virtual Clock & clock() = 0;

    // The paths of the volumes, such as \\?\Volume{...}, by which they can be opened.
    virtual VolumePaths volumes() const = 0;

    // Asks for one more of a resource: 0 when the PC grants it, else the Windows error.
    virtual std::uint32_t take(Resource resource) = 0;

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
