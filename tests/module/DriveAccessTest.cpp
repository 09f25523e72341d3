// From a port to the raw disk behind it: its locator, its handle, its geometry and the size of a transfer.
#include "StorageCall.h"

#include "kernel/Runtime.h"

#include <gtest/gtest.h>

#include <string>

namespace test {
namespace {

constexpr char const * plainOpen = "share 0x0 flags 0xA0000000";      // write-through, unbuffered
constexpr char const * overlappedOpen = "share 0x0 flags 0x60000080"; // overlapped, unbuffered

// The module's opens, without the platform's own looks at the disk, which share.
Lines exclusiveOpens(std::vector<Json> const & calls) {
    Lines opens = diskOpens(calls);
    std::erase_if(opens, [](std::string const & open) { return open.find("share 0x0 ") != 0; });
    return opens;
}

std::vector<std::uint64_t> bytesOfReads(std::vector<Json> const & calls) {
    std::vector<std::uint64_t> sizes;
    for (Json const & call : calls) {
        if (call["call"] == "read" && (sizes.empty() || sizes.back() != call["bytes"])) {
            sizes.push_back(call["bytes"]);
        }
    }
    return sizes;
}

// The handle.

TEST(DriveAccess, PassOpensTheDiskExclusivelyAndAgainAroundTheReadinessProbe) {
    TracedRun const run = traceStorageTest(stickPc(smallDisk()), readOnce);
    EXPECT_EQ(run.host.result, "PASS");
    EXPECT_EQ(exclusiveOpens(run.calls), (Lines{plainOpen, overlappedOpen, plainOpen}));
    for (Json const & call : run.calls) {
        if (call["call"] == "open" && call["share"] == "0x0") {
            EXPECT_EQ(call["path"], diskLocator);
            EXPECT_EQ(call["access"], "0xC0000000");
            EXPECT_EQ(call["disposition"], "0x3");
        }
    }
}

TEST(DriveAccess, EachOpenNamesItsLocatorInTheLog) {
    StorageCall call(stickPc(smallDisk()), {}, 1);
    auto const calculator = call.calculator();
    call.reporter.lines.clear();
    EXPECT_TRUE(calculator->openHandle());
    EXPECT_EQ(call.reporter.lines, Lines{"log1 714 PerformanceCalculator::Device Property: \\\\.\\PhysicalDrive1 being "
                                         "used for creating the handle"});
}

TEST(DriveAccess, OpeningAgainClosesTheHandleBeforeFirst) {
    StorageCall call(stickPc(smallDisk()));
    auto const calculator = call.calculator();
    EXPECT_TRUE(calculator->openHandle());
    call.calls.clear();
    EXPECT_TRUE(calculator->openHandle());
    EXPECT_EQ(kernel::openHandleCount(), 1U);
    ASSERT_EQ(call.calls.size(), 2U);
    EXPECT_EQ(call.calls[0]["call"], "close");
    EXPECT_EQ(call.calls[1]["call"], "open");
}

TEST(DriveAccess, EmptyLocatorIsNotOpened) {
    StorageCall call(stickPc(smallDisk()), {}, 1);
    auto const calculator = call.calculator("");
    call.reporter.lines.clear();
    call.calls.clear();
    EXPECT_FALSE(calculator->openHandle());
    EXPECT_EQ(call.reporter.lines,
              (Lines{"warning InvalidDeviceHandle 708",
                     "log1 709 PerformanceCalculator::openHandle() invalid hardware locator. Unable to create device "
                     "handle for testing."}));
    EXPECT_EQ(call.reporter.files, Lines{calculatorFile});
    EXPECT_TRUE(call.calls.empty());
    EXPECT_EQ(failureResult(*calculator), "CANNOTRUN");
}

TEST(DriveAccess, DiskThatWindowsDoesNotShowHasNoLocator) {
    HostView const host = runStorageTest(stickPc(smallDisk({{"hidden", true}})), readOnce);
    EXPECT_EQ(host.result, "CANNOTRUN");
    EXPECT_EQ(raised(host), Lines{"warning InvalidDeviceHandle PerformanceCalculator.cpp:708"});
}

TEST(DriveAccess, DiskThatDoesNotOpenIsLookedForButNotTriedAgain) {
    StorageCall call(stickPc(smallDisk({{"openError", 5}})), {}, 1);
    auto const calculator = call.calculator();
    call.reporter.lines.clear();
    EXPECT_FALSE(calculator->openHandle());
    EXPECT_EQ(call.reporter.lines,
              (Lines{"log1 714 PerformanceCalculator::Device Property: \\\\.\\PhysicalDrive1 being used for creating "
                     "the handle",
                     std::string("log1 697 Device: ") + diskModel +
                         " will use \\\\.\\PhysicalDrive1 for creating the device handle",
                     "warning InvalidDeviceHandle 729"}));
    EXPECT_EQ(exclusiveOpens(call.calls), Lines{plainOpen});
    EXPECT_EQ(failureResult(*calculator), "CANNOTRUN");
}

TEST(DriveAccess, LocatorThatIsFoundThenIsNotUsed) {
    StorageCall call(stickPc(smallDisk()));
    auto const calculator = call.calculator("\\\\.\\PhysicalDrive7"); // nothing there
    EXPECT_FALSE(calculator->openHandle());
    EXPECT_EQ(call.reporter.lines, Lines{"warning InvalidDeviceHandle 729"});
    EXPECT_FALSE(calculator->openHandle()); // still by the old one
    for (Json const & made : call.calls) {
        if (made["call"] == "open" && made["share"] == "0x0") {
            EXPECT_EQ(made["path"], "\\\\.\\PhysicalDrive7");
        }
    }
}

TEST(DriveAccess, DiskThatIsNeitherOpenedNorFoundIsNoDevice) {
    StorageCall call(stickPc(smallDisk({{"openError", 5}, {"hidden", true}})), {}, 1);
    auto const calculator = call.calculator();
    call.reporter.lines.clear();
    EXPECT_FALSE(calculator->openHandle());
    ASSERT_EQ(call.reporter.lines.size(), 2U);
    EXPECT_EQ(call.reporter.lines[1], "log1 701 PerformanceCalculator::getHardwareLocator() was not successful in "
                                      "finding the OSLocator Stick");
    EXPECT_EQ(failureResult(*calculator), "NODEVICE");
}

TEST(DriveAccess, TestOfADiskThatDoesNotOpenCannotRun) {
    for (std::uint32_t const error : {5U, 2U, 32U, 1167U}) {
        HostView const host = runStorageTest(stickPc(smallDisk({{"openError", error}})), readOnce);
        EXPECT_EQ(host.result, "CANNOTRUN") << error;
        EXPECT_EQ(raised(host), Lines{"warning InvalidDeviceHandle PerformanceCalculator.cpp:729"}) << error;
    }
}

// The locator.

TEST(DriveAccess, LocatorIsThatOfTheDiskBelowTheUsbDevice) {
    Json const other = with(device("Other"), {{"disk", smallDisk({{"instanceId", "OTHER"}})}});
    Json const mine = with(device("Stick"), {{"disk", smallDisk({{"name", "Mine"}})}});
    for (int const first : {0, 1}) {
        Json const ports{port(1, "high", first == 0 ? mine : device("Mouse")), port(2, "high", other)};
        StorageCall call(pcWithPorts(ports), {}, 1);
        auto const calculator = call.calculator();
        call.reporter.lines.clear();
        std::string const found = calculator->getHardwareLocator(nuv::String("a label")).getUTF8String();
        if (first == 0) {
            EXPECT_EQ(found, diskLocator);
            EXPECT_EQ(call.reporter.lines,
                      Lines{"log1 697 Device: Mine will use \\\\.\\PhysicalDrive1 for creating the device handle"});
        } else { // the mouse has none; that of another device is no substitute
            EXPECT_EQ(found, "");
            EXPECT_EQ(call.reporter.lines, Lines{"log1 701 PerformanceCalculator::getHardwareLocator() was not "
                                                 "successful in finding the OSLocator a label"});
        }
    }
}

TEST(DriveAccess, DiskThatIsFoundGivesTheDeviceItsName) {
    StorageCall call(stickPc(smallDisk()), {}, 1);
    auto const calculator = call.calculator(diskLocator, "Given");
    auto const nameInTheLog = [&] {
        call.reporter.lines.clear();
        calculator->getPublishReadTransferSpeed();
        return call.reporter.lines.at(0);
    };
    EXPECT_EQ(nameInTheLog(), "log1 673 getPublishReadTransferSpeed()::Device: Given rated speed : 1536");
    calculator->getHardwareLocator(nuv::String());
    EXPECT_EQ(nameInTheLog(),
              std::string("log1 673 getPublishReadTransferSpeed()::Device: ") + diskModel + " rated speed : 1536");
}

// The drive.

TEST(DriveAccess, PreparationFailuresEndThePassWithTheirEvent) {
    struct Row {
        Json disk;
        char const * event;
        char const * result;
    };
    Json const noGeometry{{{"call", "geometry"}, {"error", 1}}};
    Json const noLength{{{"call", "length"}, {"error", 1}}};
    std::vector<Row> const rows{
        {smallDisk({{"faults", noGeometry}}), "warning CANNOT_GET_SECTOR_SIZE PerformanceCalculator.cpp:783",
         "CANNOTRUN"},
        {smallDisk({{"faults", noLength}}), "warning CANNOT_GET_TOTAL_SECTORS PerformanceCalculator.cpp:788",
         "CANNOTRUN"},
        {smallDisk({{"media", "absent"}}), "warning NO_MEDIA_PRESENT PerformanceCalculator.cpp:776", "NOMEDIA"},
        {smallDisk({{"media", "loading"}}), "warning CANNOT_GET_SECTOR_SIZE PerformanceCalculator.cpp:783",
         "CANNOTRUN"}};
    for (Row const & row : rows) {
        TracedRun const run = traceStorageTest(stickPc(row.disk), readOnce);
        EXPECT_EQ(run.host.result, row.result) << row.disk;
        EXPECT_EQ(raised(run.host), Lines{row.event}) << row.disk;
        EXPECT_EQ(exclusiveOpens(run.calls), Lines{plainOpen}) << row.disk;
        EXPECT_EQ(bytesOfReads(run.calls), std::vector<std::uint64_t>{}) << row.disk;
    }
}

TEST(DriveAccess, FailedPreparationIsTheResultOfTheWritePassToo) {
    Settings const both = with(readOnce, {{"PerformWritePerformance", "true"}, {"USB11WriteThresholdPercent", "1"}});
    HostView const host = runStorageTest(stickPc(smallDisk({{"media", "absent"}})), both);
    EXPECT_EQ(host.result, "NOMEDIA");
    EXPECT_EQ(raised(host), (Lines{"warning NO_MEDIA_PRESENT PerformanceCalculator.cpp:776",
                                   "warning NO_MEDIA_PRESENT PerformanceCalculator.cpp:776"}));
}

TEST(DriveAccess, DriveUsesWhateverHandleWasOpenedLast) {
    StorageCall call(stickPc(smallDisk()));
    auto const calculator = call.calculator();
    ASSERT_TRUE(calculator->openHandle());
    ASSERT_TRUE(calculator->initDrive());
    EXPECT_TRUE(calculator->backupSectors(0));
    ASSERT_TRUE(calculator->openHandle());
    EXPECT_TRUE(calculator->backupSectors(0));
    ASSERT_TRUE(calculator->reopenForMediaCheck(0));
    EXPECT_TRUE(calculator->backupSectors(0));
}

// The size of a transfer: the sector size times the multiplier, in sectors.

constexpr std::uint64_t largeTransfer = 20480; // sectors of 512 bytes

// The lengths of the reads of a pass on this disk: those of the probe and of one transfer, which takes all its time.
std::vector<std::uint64_t> transferSizes(std::initializer_list<std::pair<char const *, Json>> members) {
    Json const slow{{{"call", "read"}, {"overlapped", false}, {"delayMilliseconds", 31000}}};
    Json const disk = smallDisk({{"readRate", 100}, {"faults", slow}});
    return bytesOfReads(traceStorageTest(stickPc(with(disk, members)), readOnce).calls);
}

TEST(TransferSize, MediumOfFiveLargeTransfersKeepsThem) {
    EXPECT_EQ(transferSizes({{"sectorCount", 5 * largeTransfer}}), std::vector<std::uint64_t>{10485760});
}

TEST(TransferSize, OneSectorFewerMakesSmallOnes) {
    EXPECT_EQ(transferSizes({{"sectorCount", 5 * largeTransfer - 1}}), std::vector<std::uint64_t>{524288});
}

TEST(TransferSize, SmallMediumMakesSmallOnesForEveryLaterDeviceOfTheProcess) {
    auto const stick = [](char const * id, std::uint64_t sectors) {
        return with(device(id), {{"disk", smallDisk({{"instanceId", id},
                                                     {"sectorCount", sectors},
                                                     {"readRate", sectors < 5 * largeTransfer ? 0.0625 : 1}})}});
    };
    Json const description = pcWithPorts({port(1, "full", stick("LARGE", 5 * largeTransfer)),
                                          port(2, "full", stick("SMALL", 5 * largeTransfer - 1)),
                                          port(3, "full", stick("LARGER", 6 * largeTransfer))});
    std::string const file = ioTraceFile();
    HostView const host = runTest("USBStoragePerformanceTest", description,
                                  {"--device", "LARGE", "--device", "SMALL", "--device", "LARGER",
                                   "--allow-destructive", "--set", "PerformReadPerformance=true", "--set",
                                   "MaxTestRunTime=30", "--set", "USB11ReadThresholdPercent=1", "--trace-io", file});
    EXPECT_EQ(host.result, "PASS");
    EXPECT_EQ(bytesOfReads(readLines(file)), (std::vector<std::uint64_t>{10485760, 524288}));

    // In another run, too.
    EXPECT_EQ(transferSizes({{"sectorCount", 5 * largeTransfer}}), std::vector<std::uint64_t>{524288});
}

TEST(TransferSize, GrowsWithTheSquareOfTheSectorSize) {
    struct Row {
        std::uint32_t sectorSize;
        std::uint64_t bytes;
    };
    for (Row const & row : {Row{512, 524288}, Row{1024, 2097152}, Row{2048, 8388608}, Row{4096, 33554432}}) {
        EXPECT_EQ(transferSizes({{"sectorSize", row.sectorSize}, {"sectorCount", 5 * row.sectorSize * 2}}),
                  std::vector<std::uint64_t>{row.bytes})
            << row.sectorSize;
    }
}

TEST(TransferSize, LargeOnesOfLargeSectorsHaveHundredsOfMegabytes) {
    StorageCall call(
        stickPc(smallDisk({{"sectorSize", 4096},
                           {"sectorCount", 5 * 163840},
                           {"faults", {{{"call", "read"}, {"firstSector", 0}, {"lastSector", 0}, {"error", 23}}}}})));
    auto const calculator = call.calculator();
    ASSERT_TRUE(calculator->openHandle());
    ASSERT_TRUE(calculator->initDrive());
    EXPECT_FALSE(calculator->backupSectors(0)); // its length is what matters
    EXPECT_EQ(bytesOfReads(call.calls), std::vector<std::uint64_t>{671088640});
}

// ReadyBoost.

TEST(DriveAccess, DiskInUseByReadyBoostIsLocked) {
    Json const plain{{{"firstSector", 64}, {"sectorCount", 1024}}};
    Json const boosted{{{"firstSector", 64}, {"sectorCount", 1024}, {"readyBoost", true}}};
    StorageCall call(stickPc(smallDisk({{"volumes", boosted}})));
    EXPECT_TRUE(call.calculator()->isLocked());
    EXPECT_EQ(call.reporter.lines, Lines{"warning CANNOT_OPEN_ACCESS_DENIED 825"});
    EXPECT_EQ(call.reporter.files, Lines{calculatorFile});
}

TEST(DriveAccess, DiskWithoutReadyBoostIsNotLocked) {
    for (Json const & volumes : {Json::array(), Json::array({{{"firstSector", 64}, {"sectorCount", 1024}}})}) {
        StorageCall call(stickPc(smallDisk({{"volumes", volumes}})));
        EXPECT_FALSE(call.calculator()->isLocked());
        EXPECT_EQ(call.reporter.lines, Lines{});
    }
}

TEST(DriveAccess, OperationsHaveTheirScopes) {
    StorageCall call(stickPc(smallDisk()), {}, 1);
    auto const calculator = call.calculator();
    call.reporter.scopes.clear();
    calculator->openHandle();
    calculator->initDrive();
    EXPECT_EQ(call.reporter.scopes.size(), 6U);
    for (std::string const scope :
         {"+PerformanceCalculator::openHandle:", "-PerformanceCalculator::openHandle:",
          "+PerformanceCalculator::initDrive:", "+PerformanceCalculator::getBufferSize:799",
          "-PerformanceCalculator::getBufferSize:799", "-PerformanceCalculator::initDrive:"}) {
        EXPECT_TRUE(std::any_of(call.reporter.scopes.begin(), call.reporter.scopes.end(),
                                [&scope](std::string const & each) { return each.find(scope) == 0; }))
            << scope;
    }
    call.reporter.scopes.clear();
    calculator->isLocked();
    EXPECT_EQ(call.reporter.scopes.at(0), "+PerformanceCalculator::isLocked:820");
}

} // namespace
} // namespace test
