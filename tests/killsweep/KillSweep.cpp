#include "KillSweep.h"

#include "RecordingMachine.h"
#include "RecordingStorage.h"

#include "Catalogue.h"

#include "journal/Journal.h"
#include "journal/Preservation.h"
#include "kernel/Runtime.h"
#include "machine/simulated/DescriptionReader.h"
#include "machine/simulated/SimulatedMachine.h"
#include "module/DirectCall.h"
#include "module/StoragePc.h"
#include "support/FakeConsole.h"
#include "support/MemoryStorage.h"
#include "tkit5/DeviceCatalog.h"
#include "tkit5/Locale.h"
#include "tkit5/RecoverCommand.h"
#include "tkit5/Registry.h"
#include "tkit5/RunLoop.h"
#include "tkit5/Session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <utility>
#include <variant>

namespace killsweep {

namespace {

constexpr std::uint64_t sectors = 2 * test::smallTransfer + 1;

Bytes bytesOfDisk() {
    Bytes bytes(sectors * sectorSize);
    Random random(1);
    std::ranges::generate(bytes, [&random] { return static_cast<std::byte>(random() >> 56U); });
    return bytes;
}

// The second write of a pass is the first restore.
std::string const & descriptionFor(Restores restores) {
    static test::Json const fault{{"call", "write"}, {"after", 1}, {"times", 1}, {"error", 1117}};
    static std::string const sound = test::stickPc(test::smallDisk({{"sectorCount", sectors}})).dump();
    static std::string const faulty =
        test::stickPc(test::smallDisk({{"sectorCount", sectors}, {"faults", test::Json::array({fault})}})).dump();
    return restores == Restores::Succeed ? sound : faulty;
}

std::unique_ptr<machine::Machine> pcWith(Bytes & disk, Record * record, Restores restores = Restores::Succeed) {
    auto read = machine::readDescription(descriptionFor(restores));
    auto & description = std::get<machine::simulated::Description>(read);
    description.controllers.front().rootHub.hub.ports.front().device->disk->store =
        std::make_shared<RecordedDisk>(disk, record);
    return machine::makeSimulatedMachine(std::move(description));
}

std::shared_ptr<support::MemoryDisk> storageWith(std::map<std::string, Bytes> files) {
    auto disk = std::make_shared<support::MemoryDisk>();
    for (auto & [name, bytes] : files) {
        disk->put(name, std::move(bytes));
    }
    return disk;
}

std::map<std::string, Bytes> filesOf(support::MemoryDisk & disk) {
    std::map<std::string, Bytes> files;
    for (std::string const & name : disk.names()) {
        files[name] = disk.contents(name);
    }
    return files;
}

// The test on the disk, as a run does it. The result's code.
int runPass() {
    static bool const initialised = (nuvrusb::moduleInit(), true);
    tkit5::RegisteredTest const * const storageTest =
        initialised ? tkit5::Registry::instance().findTest("USBStoragePerformanceTest") : nullptr;
    kernel::beginRun();
    tkit5::DeviceCatalog const catalog;
    auto const devices = catalog.find(test::diskId);
    tkit5::PassedParameters parameters;
    if (storageTest == nullptr || devices.size() != 1 ||
        !parameters.set(*storageTest, {test::writePreserved.begin(), test::writePreserved.end()}).empty()) {
        return -1;
    }
    test::KeepingReporter reporter;
    test::FakeConsole console;
    tkit5::Locale const locale = tkit5::Locale::forLanguage("en");
    tkit5::Session session(
        {.reporter = reporter, .console = console, .locale = locale, .answering = tkit5::Answering::Yes, .user = {}});
    return session.runTest(*storageTest, *devices.front(), {}).value();
}

struct Recovery {
    int code = -1;
    std::string told;
    State after;
};

Recovery recover(State before, Record * record) {
    Recovery recovery{.told = {}, .after = {std::move(before.disk), {}}};
    auto const files = storageWith(std::move(before.files));
    auto const pc = pcWith(recovery.after.disk, record);
    std::unique_ptr<journal::Storage> storage = std::make_unique<support::MemoryStorage>(files);
    std::unique_ptr<machine::Machine> recording;
    if (record != nullptr) {
        recording = std::make_unique<RecordingMachine>(*pc, *record);
        storage = std::make_unique<RecordingStorage>(std::move(storage), *record);
    }
    machine::InUse const inUse(recording ? *recording : *pc);
    kernel::beginRun();
    tkit5::DeviceCatalog const catalog;
    tkit5::Options options;
    options.command = tkit5::Command::Recover;
    options.allowDestructive = true;
    test::FakeConsole console;
    recovery.code = tkit5::recoverOwed(options, console, catalog, std::move(storage));
    recovery.told = console.output() + console.errors();
    recovery.after.files = filesOf(*files);
    return recovery;
}

std::string nameOf(Recorded const & recorded, Kill const & kill) {
    std::string const after = kill.point == 0 ? "the start" : recorded.record.steps()[kill.point - 1].call;
    return "kill " + std::to_string(kill.point) + ":" + std::to_string(kill.seed) + ", after " + after;
}

Remains remainsAt(Recorded const & recorded, std::size_t point) {
    Remains remains(recorded.before, sectorSize);
    for (std::size_t step = 0; step < point; ++step) {
        remains.apply(recorded.record.steps()[step]);
    }
    return remains;
}

// Calls visit(point, remains) at every point of the record.
template <class Visit> void visitPoints(Recorded const & recorded, Visit const & visit) {
    Remains remains(recorded.before, sectorSize);
    auto const & steps = recorded.record.steps();
    for (std::size_t point = 0;; ++point) {
        visit(point, remains);
        if (point == steps.size()) {
            return;
        }
        remains.apply(steps[point]);
    }
}

} // namespace

Recorded recordPass(Backups backups, Restores restores) {
    Recorded recorded{.before = {bytesOfDisk(), {}}, .after = {}, .record = {}};
    recorded.after = recorded.before;
    auto const files = storageWith({});
    std::unique_ptr<journal::Storage> storage;
    if (backups == Backups::InJournal) {
        storage = std::make_unique<RecordingStorage>(std::make_unique<support::MemoryStorage>(files), recorded.record);
        EXPECT_EQ(journal::Journal(*storage).tryOut(), 0U);
    }
    auto const pc = pcWith(recorded.after.disk, &recorded.record, restores);
    {
        RecordingMachine recording(*pc, recorded.record);
        machine::InUse const inUse(recording);
        journal::Preservation const preservation(std::move(storage));
        recorded.code = runPass();
        EXPECT_EQ(preservation.debts().size(), restores == Restores::Succeed ? 0U : 1U);
    }
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    recorded.after.files = filesOf(*files);
    return recorded;
}

Recorded recordRecovery(State const & before) {
    Recorded recorded{.before = before, .after = {}, .record = {}};
    Recovery recovery = recover(before, &recorded.record);
    recorded.code = recovery.code;
    recorded.after = std::move(recovery.after);
    return recorded;
}

State remainsOf(Remains const & remains, Kill const & kill) {
    if (kill.seed < 2) {
        return kill.seed == 0 ? remains.withAllKept() : remains.withAllLost();
    }
    Random random((std::uint64_t{kill.point} << 32U) + kill.seed);
    return remains.withSome(random);
}

std::string faultOf(State left, Bytes const & original) {
    Recovery const recovery = recover(std::move(left), nullptr);
    std::string fault;
    if (recovery.code != 0) {
        fault += "\n  the recovery ends with " + std::to_string(recovery.code) + ": " + recovery.told;
    }
    // By memcmp: element by element it would take a quarter of the sweep's time under a sanitizer.
    if (std::memcmp(recovery.after.disk.data(), original.data(), original.size()) != 0) {
        auto const first = std::ranges::mismatch(recovery.after.disk, original).in1 - recovery.after.disk.begin();
        fault += "\n  the disk is not as it was, from byte " + std::to_string(first) + " on";
    }
    for (auto const & [name, bytes] : recovery.after.files) {
        fault += "\n  " + name + " is left over";
    }
    return fault;
}

Sweep sweep(Recorded const & recorded, Bytes const & original, std::uint64_t seeds, ChosenPoints const & chosen) {
    Sweep result;
    visitPoints(recorded, [&](std::size_t point, Remains const & remains) {
        std::uint64_t const ways = chosen(point) ? (remains.isAllSafe() ? 1 : seeds) : 0;
        for (std::uint64_t seed = 0; seed < ways; ++seed) {
            Kill const kill{point, seed};
            ++result.kills;
            if (std::string const fault = faultOf(remainsOf(remains, kill), original); !fault.empty()) {
                result.faults.push_back(nameOf(recorded, kill) + fault);
            }
        }
    });
    return result;
}

std::size_t killsOf(Recorded const & recorded, std::uint64_t seeds, ChosenPoints const & chosen) {
    std::size_t open = 0;
    std::size_t safe = 0;
    visitPoints(recorded, [&](std::size_t point, Remains const & remains) {
        if (chosen(point)) {
            ++(remains.isAllSafe() ? safe : open);
        }
    });
    return open * seeds + safe;
}

std::string faultOf(Recorded const & recorded, Bytes const & original, Kill const & named) {
    Kill const kill{std::min(named.point, recorded.record.steps().size()), named.seed};
    std::string const fault = faultOf(remainsOf(remainsAt(recorded, kill.point), kill), original);
    return fault.empty() ? fault : nameOf(recorded, kill) + fault;
}

std::size_t openPoints(Recorded const & recorded) {
    std::size_t count = 0;
    visitPoints(recorded, [&](std::size_t, Remains const & remains) { count += remains.isAllSafe() ? 0U : 1U; });
    return count;
}

} // namespace killsweep
