// A machine of one device, whose answers the test writes itself, down to what no described PC would do.
#pragma once

#include "machine/Machine.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace support {

class ScriptedMachine final : public machine::Machine {
public:
    using Answer = std::function<machine::Transfer(std::uint32_t code, std::span<std::byte const> input,
                                                   std::span<std::byte> output, std::optional<machine::Duration>)>;

    class Clock final : public machine::Clock {
    public:
        machine::Duration now() const override { return now_; }
        void sleep(machine::Duration duration) override { now_ += duration; }
        bool isVirtual() const override { return true; }

    private:
        machine::Duration now_{0};
    };

    Answer answer = [](auto, auto, auto, auto) { return machine::Transfer{}; };
    std::uint32_t openError = 0; // of every open
    std::function<machine::Started(bool isWrite, std::uint64_t offset, std::size_t size)> transfer =
        [](bool, std::uint64_t, std::size_t size) {
            return machine::Started{{0, static_cast<std::uint32_t>(size)}, nullptr};
        };
    std::optional<machine::Resource> shortage; // that every demand fails with shortageError
    std::uint32_t shortageError = 8;
    machine::DeviceTree tree;
    std::vector<std::u16string> volumePaths;
    std::vector<machine::OpenRequest> opens; // without their paths
    std::vector<std::u16string> openedPaths;
    int controls = 0;
    int flushes = 0;
    std::uint32_t flushError = 0; // of every flush
    int filesAlive = 0;

    std::string name() const override { return "scripted"; }
    machine::DeviceTree const & devices() const override { return tree; }
    bool isPresent(machine::NodeId) const override { return true; }
    machine::Clock & clock() override { return clock_; }
    machine::VolumePaths volumes() const override { return {volumePaths, true}; }
    std::uint32_t take(machine::Resource resource) override { return shortage == resource ? shortageError : 0; }
    bool portDoesSuperSpeedPlus(std::u16string_view, std::uint32_t) const override { return false; }

    machine::Opened open(machine::OpenRequest const & request) override {
        openedPaths.emplace_back(request.path);
        opens.push_back(request);
        opens.back().path = {};
        if (openError != 0) {
            return {nullptr, openError};
        }
        return {std::make_unique<File>(*this), 0};
    }

private:
    class File final : public machine::File {
    public:
        explicit File(ScriptedMachine & machine) : machine_(machine) { ++machine_.filesAlive; }
        File(File const &) = delete;
        File & operator=(File const &) = delete;
        ~File() override { --machine_.filesAlive; }
        machine::Started read(std::uint64_t offset, std::span<std::byte> buffer) override {
            return machine_.transfer(false, offset, buffer.size());
        }
        machine::Started write(std::uint64_t offset, std::span<std::byte const> bytes) override {
            return machine_.transfer(true, offset, bytes.size());
        }
        std::uint32_t flush() override {
            ++machine_.flushes;
            return machine_.flushError;
        }
        machine::Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                                  std::optional<machine::Duration> limit) override {
            ++machine_.controls;
            return machine_.answer(code, input, output, limit);
        }

    private:
        ScriptedMachine & machine_;
    };

    Clock clock_;
};

} // namespace support
