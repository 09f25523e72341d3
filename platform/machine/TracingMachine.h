// Writes down what is asked of a machine: one JSON object a line for every open, I/O control, close and wait, with its
// outcome. docs/trace-io.schema.json describes the lines.
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
    Clock & clock() override;
    bool portDoesSuperSpeedPlus(std::u16string_view hubPath, std::uint32_t port) const override {
        return traced_.portDoesSuperSpeedPlus(hubPath, port);
    }

private:
    class TracedFile;
    class TracedClock;

    bool isController(std::u16string_view path) const;

    Machine & traced_;
    WriteLine writeLine_;
    std::unique_ptr<TracedClock> clock_;
    std::unordered_set<std::u16string> controllerPaths_; // folded, without prefix
    std::uint32_t lastHandle_ = 0;
};

} // namespace machine
