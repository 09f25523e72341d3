// Writes down what is asked of a machine: one JSON object a line for every open, I/O control, read, write, flush,
// close and wait, with its outcome. docs/trace-io.schema.json describes the lines.
#pragma once

#include "Machine.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_set>

namespace machine {

class TracingMachine final : public Machine {
public:
    using WriteLine = std::function<void(std::string_view)>; // a line without its end; may be dropped, must not throw

    // The traced machine and the stream stay the caller's and outlive this one; files opened through it must be closed
    // before it goes.
    TracingMachine(Machine & traced, std::ostream & stream);
    TracingMachine(Machine & traced, WriteLine writeLine);
    TracingMachine(TracingMachine const &) = delete;
    TracingMachine & operator=(TracingMachine const &) = delete;
    ~TracingMachine() override;

    std::string name() const override { return traced_.name(); }
    Opened open(OpenRequest const & request) override;
    DeviceTree const & devices() const override { return traced_.devices(); }
    bool isPresent(NodeId node) const override { return traced_.isPresent(node); }
    Clock & clock() override;
    VolumePaths volumes() const override { return traced_.volumes(); }
    std::uint32_t take(Resource resource) override { return traced_.take(resource); }
    bool portDoesSuperSpeedPlus(std::u16string_view hubPath, std::uint32_t port) const override {
        return traced_.portDoesSuperSpeedPlus(hubPath, port);
    }

private:
    class TracedFile;
    class TracedTransfer;
    class TracedClock;

    // Where the lines go. A transfer that never ends outlives the machine, and then writes no more.
    struct Lines {
        WriteLine write;
        Clock * clock; // null once the machine is gone
        std::uint32_t lastTransfer = 0;
    };

    bool isController(std::u16string_view path) const;

    Machine & traced_;
    std::shared_ptr<Lines> lines_;
    std::unique_ptr<TracedClock> clock_;
    std::unordered_set<std::u16string> controllerPaths_; // folded, without prefix
    std::uint32_t lastHandle_ = 0;
};

} // namespace machine
