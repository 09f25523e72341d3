#include "SweepPc.h"

#include "FaultyMachine.h"
#include "FaultyStorage.h"

#include "Catalogue.h"
#include "SpeedMode.h"
#include "journal/Folder.h"
#include "kernel/Files.h"
#include "machine/simulated/DescriptionReader.h"
#include "machine/simulated/SimulatedMachine.h"
#include "support/FakeConsole.h"
#include "support/StateFolder.h"
#include "tkit5.h"
#include "tkit5/Start.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <stdexcept>

// In the place of the program's own: its PC and its journal are those of the test.
namespace host {

std::variant<Pc, PcError> openPc(std::optional<std::string> const &) {
    return test::SweepPc::current().boot();
}

} // namespace host

namespace journal {

std::unique_ptr<Storage> folderStorage(std::string const & folder) {
    bool const isNamed = std::filesystem::path(folder).filename() == test::namedFolder;
    return isNamed ? test::SweepPc::current().openJournal() : test::SweepPc::current().openUsualFolder();
}

FolderPlace placeOfFolder(std::string const &, std::string const &) {
    return {};
}

} // namespace journal

namespace test {

namespace {

constexpr std::size_t sectorSize = 512;

SweepPc * onlyPc = nullptr;

// Numbers depend on how long things took; a text with other numbers tells nothing else.
std::string withoutNumbers(std::string const & text) {
    std::string result;
    for (char const each : text) {
        bool const isNumber = (each >= '0' && each <= '9') || (each == '.' && result.ends_with('#'));
        if (!isNumber) {
            result += each;
        } else if (!result.ends_with('#')) {
            result += '#';
        }
    }
    return result;
}

std::map<std::string, std::vector<std::byte>> filesOf(support::MemoryDisk & disk) {
    std::map<std::string, std::vector<std::byte>> files;
    for (std::string const & name : disk.names()) {
        files[name] = disk.contents(name);
    }
    return files;
}

void putFiles(std::map<std::string, std::vector<std::byte>> const & files, support::MemoryDisk & disk) {
    for (auto const & [name, bytes] : files) {
        disk.put(name, bytes);
    }
}

void readLine(Json const & line, Outcome & outcome) {
    std::string const type = line["type"];
    if (type == "event" && line["severity"] != "informative") {
        std::string const key = line["key"];
        outcome.events.push_back(key);
        outcome.told.insert("event " + key);
        if (key == "CANNOT_RESTORE_DATA") {
            Json const & sector = line["variables"]["TestSector"];
            outcome.notRestored.push_back(sector.is_string() ? std::stoull(sector.get<std::string>())
                                                             : sector.get<std::uint64_t>());
        }
    } else if (type == "log") {
        outcome.told.insert("log " + withoutNumbers(line["text"]));
    } else if (type == "result") {
        outcome.deviceResults.emplace_back(line["device"], line["result"]);
    } else if (type == "recovered") {
        outcome.recovered.push_back(line["outcome"]);
    } else if (type == "otherFolder" && line["owed"].is_number()) {
        outcome.owedElsewhere += line["owed"].get<std::size_t>();
    } else if (type == "runEnd" || type == "recoverEnd") {
        outcome.result = line["result"];
    }
}

} // namespace

class SweepPc::Bytes final : public machine::DiskStore {
public:
    explicit Bytes(std::size_t size) : original_(size) {
        std::uint32_t state = 12345;
        for (std::byte & each : original_) {
            state = state * 1664525U + 1013904223U;
            each = static_cast<std::byte>(state >> 24U);
        }
        now_ = original_;
    }

    void startAgain() { now_ = original_; }
    std::vector<std::byte> const & now() const { return now_; }
    void become(std::vector<std::byte> const & bytes) { now_ = bytes; }
    void keepAsOriginal() { original_ = now_; }

    std::vector<std::uint64_t> changedSectors() const {
        std::vector<std::uint64_t> changed;
        if (now_ == original_) {
            return changed;
        }
        for (std::size_t at = 0; at < now_.size(); at += sectorSize) {
            auto const sector = now_.begin() + static_cast<std::ptrdiff_t>(at);
            if (!std::equal(sector, sector + sectorSize, original_.begin() + static_cast<std::ptrdiff_t>(at))) {
                changed.push_back(at / sectorSize);
            }
        }
        return changed;
    }

    std::uint64_t size() const override { return now_.size(); }
    std::uint32_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
        std::copy_n(now_.begin() + static_cast<std::ptrdiff_t>(offset), buffer.size(), buffer.begin());
        return 0;
    }
    std::uint32_t write(std::uint64_t offset, std::span<std::byte const> bytes, bool) override {
        std::ranges::copy(bytes, now_.begin() + static_cast<std::ptrdiff_t>(offset));
        return 0;
    }
    std::uint32_t flush() override { return 0; }

private:
    std::vector<std::byte> original_;
    std::vector<std::byte> now_;
};

SweepPc::SweepPc(Json description) : description_(std::move(description)) {
    if (onlyPc != nullptr) {
        throw std::logic_error("a test has two PCs");
    }
    onlyPc = this;
    support::useOwnStateFolder(); // so that the system names one, which is never written to
    startAgain();
    tkit5::DiagModule::setVersion(6, 5, "000000001");
    tkit5::DiagModule::setModuleInitCallback(nuvrusb::moduleInit);
}

SweepPc::~SweepPc() {
    onlyPc = nullptr;
}

SweepPc & SweepPc::current() {
    return *onlyPc;
}

void SweepPc::startAgain() {
    if (bytes_) {
        bytes_->startAgain();
    }
    journal_ = std::make_shared<support::MemoryDisk>();
    usual_ = std::make_shared<support::MemoryDisk>();
}

SweepPc::Saved SweepPc::save() const {
    return {bytes_->now(), filesOf(*journal_), filesOf(*usual_)};
}

void SweepPc::load(Saved const & saved) {
    startAgain();
    bytes_->become(saved.bytes);
    putFiles(saved.journal, *journal_);
    putFiles(saved.usual, *usual_);
}

std::vector<std::uint64_t> SweepPc::changedSectors() const {
    return bytes_ ? bytes_->changedSectors() : std::vector<std::uint64_t>();
}

bool SweepPc::isFolderNoted() const {
    return std::ranges::any_of(usual_->names(), [](std::string const & name) { return name.ends_with(".txt"); });
}

std::unique_ptr<journal::Storage> SweepPc::journal() {
    return std::make_unique<support::MemoryStorage>(journal_);
}

std::unique_ptr<journal::Storage> SweepPc::openJournal() {
    return std::make_unique<FaultyStorage>(journal(), calls_);
}

std::unique_ptr<journal::Storage> SweepPc::openUsualFolder() {
    return std::make_unique<FaultyStorage>(std::make_unique<support::MemoryStorage>(usual_), calls_);
}

host::Pc SweepPc::boot() {
    auto read = machine::readDescription(description_.dump());
    if (auto const * error = std::get_if<machine::DescriptionError>(&read)) {
        throw std::logic_error("the test's description is wrong: " + error->format());
    }
    auto & description = std::get<machine::simulated::Description>(read);
    bool isNew = false;
    for (auto & controller : description.controllers) {
        for (auto & port : controller.rootHub.hub.ports) {
            if (port.device == nullptr || !port.device->disk) {
                continue;
            }
            machine::simulated::Disk & disk = *port.device->disk;
            if (!bytes_) {
                bytes_ = std::make_shared<Bytes>(disk.sectorCount.value() * sectorSize);
                isNew = true;
            }
            disk.store = bytes_;
            disk.facts.backing = "the test";
        }
    }
    host::Pc pc;
    pc.user.emplace().answers = answers_;
    auto healthy = machine::makeSimulatedMachine(std::move(description));
    if (isNew) {
        bytes_->keepAsOriginal(); // an encrypted volume has been marked by now
    }
    pc.machine = std::make_unique<FaultyMachine>(std::move(healthy), calls_);
    return pc;
}

Outcome SweepPc::call(std::vector<std::string> const & arguments, std::optional<Fault> const & fault,
                      std::vector<machine::ScriptedUser::Answer> const & answers) {
    calls_ = std::make_shared<CallRecord>(fault);
    answers_ = answers;
    nuvrusb::speedMode = {}; // as in a new process
    std::vector<std::string> commandLine = arguments;
    commandLine.insert(commandLine.end(), {"--format", "jsonl"});

    FakeConsole console;
    Outcome outcome;
    outcome.exitCode = tkit5::runCommandLine(commandLine, console);
    outcome.calls = calls_;
    std::istringstream lines(console.output());
    for (std::string text; std::getline(lines, text);) {
        readLine(Json::parse(text), outcome);
    }
    outcome.errors = console.errors();
    std::istringstream errors(outcome.errors);
    for (std::string text; std::getline(errors, text);) {
        outcome.told.insert("said " + withoutNumbers(text));
    }
    return outcome;
}

} // namespace test
