// PCs with a stick for the storage test, small and slow so that a pass costs milliseconds, and the bytes behind them.
#pragma once

#include "ModuleRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace test {

inline constexpr char const * stickId = "USB\\VID_1234&PID_5678\\Stick";
inline constexpr char const * diskId = "USBSTOR\\DISK&VEN_TEST&PROD_STICK\\1&0";
inline constexpr char const * diskModel = "Test Stick USB Device";

// One transfer of a medium of fewer than 102,400 sectors of 512 bytes.
inline constexpr std::uint64_t smallTransfer = 1024; // sectors

// Ten small transfers and a sector. A transfer takes 8 seconds either way, so that a pass of 30 seconds makes four.
inline Json smallDisk(std::initializer_list<std::pair<char const *, Json>> members = {}) {
    return with({{"instanceId", diskId},
                 {"name", diskModel},
                 {"serialNumber", "T1"},
                 {"sectorCount", 10 * smallTransfer + 1},
                 {"readRate", 0.0625},
                 {"writeRate", 0.0625}},
                members);
}

// A PC with the disk in a stick on root port 1, which is a port of that speed. At full speed 0.015 MB/s are one
// percent.
inline Json stickPc(Json disk, std::string const & speed = "full",
                    std::initializer_list<char const *> protocols = {"1.1"}) {
    return pcWithPorts({port(1, speed, with(device("Stick"), {{"disk", std::move(disk)}}), protocols)});
}

using Settings = std::map<std::string, std::string>;

// What both passes need to run and pass on any of these disks; the write pass preserves, and asks first.
inline Settings const readOnce{
    {"PerformReadPerformance", "true"}, {"MaxTestRunTime", "30"}, {"USB11ReadThresholdPercent", "1"}};
inline Settings const writePreserved{{"PerformWritePerformance", "true"},
                                     {"PreserveAndRestoreData", "true"},
                                     {"PromptEnable", "true"},
                                     {"MaxTestRunTime", "30"},
                                     {"USB11WriteThresholdPercent", "1"}};

inline Settings with(Settings settings, Settings const & others) {
    for (auto const & [name, value] : others) {
        settings[name] = value;
    }
    return settings;
}
inline Settings with(Settings settings, std::initializer_list<std::pair<char const *, std::string>> others) {
    for (auto const & [name, value] : others) {
        settings[name] = value;
    }
    return settings;
}
inline Settings without(Settings settings, std::string const & name) {
    settings.erase(name);
    return settings;
}

// Runs the storage test on the stick's disk. Message boxes are answered by the description's user, else with yes.
inline HostView runStorageTest(Json const & pc, Settings const & settings, std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.end(), {"--device", diskId, "--allow-destructive"});
    if (!pc.contains("user")) {
        arguments.insert(arguments.end(), {"--answer", "yes"});
    }
    for (auto const & [name, value] : settings) {
        arguments.insert(arguments.end(), {"--set", name + "=" + value});
    }
    return runTest("USBStoragePerformanceTest", pc, arguments);
}

// The same, with every call that the run made to the PC.
struct TracedRun {
    HostView host;
    std::vector<Json> calls;
};
inline std::string ioTraceFile() { // of the running test
    testing::TestInfo const * const info = testing::UnitTest::GetInstance()->current_test_info();
    return testing::TempDir() + info->test_suite_name() + "." + info->name() + ".io.jsonl";
}
inline TracedRun traceStorageTest(Json const & pc, Settings const & settings, std::vector<std::string> arguments = {}) {
    std::string const file = ioTraceFile();
    arguments.insert(arguments.end(), {"--trace-io", file});
    HostView host = runStorageTest(pc, settings, arguments);
    return {std::move(host), readLines(file)};
}

// Which opens of disks for reading and writing there were, as "share 0x0 flags 0xA0000000", in order.
inline std::vector<std::string> diskOpens(std::vector<Json> const & calls) {
    std::vector<std::string> opens;
    for (Json const & call : calls) {
        if (call["call"] == "open" && call["access"] == "0xC0000000" &&
            call["path"].get<std::string>().find("PhysicalDrive") != std::string::npos) {
            opens.push_back("share " + call["share"].get<std::string>() + " flags " + call["flags"].get<std::string>());
        }
    }
    return opens;
}

// What was raised, in order, as "warning NO_MEDIA_PRESENT PerformanceCalculator.cpp:776".
inline std::vector<std::string> raised(HostView const & host) {
    std::vector<std::string> events;
    for (RaisedEvent const & event : host.events) {
        EXPECT_EQ(event.file.rfind("modules/src/windows/diag/nuvrusb/", 0), 0U) << event.file;
        events.push_back(event.severity + " " + event.key + " " + event.file.substr(event.file.rfind('/') + 1) + ":" +
                         std::to_string(event.line));
    }
    return events;
}

// The bytes of a disk in a file of this test, to be looked at after the run: no two sectors are alike.
class DiskImage {
public:
    explicit DiskImage(std::uint64_t sectors, std::uint32_t sectorSize = 512) : sectorSize_(sectorSize) {
        testing::TestInfo const * const info = testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string(info->test_suite_name()) + "." + info->name() + ".img";
        std::replace(name.begin(), name.end(), '/', '_');
        path_ = testing::TempDir() + name;
        original_.resize(sectors * sectorSize);
        std::uint32_t state = 12345;
        for (char & byte : original_) {
            state = state * 1664525U + 1013904223U;
            byte = static_cast<char>(state >> 24U);
        }
        std::ofstream(path_, std::ios::binary) << original_;
    }
    DiskImage(DiskImage const &) = delete;
    DiskImage & operator=(DiskImage const &) = delete;
    ~DiskImage() { std::remove(path_.c_str()); }

    std::string const & path() const { return path_; }

    // The first and last sector of every run of sectors that are not as they were.
    std::vector<std::pair<std::uint64_t, std::uint64_t>> changedSectors() const {
        std::ifstream file(path_, std::ios::binary);
        std::string const now{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        EXPECT_EQ(now.size(), original_.size());
        std::vector<std::pair<std::uint64_t, std::uint64_t>> changed;
        for (std::uint64_t sector = 0; sector * sectorSize_ < original_.size(); ++sector) {
            if (now.compare(sector * sectorSize_, sectorSize_, original_, sector * sectorSize_, sectorSize_) == 0) {
                continue;
            }
            if (!changed.empty() && changed.back().second + 1 == sector) {
                changed.back().second = sector;
            } else {
                changed.emplace_back(sector, sector);
            }
        }
        return changed;
    }
    bool isAsBefore() const { return changedSectors().empty(); }

private:
    std::uint32_t sectorSize_;
    std::string path_;
    std::string original_;
};

// The small disk, its bytes in the image.
inline Json smallDisk(DiskImage const & image, std::initializer_list<std::pair<char const *, Json>> members = {}) {
    Json disk = smallDisk(members);
    disk["image"] = image.path();
    return disk;
}

} // namespace test
