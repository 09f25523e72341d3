#include "StoragePc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <utility>

namespace test {

Json smallDisk(std::initializer_list<std::pair<char const *, Json>> members) {
    return with({{"instanceId", diskId},
                 {"name", diskModel},
                 {"serialNumber", "T1"},
                 {"sectorCount", 10 * smallTransfer + 1},
                 {"readRate", 0.0625},
                 {"writeRate", 0.0625}},
                members);
}

Json stickPc(Json disk, std::string const & speed, std::initializer_list<char const *> protocols) {
    return pcWithPorts({port(1, speed, with(device("Stick"), {{"disk", std::move(disk)}}), protocols)});
}

Settings with(Settings settings, Settings const & others) {
    for (auto const & [name, value] : others) {
        settings[name] = value;
    }
    return settings;
}

Settings with(Settings settings, std::initializer_list<std::pair<char const *, std::string>> others) {
    for (auto const & [name, value] : others) {
        settings[name] = value;
    }
    return settings;
}

Settings without(Settings settings, std::string const & name) {
    settings.erase(name);
    return settings;
}

HostView runStorageTest(Json const & pc, Settings const & settings, std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--device", diskId, "--allow-destructive"});
    if (!pc.contains("user")) {
        arguments.insert(arguments.end(), {"--answer", "yes"});
    }
    for (auto const & [name, value] : settings) {
        arguments.insert(arguments.end(), {"--set", name + "=" + value});
    }
    return runTest("USBStoragePerformanceTest", pc, arguments);
}

std::string ioTraceFile() {
    testing::TestInfo const * const info = testing::UnitTest::GetInstance()->current_test_info();
    return testing::TempDir() + info->test_suite_name() + "." + info->name() + ".io.jsonl";
}
TracedRun traceStorageTest(Json const & pc, Settings const & settings, std::vector<std::string> arguments) {
    std::string const file = ioTraceFile();
    arguments.insert(arguments.end(), {"--trace-io", file});
    HostView host = runStorageTest(pc, settings, arguments);
    return {std::move(host), readLines(file)};
}

std::vector<std::string> diskOpens(std::vector<Json> const & calls) {
    std::vector<std::string> opens;
    for (Json const & call : calls) {
        if (call["call"] == "open" && call["access"] == "0xC0000000" &&
            call["path"].get<std::string>().find("PhysicalDrive") != std::string::npos) {
            opens.push_back("share " + call["share"].get<std::string>() + " flags " + call["flags"].get<std::string>());
        }
    }
    return opens;
}

std::vector<std::string> raised(HostView const & host) {
    std::vector<std::string> events;
    for (RaisedEvent const & event : host.events) {
        EXPECT_EQ(event.file.rfind("modules/src/windows/diag/nuvrusb/", 0), 0U) << event.file;
        events.push_back(event.severity + " " + event.key + " " + event.file.substr(event.file.rfind('/') + 1) + ":" +
                         std::to_string(event.line));
    }
    return events;
}

Json smallDisk(DiskImage const & image, std::initializer_list<std::pair<char const *, Json>> members) {
    Json disk = smallDisk(members);
    disk["image"] = image.path();
    return disk;
}

DiskImage::DiskImage(std::uint64_t sectors, std::uint32_t sectorSize) : sectorSize_(sectorSize) {
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

DiskImage::~DiskImage() {
    std::remove(path_.c_str());
}

std::vector<std::pair<std::uint64_t, std::uint64_t>> DiskImage::changedSectors() const {
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

} // namespace test
