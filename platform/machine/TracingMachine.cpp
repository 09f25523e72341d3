#include "TracingMachine.h"

#include "ControlNames.h"
#include "Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>

namespace machine {

namespace {

// The member with the control's name; empty for a control that has none here.
std::string nameMember(std::uint32_t code, bool toController) {
    char const * const name = controlName(code, toController);
    return name == nullptr ? std::string() : fmt::format(R"("name":"{}",)", name);
}

std::string quoted(std::u16string_view text) {
    std::string json = "\"";
    for (char const character : toUtf8(text)) {
        if (character == '"' || character == '\\') {
            json += '\\';
            json += character;
        } else if (static_cast<unsigned char>(character) < 0x20) {
            json += fmt::format("\\u{:04x}", static_cast<unsigned>(character));
        } else {
            json += character;
        }
    }
    return json += '"';
}

// Seconds to the nanosecond, exactly.
std::string seconds(Duration duration) {
    auto const whole = std::chrono::duration_cast<std::chrono::seconds>(duration);
    return fmt::format("{}.{:09}", whole.count(), (duration - whole).count());
}

} // namespace

class TracingMachine::TracedClock final : public Clock {
public:
    TracedClock(Clock & traced, Lines const & lines) : traced_(traced), lines_(lines) {}

    Duration now() const override { return traced_.now(); }
    bool isVirtual() const override { return traced_.isVirtual(); }

    void sleep(Duration duration) override {
        Duration const start = now();
        traced_.sleep(duration);
        lines_.write(fmt::format(R"({{"t":{},"call":"wait","seconds":{}}})", seconds(start),
                                 seconds(std::max(duration, Duration::zero()))));
    }

private:
    Clock & traced_;
    Lines const & lines_;
};

class TracingMachine::TracedTransfer final : public PendingTransfer {
public:
    TracedTransfer(std::unique_ptr<PendingTransfer> traced, std::shared_ptr<Lines> lines, std::uint32_t number)
        : traced_(std::move(traced)), lines_(std::move(lines)), number_(number) {}

    std::optional<Transfer> wait(Duration limit) override {
        Duration const start = now();
        std::optional<Transfer> const outcome = traced_->wait(limit);
        std::string const head = fmt::format(R"({{"t":{},"call":"waitTransfer","transfer":{},"limit":{})",
                                             seconds(start), number_, seconds(limit));
        std::string const took = seconds(now() - start);
        write(outcome ? fmt::format(R"({},"moved":{},"error":{},"seconds":{}}})", head, outcome->bytes, outcome->error,
                                    took)
                      : fmt::format(R"({},"pending":true,"seconds":{}}})", head, took));
        return outcome;
    }

    void cancel() override {
        write(fmt::format(R"({{"t":{},"call":"cancelTransfer","transfer":{}}})", seconds(now()), number_));
        traced_->cancel();
    }

private:
    Duration now() const { return lines_->clock == nullptr ? Duration::zero() : lines_->clock->now(); }
    void write(std::string const & line) const {
        if (lines_->clock != nullptr) {
            lines_->write(line);
        }
    }

    std::unique_ptr<PendingTransfer> traced_;
    std::shared_ptr<Lines> lines_;
    std::uint32_t number_;
};

class TracingMachine::TracedFile final : public File {
public:
    TracedFile(std::unique_ptr<File> traced, TracingMachine & machine, std::uint32_t handle, bool isController)
        : traced_(std::move(traced)), machine_(machine), handle_(handle), isController_(isController) {}
    TracedFile(TracedFile const &) = delete;
    TracedFile & operator=(TracedFile const &) = delete;

    ~TracedFile() override {
        Duration const start = machine_.clock().now();
        traced_.reset();
        try {
            machine_.lines_->write(fmt::format(R"({{"t":{},"call":"close","handle":{}}})", seconds(start), handle_));
        } catch (...) {
            // Out of memory: the line is lost, the file is closed all the same.
        }
    }

    Started read(std::uint64_t offset, std::span<std::byte> buffer) override {
        Duration const start = machine_.clock().now();
        return noted(start, "read", offset, buffer.size(), traced_->read(offset, buffer));
    }
    Started write(std::uint64_t offset, std::span<std::byte const> buffer) override {
        Duration const start = machine_.clock().now();
        return noted(start, "write", offset, buffer.size(), traced_->write(offset, buffer));
    }

    std::uint32_t flush() override {
        Duration const start = machine_.clock().now();
        std::uint32_t const error = traced_->flush();
        machine_.lines_->write(
            fmt::format(R"({{"t":{},"call":"flush","handle":{},"error":{}}})", seconds(start), handle_, error));
        return error;
    }

    Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                     std::optional<Duration> limit) override {
        Duration const start = machine_.clock().now();
        Transfer const transfer = traced_->control(code, input, output, limit);
        machine_.lines_->write(
            fmt::format(R"({{"t":{},"call":"control","handle":{},"code":"0x{:X}",{}"in":{},"out":{},"limit":{},)"
                        R"("returned":{},"error":{}}})",
                        seconds(start), handle_, code, nameMember(code, isController_), input.size(), output.size(),
                        limit ? seconds(*limit) : "null", transfer.bytes, transfer.error));
        return transfer;
    }

private:
    Started noted(Duration start, char const * call, std::uint64_t offset, std::size_t bytes, Started started) {
        std::string const head = fmt::format(R"({{"t":{},"call":"{}","handle":{},"offset":{},"bytes":{})",
                                             seconds(start), call, handle_, offset, bytes);
        if (started.pending == nullptr) {
            machine_.lines_->write(fmt::format(R"({},"moved":{},"error":{},"seconds":{}}})", head,
                                               started.transfer.bytes, started.transfer.error,
                                               seconds(machine_.clock().now() - start)));
            return started;
        }
        std::uint32_t const number = ++machine_.lines_->lastTransfer;
        machine_.lines_->write(fmt::format(R"({},"transfer":{}}})", head, number));
        started.pending = std::make_unique<TracedTransfer>(std::move(started.pending), machine_.lines_, number);
        return started;
    }

    std::unique_ptr<File> traced_;
    TracingMachine & machine_;
    std::uint32_t handle_;
    bool isController_;
};

TracingMachine::TracingMachine(Machine & traced, std::ostream & stream)
    : TracingMachine(traced, [&stream](std::string_view line) {
          try {
              stream << line << '\n';
          } catch (...) {
              // A stream may have been told to throw; a lost trace must not change what is traced.
          }
      }) {}

TracingMachine::TracingMachine(Machine & traced, WriteLine writeLine)
    : traced_(traced), lines_(std::make_shared<Lines>(Lines{std::move(writeLine), &traced.clock()})),
      clock_(std::make_unique<TracedClock>(traced.clock(), *lines_)) {
    DeviceTree const & tree = traced_.devices();
    for (NodeId id = tree.root(); id <= tree.size(); ++id) {
        if (tree[id].nodeClass == NodeClass::HostController) {
            controllerPaths_.insert(foldedCase(withoutDevicePrefix(tree[id].interfacePath)));
        }
    }
}

TracingMachine::~TracingMachine() {
    lines_->clock = nullptr;
}

Opened TracingMachine::open(OpenRequest const & request) {
    Duration const start = clock_->now();
    Opened opened = traced_.open(request);
    std::string const head = fmt::format(
        R"({{"t":{},"call":"open","path":{},"access":"0x{:X}","share":"0x{:X}","disposition":"0x{:X}","flags":"0x{:X}")",
        seconds(start), quoted(request.path), request.access, request.share, request.disposition, request.flags);
    if (!opened.file) {
        lines_->write(fmt::format(R"({},"error":{}}})", head, opened.error));
        return opened;
    }
    ++lastHandle_;
    lines_->write(fmt::format(R"({},"handle":{}}})", head, lastHandle_));
    opened.file = std::make_unique<TracedFile>(std::move(opened.file), *this, lastHandle_, isController(request.path));
    return opened;
}

Clock & TracingMachine::clock() {
    return *clock_;
}

bool TracingMachine::isController(std::u16string_view path) const {
    return controllerPaths_.contains(foldedCase(withoutDevicePrefix(path)));
}

} // namespace machine
