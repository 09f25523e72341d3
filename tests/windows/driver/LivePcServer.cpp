// Plays a described PC to programs that look at the one they run on: LivePcServer DRIVER DESCRIPTION NODES DRIVE...
// Says "ready" when everything is in place, and goes when its standard input ends. The volumes of the description
// become those of the drives (such as U:), in their order.
#include "AnswerClock.h"
#include "Driver.h"
#include "NodeFile.h"
#include "Pc.h"
#include "Registry.h"
#include "machine/SteadyClock.h"
#include "machine/Text.h"
#include "machine/simulated/DescriptionReader.h"
#include "machine/simulated/Images.h"
#include "machine/simulated/SimulatedMachine.h"
#include "machine/windows/Wide.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

namespace {

using namespace livepc;

machine::simulated::Description readPc(std::filesystem::path const & path) {
    std::ifstream stream(path, std::ios::binary);
    std::string const json{std::istreambuf_iterator<char>(stream), {}};
    auto read = machine::readDescription(json);
    if (auto const * error = std::get_if<machine::DescriptionError>(&read)) {
        throw std::runtime_error(error->format());
    }
    auto & description = std::get<machine::simulated::Description>(read);
    if (auto const error = machine::simulated::openImages(description, path.parent_path())) {
        throw std::runtime_error(error->format());
    }
    return std::move(description);
}

// What can be opened: devices by their interface paths, disks by their numbers too.
std::vector<Name> namesOf(machine::DeviceTree const & tree) {
    std::vector<Name> names;
    auto const add = [&names](std::u16string_view link, std::u16string_view path) {
        if (!path.empty()) {
            names.push_back({std::u16string(machine::withoutDevicePrefix(link)), std::u16string(path)});
        }
    };
    for (machine::NodeId node = tree.root() + 1; node <= tree.size(); ++node) {
        machine::DeviceNode const & facts = tree[node];
        add(facts.interfacePath, facts.interfacePath);
        if (facts.nodeClass == machine::NodeClass::Disk) {
            add(interfacePath(facts.instanceId, diskInterfaces), facts.interfacePath);
        }
    }
    return names;
}

// The volumes of drives, with which Windows lists them, lead to those of the description.
void addVolumes(machine::Machine const & machine, std::span<wchar_t * const> drives, std::vector<Name> & names) {
    std::vector<std::u16string> const volumes = machine.volumes().paths;
    if (volumes.size() > drives.size()) {
        throw std::runtime_error("the description has more volumes than there are drives for them");
    }
    for (std::size_t number = 0; number < volumes.size(); ++number) {
        std::array<wchar_t, MAX_PATH> name{};
        std::wstring const root = std::wstring(drives[number]) + L'\\';
        if (GetVolumeNameForVolumeMountPointW(root.c_str(), name.data(), static_cast<DWORD>(name.size())) == FALSE) {
            throw std::runtime_error("a drive has no volume");
        }
        std::u16string const link = machine::windows::fromWide(name.data());
        names.push_back(
            {std::u16string(machine::withoutDevicePrefix(link.substr(0, link.size() - 1))), volumes[number]});
    }
}

// Wine opens a device whatever its driver says: what cannot be opened at all gets no name.
void dropUnopenable(machine::Machine & machine, std::vector<Name> & names) {
    std::erase_if(names, [&machine](Name const & name) {
        return !machine.open({.path = name.path, .access = 0, .share = 3, .disposition = 3, .flags = 0}).file;
    });
}

// Set when the standard input ends.
HANDLE watchInput() {
    HANDLE const ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread([ended] {
        while (std::getchar() != EOF) {
        }
        SetEvent(ended);
    }).detach();
    return ended;
}

// Takes away what leads to disks that are gone. None comes back.
class Unplugging {
public:
    Unplugging(machine::Machine const & machine, std::vector<Name> const & names, Driver & driver, NodeFile & nodes)
        : machine_(machine), names_(names), driver_(driver), nodes_(nodes) {}

    void update() {
        machine::DeviceTree const & tree = machine_.devices();
        for (machine::NodeId const node : tree.ofClass(machine::NodeClass::Disk)) {
            if (!machine_.isPresent(node) && gone_.insert(node).second) {
                removeNames(tree[node].interfacePath);
                nodes_.update();
            }
        }
    }

private:
    void removeNames(std::u16string_view path) {
        for (std::size_t number = 0; number < names_.size(); ++number) {
            if (names_[number].path == path) {
                driver_.removeName(static_cast<std::uint32_t>(number));
            }
        }
    }

    machine::Machine const & machine_;
    std::vector<Name> const & names_;
    Driver & driver_;
    NodeFile & nodes_;
    std::set<machine::NodeId> gone_;
};

// A file of a program that has ended is closed a little later.
constexpr std::chrono::seconds closingTime{3};

void serve(Driver & driver, Pc & pc, Unplugging unplugging) {
    HANDLE const ended = watchInput();
    HANDLE const events[]{driver.requestEvent(), ended};
    machine::SteadyClock const clock;
    std::optional<machine::Duration> goesAt;
    for (;;) {
        constexpr DWORD busy = 1;
        constexpr DWORD idle = 50; // soon enough to see a disk being unplugged
        DWORD const event = WaitForMultipleObjects(goesAt ? 1 : 2, events, FALSE, pc.isBusy() ? busy : idle);
        if (event == WAIT_OBJECT_0) {
            Driver::Request const request = driver.next();
            pc.take(request.head, request.input);
        } else if (event == WAIT_OBJECT_0 + 1) {
            goesAt = clock.now() + closingTime;
        }
        pc.completeDue();
        unplugging.update();
        if (goesAt && (pc.openFiles() == 0 || clock.now() >= *goesAt)) {
            return;
        }
    }
}

void run(std::wstring const & driverFile, std::filesystem::path const & description,
         std::filesystem::path const & nodeFile, std::span<wchar_t * const> drives) {
    auto owned = std::make_unique<AnswerClock>();
    AnswerClock & clock = *owned;
    auto const machine = machine::makeSimulatedMachine(readPc(description), std::move(owned));
    std::vector<Name> names = namesOf(machine->devices());
    addVolumes(*machine, drives, names);
    dropUnopenable(*machine, names);

    Driver driver(driverFile);
    for (std::size_t number = 0; number < names.size(); ++number) {
        driver.addName(static_cast<std::uint32_t>(number), names[number].link);
    }
    RegisteredDevices const registered(machine->devices());
    NodeFile nodes(nodeFile, *machine);
    Pc pc(*machine, clock, names, [&driver](ForwarderAnswer const & answer, std::span<std::byte const> output) {
        driver.complete(answer, output);
    });
    std::puts("ready");
    std::fflush(stdout);
    serve(driver, pc, Unplugging(*machine, names, driver, nodes));
    std::printf("open files: %zu\n", pc.openFiles());
}

} // namespace

int wmain(int count, wchar_t ** arguments) {
    if (count < 4) {
        std::fputs("usage: LivePcServer DRIVER DESCRIPTION NODES DRIVE...\n", stderr);
        return 2;
    }
    try {
        std::span<wchar_t * const> const given(arguments, static_cast<std::size_t>(count));
        run(std::filesystem::absolute(given[1]).wstring(), given[2], given[3], given.subspan(4));
    } catch (std::exception const & error) {
        std::fprintf(stderr, "LivePcServer: %s\n", error.what());
        return 1;
    }
    return 0;
}
