// The sites by which a host and a log know the operations of the storage test, and the types of what its events carry.
#include "PassRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <string>

namespace test {
namespace {

// "function:line" of every scope of a logger that a run entered, each of which it has to leave again.
std::set<std::string> scopesOf(HostView const & host, std::string const & logger) {
    std::set<std::string> found;
    std::vector<std::string> open;
    std::istringstream stream(host.output);
    for (std::string text; std::getline(stream, text);) {
        Json const line = Json::parse(text);
        if (line["type"] != "trace") {
            continue;
        }
        std::string const scope = line["function"].get<std::string>() + ":" + line["line"].dump();
        if (line["entered"]) {
            open.push_back(scope);
        } else if (open.empty() || open.back() != scope) {
            ADD_FAILURE() << scope << " was left but not entered last";
        } else {
            open.pop_back();
        }
        if (line["logger"] == logger) {
            found.insert(scope);
        }
    }
    EXPECT_TRUE(open.empty());
    return found;
}

Settings const bothPasses = with(readOnce, writePreserved);

TEST(StorageSites, EachOperationOfAPassHasItsScope) {
    HostView const host =
        runStorageTest(stickPc(smallDisk({{"volumes", Json::array()}})), bothPasses, {"--log-level", "1"});
    EXPECT_EQ(host.result, "PASS");
    EXPECT_EQ(scopesOf(host, "nuvrusb.PerformanceCalculator"),
              (std::set<std::string>{
                  "PerformanceCalculator::backupSectors:854", "PerformanceCalculator::calculate:234",
                  "PerformanceCalculator::enoughSectors:268", "PerformanceCalculator::getBufferSize:799",
                  "PerformanceCalculator::getPerformanceResult:564",
                  "PerformanceCalculator::getPublishReadTransferSpeed:652", "PerformanceCalculator::getTestRunTime:256",
                  "PerformanceCalculator::getThresholdSpeed:597", "PerformanceCalculator::initDrive:736",
                  "PerformanceCalculator::isLocked:820", "PerformanceCalculator::isMediaOperationReady:126",
                  "PerformanceCalculator::openHandle:705", "PerformanceCalculator::publishCurrentPerformance:286",
                  "PerformanceCalculator::readPerformance:299", "PerformanceCalculator::reopenForMediaCheck:841",
                  "PerformanceCalculator::restoreSectors:868", "PerformanceCalculator::setPerformanceOptions:219",
                  "PerformanceCalculator::updatePercent:274", "PerformanceCalculator::writePerformance:391"}));
    EXPECT_EQ(scopesOf(host, "nuvrusb.TestableDevice"),
              (std::set<std::string>{"TestableDevice::enumeratePorts:28", "TestableDevice::findMatchingDevice:93",
                                     "TestableDevice::matchDevice:58", "TestableDevice::validPortSpeed:153"}));
}

TEST(StorageSites, OperationsOfATroubledRunHaveTheirScopes) {
    Json pc = stickPc(smallDisk({{"media", "absent"}}));
    pc["user"] = {{"answers", {"cancel"}}};
    HostView const empty = runStorageTest(pc, with(readOnce, {{"PromptUserForMedia", "true"}}), {"--log-level", "1"});
    EXPECT_TRUE(scopesOf(empty, "nuvrusb.PerformanceCalculator").contains("PerformanceCalculator::promptForMedia:61"));
    EXPECT_TRUE(
        scopesOf(empty, "nuvrusb.PerformanceCalculator").contains("PerformanceCalculator::copyFailureResult:832"));

    HostView const refusing = runStorageTest(stickPc(smallDisk({{"openError", 5}})), readOnce, {"--log-level", "1"});
    EXPECT_TRUE(
        scopesOf(refusing, "nuvrusb.PerformanceCalculator").contains("PerformanceCalculator::getHardwareLocator:683"));
}

// Variables of the events of a run by their names; rates are texts, so that every host shows the same decimals.
Json variablesOf(HostView const & host, std::string const & key) {
    std::istringstream stream(host.output);
    for (std::string text; std::getline(stream, text);) {
        Json line = Json::parse(text);
        if (line["type"] == "event" && line["key"] == key) {
            return line["variables"];
        }
    }
    return nullptr;
}

TEST(StorageSites, RatesAreTextsAndSectorsAndLimitsNumbers) {
    HostView const passed = runStorageTest(stickPc(diskOf(3, {{"readRate", 0.05}, {"writeRate", 0.05}})), bothPasses);
    EXPECT_EQ(variablesOf(passed, "PEAK_READ_PERFORMANCE"), (Json{{"PeakReadPerformance", "0.05"}}));
    EXPECT_EQ(variablesOf(passed, "AVERAGE_READ_PERFORMANCE"), (Json{{"AverageReadPerformance", "0.05"}}));
    EXPECT_EQ(variablesOf(passed, "PEAK_WRITE_PERFORMANCE"), (Json{{"PeakWritePerformance", "0.05"}}));
    EXPECT_EQ(variablesOf(passed, "AVERAGE_WRITE_PERFORMANCE"), (Json{{"AverageWritePerformance", "0.05"}}));

    HostView const badReads = runStorageTest(
        stickPc(diskToRead(
            3, {{"faults",
                 Json::array({fault(
                     "read", {{"overlapped", false}, {"firstSector", 1024}, {"lastSector", 1024}, {"error", 23}})})}})),
        readOnce);
    EXPECT_EQ(variablesOf(badReads, "READ_SECTOR_ERROR"), (Json{{"ReadSector", 1024}}));

    HostView const badWrites = runStorageTest(
        stickPc(diskToWrite(3, {{"faults", Json::array({fault("write", {{"times", 1}, {"error", 23}})})}})),
        overwriting);
    EXPECT_EQ(variablesOf(badWrites, "WRITE_SECTOR_ERROR"), (Json{{"WriteSector", 0}}));

    HostView const badTime = runStorageTest(stickPc(smallDisk()), with(readOnce, {{"MaxTestRunTime", "29"}}));
    EXPECT_EQ(variablesOf(badTime, "INVALID_PARAMETER_RANGE"), (Json{{"minRange", 30}, {"maxRange", 60}}));
}

TEST(StorageSites, AWrittenRateIsTheSizeOfTheTransferByItsTime) {
    HostView const host = runStorageTest(
        stickPc(diskOf(1, {{"sectorCount", 5 * 20480}, {"readRate", 500}, {"writeRate", 37.5}})), writePreserved);
    EXPECT_EQ(only(toldIn(host.output), {"progress Writing"}), Lines(113, "progress Writing at 37.50 MB/s"));
    EXPECT_EQ(variablesOf(host, "PEAK_WRITE_PERFORMANCE"), (Json{{"PeakWritePerformance", "37.50"}}));
    EXPECT_EQ(variablesOf(host, "AVERAGE_WRITE_PERFORMANCE"), (Json{{"AverageWritePerformance", "37.50"}}));
}

} // namespace
} // namespace test
