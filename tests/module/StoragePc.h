// PCs with a stick for the storage test, small and slow so that a pass costs milliseconds, and the bytes behind them.
#pragma once

#include "ModuleRun.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
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
Json smallDisk(std::initializer_list<std::pair<char const *, Json>> members = {});

// A PC with the disk in a stick on root port 1, which is a port of that speed. At full speed 0.015 MB/s are one
// percent.
Json stickPc(Json disk, std::string const & speed = "full", std::initializer_list<char const *> protocols = {"1.1"});

using Settings = std::map<std::string, std::string>;

// What both passes need to run and pass on any of these disks; the write pass preserves, and asks first.
inline Settings const readOnce{
    {"PerformReadPerformance", "true"}, {"MaxTestRunTime", "30"}, {"USB11ReadThresholdPercent", "1"}};
inline Settings const writePreserved{{"PerformWritePerformance", "true"},
                                     {"PreserveAndRestoreData", "true"},
                                     {"PromptEnable", "true"},
                                     {"MaxTestRunTime", "30"},
                                     {"USB11WriteThresholdPercent", "1"}};

Settings with(Settings settings, Settings const & others);
Settings with(Settings settings, std::initializer_list<std::pair<char const *, std::string>> others);
Settings without(Settings settings, std::string const & name);

// Runs the storage test on the stick's disk. Message boxes are answered by the description's user, else with yes.
HostView runStorageTest(Json const & pc, Settings const & settings, std::vector<std::string> arguments = {});

// The same, with every call that the run made to the PC.
struct TracedRun {
    HostView host;
    std::vector<Json> calls;
};
std::string ioTraceFile(); // of the running test
TracedRun traceStorageTest(Json const & pc, Settings const & settings, std::vector<std::string> arguments = {});

// Which opens of disks for reading and writing there were, as "share 0x0 flags 0xA0000000", in order.
std::vector<std::string> diskOpens(std::vector<Json> const & calls);

// What was raised, in order, as "warning NO_MEDIA_PRESENT PerformanceCalculator.cpp:776".
std::vector<std::string> raised(HostView const & host);

// The bytes of a disk in a file of this test, to be looked at after the run: no two sectors are alike.
class DiskImage {
public:
    explicit DiskImage(std::uint64_t sectors, std::uint32_t sectorSize = 512);
    DiskImage(DiskImage const &) = delete;
    DiskImage & operator=(DiskImage const &) = delete;
    ~DiskImage();

    std::string const & path() const { return path_; }

    // The first and last sector of every run of sectors that are not as they were.
    std::vector<std::pair<std::uint64_t, std::uint64_t>> changedSectors() const;
    bool isAsBefore() const { return changedSectors().empty(); }

private:
    std::uint32_t sectorSize_;
    std::string path_;
    std::string original_;
};

// The small disk, its bytes in the image.
Json smallDisk(DiskImage const & image, std::initializer_list<std::pair<char const *, Json>> members = {});

} // namespace test
