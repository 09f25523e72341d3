#include "FaultyMachine.h"

#include "kernel.h"
#include "machine/ControlNames.h"
#include "machine/Text.h"

#include <chrono>
#include <utility>

namespace test {

namespace {

// What a failed call takes. A drive tries again for a while before it gives up.
constexpr std::chrono::seconds failedTransfer{1};
constexpr std::chrono::milliseconds failedQuery{1};

char const * kindOf(machine::NodeClass nodeClass) {
    switch (nodeClass) {
    case machine::NodeClass::HostController:
        return "controller";
    case machine::NodeClass::Hub:
        return "hub";
    case machine::NodeClass::Disk:
        return "disk";
    case machine::NodeClass::Other:
    case machine::NodeClass::UsbDevice:
    case machine::NodeClass::UsbComposite:
        break;
    }
    return "device";
}

std::u16string keyOf(std::u16string_view path) {
    return machine::foldedCase(machine::withoutDevicePrefix(path));
}

struct Watched {
    std::shared_ptr<CallRecord> record;
    machine::Clock & clock;

    std::uint32_t fails(Call call, std::string const & what, machine::Duration takes) const {
        std::uint32_t const error = record->count(call, what);
        if (error != kernel::ERROR_SUCCESS) {
            clock.sleep(takes);
        }
        return error;
    }
};

class FaultyTransfer final : public machine::PendingTransfer {
public:
    FaultyTransfer(std::unique_ptr<machine::PendingTransfer> healthy, Watched watched, std::string what, bool isWrite)
        : healthy_(std::move(healthy)), watched_(std::move(watched)), what_(std::move(what)), isWrite_(isWrite) {}

    std::optional<machine::Transfer> wait(machine::Duration limit) override {
        std::optional<machine::Transfer> const outcome = healthy_->wait(limit);
        if (!outcome) {
            return outcome;
        }
        if (isWrite_) {
            watched_.record->bytesWritten += outcome->bytes;
        }
        std::uint32_t const error = watched_.fails(Call::Wait, what_, failedTransfer);
        return error == kernel::ERROR_SUCCESS ? *outcome : machine::Transfer{error, 0};
    }

    void cancel() override { healthy_->cancel(); }

private:
    std::unique_ptr<machine::PendingTransfer> healthy_;
    Watched watched_;
    std::string what_;
    bool isWrite_;
};

class FaultyFile final : public machine::File {
public:
    FaultyFile(std::unique_ptr<machine::File> healthy, Watched watched, std::string name, bool isController)
        : healthy_(std::move(healthy)), watched_(std::move(watched)), name_(std::move(name)),
          isController_(isController) {
        ++watched_.record->openFiles;
    }
    FaultyFile(FaultyFile const &) = delete;
    FaultyFile & operator=(FaultyFile const &) = delete;
    ~FaultyFile() override { --watched_.record->openFiles; }

    machine::Started read(std::uint64_t offset, std::span<std::byte> buffer) override {
        std::string const what = "read " + name_;
        if (std::uint32_t const error = watched_.fails(Call::Read, what, failedTransfer)) {
            return {{error, 0}, nullptr};
        }
        return watchedStart(healthy_->read(offset, buffer), what, false);
    }

    machine::Started write(std::uint64_t offset, std::span<std::byte const> bytes) override {
        ++watched_.record->writes;
        std::string const what = "write " + name_;
        if (std::uint32_t const error = watched_.fails(Call::Write, what, failedTransfer)) {
            writeHalf(offset, bytes);
            return {{error, 0}, nullptr};
        }
        return watchedStart(healthy_->write(offset, bytes), what, true);
    }

    std::uint32_t flush() override {
        std::uint32_t const error = watched_.fails(Call::Flush, "flush " + name_, failedTransfer);
        return error == kernel::ERROR_SUCCESS ? healthy_->flush() : error;
    }

    machine::Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                              std::optional<machine::Duration> limit) override {
        char const * const known = machine::controlName(code, isController_);
        std::string const what = std::string(known == nullptr ? "control" : known) + " of " + name_;
        Call const call = code == kernel::FSCTL_LOCK_VOLUME ? Call::Lock : Call::Control;
        if (std::uint32_t const error = watched_.fails(call, what, failedQuery)) {
            return {error, 0};
        }
        return healthy_->control(code, input, output, limit);
    }

private:
    machine::Started watchedStart(machine::Started started, std::string const & what, bool isWrite) {
        if (started.pending) {
            started.pending = std::make_unique<FaultyTransfer>(std::move(started.pending), watched_, what, isWrite);
        } else if (isWrite) {
            watched_.record->bytesWritten += started.transfer.bytes;
        }
        return started;
    }

    void writeHalf(std::uint64_t offset, std::span<std::byte const> bytes) {
        constexpr std::size_t sector = 512;
        std::span const half = bytes.first(bytes.size() / 2 / sector * sector);
        machine::Started const started = healthy_->write(offset, half);
        auto const outcome = started.pending ? started.pending->wait(std::chrono::hours(1)) : started.transfer;
        watched_.record->bytesWritten += outcome.value_or(machine::Transfer{}).bytes;
    }

    std::unique_ptr<machine::File> healthy_;
    Watched watched_;
    std::string name_;
    bool isController_;
};

} // namespace

FaultyMachine::FaultyMachine(std::unique_ptr<machine::Machine> healthy, std::shared_ptr<CallRecord> record)
    : healthy_(std::move(healthy)), record_(std::move(record)) {
    machine::DeviceTree const & tree = healthy_->devices();
    for (machine::NodeId id = tree.root(); id <= tree.size(); ++id) {
        if (!tree[id].interfacePath.empty()) {
            kinds_[keyOf(tree[id].interfacePath)] = kindOf(tree[id].nodeClass);
        }
    }
    for (std::u16string const & volume : healthy_->volumes().paths) {
        kinds_[keyOf(volume)] = "volume";
    }
}

std::string FaultyMachine::described(machine::OpenRequest const & request) const {
    auto const found = kinds_.find(keyOf(request.path));
    std::string name = found == kinds_.end() ? "file on a volume" : found->second;
    bool const reads = (request.access & kernel::GENERIC_READ) != 0;
    bool const writes = (request.access & kernel::GENERIC_WRITE) != 0;
    name += reads && writes ? ", to read and write" : reads ? ", to read" : writes ? ", to write" : ", to ask";
    return request.share == 0 ? name + ", alone" : name;
}

machine::Opened FaultyMachine::open(machine::OpenRequest const & request) {
    Watched const watched{record_, clock()};
    std::string const name = described(request);
    if (std::uint32_t const error = watched.fails(Call::Open, "open " + name, failedQuery)) {
        return {nullptr, error};
    }
    machine::Opened opened = healthy_->open(request);
    if (opened.file) {
        opened.file =
            std::make_unique<FaultyFile>(std::move(opened.file), watched, name, name.starts_with("controller"));
    }
    return opened;
}

std::uint32_t FaultyMachine::take(machine::Resource resource) {
    bool const isMemory = resource == machine::Resource::Memory;
    std::uint32_t const error =
        record_->count(isMemory ? Call::Memory : Call::Event, isMemory ? "allocate" : "create an event");
    return error == kernel::ERROR_SUCCESS ? healthy_->take(resource) : error;
}

} // namespace test
