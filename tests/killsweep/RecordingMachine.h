// A PC that records every call that is made to it, and a disk that records what is written to it. A call is recorded
// before it begins, what a write has moved once it is there.
#pragma once

#include "Record.h"

#include "machine/DiskStore.h"
#include "machine/Machine.h"
#include "machine/Text.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace killsweep {

class RecordedDisk final : public machine::DiskStore {
public:
    RecordedDisk(Bytes & bytes, Record * record) : bytes_(bytes), record_(record) {} // null: nothing is recorded

    std::uint64_t size() const override { return bytes_.size(); }

    std::uint32_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
        std::memcpy(buffer.data(), bytes_.data() + offset, buffer.size());
        return 0;
    }

    // A drive may keep what it has confirmed in a cache, whatever it was asked: only a flush counts.
    std::uint32_t write(std::uint64_t offset, std::span<std::byte const> bytes, bool) override {
        std::memcpy(bytes_.data() + offset, bytes.data(), bytes.size());
        if (record_ != nullptr) {
            record_->add({.kind = Step::Kind::DiskWrite,
                          .call = "bytes " + std::to_string(offset) + " of the disk are written",
                          .offset = offset,
                          .bytes = copyOf(bytes)});
        }
        return 0;
    }

    std::uint32_t flush() override {
        if (record_ != nullptr) {
            record_->add({.kind = Step::Kind::DiskFlush, .call = "the disk is flushed"});
        }
        return 0;
    }

private:
    Bytes & bytes_;
    Record * record_;
};

class RecordingMachine final : public machine::Machine {
public:
    RecordingMachine(machine::Machine & recorded, Record & record) : recorded_(recorded), record_(record) {}

    std::string name() const override { return recorded_.name(); }
    machine::Opened open(machine::OpenRequest const & request) override {
        std::string const path = machine::toUtf8(request.path);
        record_.call("open " + path);
        machine::Opened opened = recorded_.open(request);
        if (opened.file) {
            opened.file = std::make_unique<RecordedFile>(std::move(opened.file), record_, path);
        }
        return opened;
    }
    machine::DeviceTree const & devices() const override { return recorded_.devices(); }
    bool isPresent(machine::NodeId node) const override { return recorded_.isPresent(node); }
    machine::Clock & clock() override { return recorded_.clock(); }
    machine::VolumePaths volumes() const override { return recorded_.volumes(); }
    std::uint32_t take(machine::Resource resource) override { return recorded_.take(resource); }
    bool portDoesSuperSpeedPlus(std::u16string_view hubPath, std::uint32_t port) const override {
        return recorded_.portDoesSuperSpeedPlus(hubPath, port);
    }

private:
    class RecordedFile final : public machine::File {
    public:
        RecordedFile(std::unique_ptr<machine::File> recorded, Record & record, std::string path)
            : recorded_(std::move(recorded)), record_(record), path_(std::move(path)) {}
        RecordedFile(RecordedFile const &) = delete;
        RecordedFile & operator=(RecordedFile const &) = delete;
        ~RecordedFile() override { record_.call("close " + path_); }

        machine::Started read(std::uint64_t offset, std::span<std::byte> buffer) override {
            record_.call("read " + path_);
            return recorded_->read(offset, buffer);
        }
        machine::Started write(std::uint64_t offset, std::span<std::byte const> buffer) override {
            record_.call("write " + path_);
            return recorded_->write(offset, buffer);
        }
        std::uint32_t flush() override {
            record_.call("flush " + path_);
            return recorded_->flush();
        }
        machine::Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                                  std::optional<machine::Duration> limit) override {
            record_.call("control " + std::to_string(code) + " of " + path_);
            return recorded_->control(code, input, output, limit);
        }

    private:
        std::unique_ptr<machine::File> recorded_;
        Record & record_;
        std::string path_;
    };

    machine::Machine & recorded_;
    Record & record_;
};

} // namespace killsweep
