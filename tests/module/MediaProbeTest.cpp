// Whether the medium answers a large read in time.
#include "StorageCall.h"

#include "kernel/Runtime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace test {
namespace {

constexpr char const * givenUp = "warning LARGE_CHUNKS_OF_DATA_READ_FAILED PerformanceCalculator.cpp:151";
Lines const summary{"informative PEAK_READ_PERFORMANCE PerformanceCalculator.cpp:382",
                    "informative AVERAGE_READ_PERFORMANCE PerformanceCalculator.cpp:387"};
Settings const readThenWrite =
    with(readOnce, {{"PerformWritePerformance", "true"}, {"USB11WriteThresholdPercent", "1"}});

// A disk on which the readiness probe goes as the fault says; the one transfer after it takes all the time of a pass.
Json probed(Json probeFault, std::initializer_list<std::pair<char const *, Json>> members = {}) {
    probeFault["call"] = "read";
    probeFault["overlapped"] = true;
    Json const slow{{"call", "read"}, {"overlapped", false}, {"delayMilliseconds", 31000}};
    return with(smallDisk({{"readRate", 500}, {"faults", Json::array({probeFault, slow})}}), members);
}
Json withFault(Json disk, Json fault) {
    disk["faults"].push_back(std::move(fault));
    return disk;
}

std::string described(Json const & call) {
    std::string const name = call["call"];
    if (name == "open") {
        return "open " + call["flags"].get<std::string>();
    }
    if (name == "control") {
        return call.value("name", "") + " in " + call["in"].dump() + " out " + call["out"].dump();
    }
    if (name == "read") {
        return "read " + call["bytes"].dump() + " at " + call["offset"].dump() +
               (call.value("error", 0) == 0 ? "" : " fails");
    }
    if (name == "wait") {
        return "sleep " + call["seconds"].dump();
    }
    if (name == "waitTransfer") {
        return call.contains("pending") ? "wait " + call["limit"].dump() : "ended " + call["error"].dump();
    }
    return name;
}

// What was asked of the PC from the first read to the end of the run, the same call in a row once with its count; how
// often a drive asks for its sector size is its own matter.
Lines callsSinceFirstRead(std::vector<Json> const & calls) {
    Lines lines;
    std::vector<std::size_t> counts;
    for (Json const & call : calls) {
        bool const asksForItsSize = call.value("name", "") == "DISK_GET_DRIVE_GEOMETRY_EX";
        if (asksForItsSize || (lines.empty() && call["call"] != "read")) {
            continue;
        }
        std::string const line = described(call);
        if (!lines.empty() && lines.back() == line) {
            ++counts.back();
        } else {
            lines.push_back(line);
            counts.push_back(1);
        }
    }
    for (std::size_t i = 0; i < lines.size(); ++i) {
        lines[i] += counts[i] == 1 ? "" : " x" + std::to_string(counts[i]);
    }
    return lines;
}

// A medium in time.

TEST(MediaProbe, MediumThatAnswersIsMeasuredThroughAHandleOpenedAnew) {
    TracedRun const run = traceStorageTest(stickPc(probed({{"delayMilliseconds", 199}})), readOnce);
    EXPECT_EQ(run.host.result, "PASS");
    EXPECT_EQ(raised(run.host), summary);
    EXPECT_EQ(callsSinceFirstRead(run.calls), (Lines{"read 524288 at 0", "wait 0.05 x3", "ended 0", "close",
                                                     "open 0xA0000000", "read 524288 at 0", "close"}));
}

TEST(MediaProbe, MediumHasThirtySeconds) {
    // Its own millisecond goes on top.
    for (int const milliseconds : {0, 29899, 29999, 30049}) {
        HostView const host = runStorageTest(stickPc(probed({{"delayMilliseconds", milliseconds}})), readOnce);
        EXPECT_EQ(host.result, "PASS") << milliseconds;
        EXPECT_EQ(raised(host), summary) << milliseconds;
    }
    for (int const milliseconds : {30050, 30099, 60000}) {
        HostView const host = runStorageTest(stickPc(probed({{"delayMilliseconds", milliseconds}})), readOnce);
        EXPECT_EQ(host.result, "CANNOTRUN") << milliseconds;
        EXPECT_EQ(raised(host), Lines{givenUp}) << milliseconds;
    }
}

TEST(MediaProbe, ReadThatEndsWithAnErrorCountsAsReady) {
    for (std::uint32_t const error : {1117U, 23U, 995U}) {
        TracedRun const run = traceStorageTest(stickPc(probed({{"error", error}})), readOnce);
        EXPECT_EQ(run.host.result, "PASS") << error;
        EXPECT_EQ(raised(run.host), summary) << error;
        EXPECT_EQ(callsSinceFirstRead(run.calls).at(1), "ended " + std::to_string(error));
    }
}

// A medium that does not answer.

TEST(MediaProbe, MediumThatNeverAnswersIsGivenUpAndEjected) {
    TracedRun const run = traceStorageTest(stickPc(probed({{"hangs", true}})), readOnce);
    EXPECT_EQ(run.host.result, "CANNOTRUN");
    EXPECT_EQ(raised(run.host), Lines{givenUp});
    EXPECT_EQ(callsSinceFirstRead(run.calls), (Lines{"read 524288 at 0", "wait 0.05 x601", "cancelTransfer",
                                                     "STORAGE_EJECT_MEDIA in 0 out 0", "ended 995", "close"}));
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

TEST(MediaProbe, EjectIsTheOneThatWindowsKnows) {
    TracedRun const run = traceStorageTest(stickPc(probed({{"hangs", true}})), readOnce);
    auto const eject = std::find_if(run.calls.begin(), run.calls.end(),
                                    [](Json const & call) { return call.value("name", "") == "STORAGE_EJECT_MEDIA"; });
    ASSERT_NE(eject, run.calls.end());
    EXPECT_EQ((*eject)["code"], "0x2D4808");
    EXPECT_EQ((*eject)["error"], 0);
}

TEST(MediaProbe, NothingIsWrittenToAMediumThatDoesNotAnswer) {
    TracedRun const run = traceStorageTest(stickPc(probed({{"hangs", true}})), readThenWrite);
    EXPECT_EQ(run.host.result, "CANNOTRUN");
    EXPECT_EQ(raised(run.host), Lines{givenUp});
    EXPECT_EQ(callsSinceFirstRead(run.calls).back(), "close"); // the write pass asks nothing of the PC
    EXPECT_EQ(callsSinceFirstRead(run.calls).size(), 6U);
}

TEST(MediaProbe, ReadThatFailsAtOnceIsWaitedForInVain) {
    Json const gone{{{"media", "absent"}, {"atTransfer", 1}}};
    TracedRun const run = traceStorageTest(stickPc(smallDisk({{"mediaChanges", gone}})), readOnce);
    EXPECT_EQ(run.host.result, "CANNOTRUN");
    EXPECT_EQ(raised(run.host), Lines{givenUp});
    EXPECT_EQ(callsSinceFirstRead(run.calls),
              (Lines{"read 524288 at 0 fails", "sleep 0.05 x601", "STORAGE_EJECT_MEDIA in 0 out 0", "close"}));
}

TEST(MediaProbe, HandleThatDidNotOpenIsWaitedForInVain) {
    // The third open for reading and writing is that of the probe: the drive check and the pass came before.
    Json const disk = smallDisk({{"faults", {{{"call", "open"}, {"after", 2}, {"times", 1}, {"error", 5}}}}});
    TracedRun const run = traceStorageTest(stickPc(disk), readOnce);
    EXPECT_EQ(diskOpens(run.calls).back(), "share 0x0 flags 0x60000080");
    EXPECT_EQ(run.host.result, "CANNOTRUN");
    EXPECT_EQ(raised(run.host), Lines{givenUp});
    EXPECT_NEAR(run.calls.back()["t"].get<double>(), 30.0, 0.1);
}

TEST(MediaProbe, EjectThatFailsOrNeverEndsChangesNothing) {
    Json const fixed = probed({{"hangs", true}}, {{"removable", false}});
    Json const refusing = withFault(probed({{"hangs", true}}), {{"call", "eject"}, {"error", 5}});
    Json const hanging = withFault(probed({{"hangs", true}}), {{"call", "eject"}, {"hangs", true}});
    for (Json const & disk : {fixed, refusing, hanging}) {
        TracedRun const run = traceStorageTest(stickPc(disk), readThenWrite);
        EXPECT_EQ(run.host.result, "CANNOTRUN") << disk;
        EXPECT_EQ(raised(run.host), Lines{givenUp}) << disk;
        EXPECT_LT(run.calls.back()["t"].get<double>(), 45.0) << disk;
        EXPECT_EQ(kernel::openHandleCount(), 0U) << disk;
    }
}

TEST(MediaProbe, ReadThatCannotBeCancelledKeepsWhatTheDeviceMayStillUse) {
    {
        TracedRun const run =
            traceStorageTest(stickPc(probed({{"hangs", true}, {"cancellable", false}})), readThenWrite);
        EXPECT_EQ(run.host.result, "CANNOTRUN");
        EXPECT_EQ(raised(run.host), Lines{givenUp});
        EXPECT_EQ(callsSinceFirstRead(run.calls), (Lines{"read 524288 at 0", "wait 0.05 x601", "cancelTransfer",
                                                         "STORAGE_EJECT_MEDIA in 0 out 0", "wait 0.05 x20", "close"}));
    }
    EXPECT_EQ(kernel::openHandleCount(), 1U); // the event of that read

    // The next disk of the process is none the worse for it.
    HostView const next = runStorageTest(stickPc(smallDisk()), readOnce);
    EXPECT_EQ(next.result, "PASS");
    EXPECT_EQ(kernel::openHandleCount(), 1U);
}

// Events.

TEST(MediaProbe, WithoutAnEventThereIsNoProbe) {
    Json description = stickPc(smallDisk());
    description["faults"] = {{{"call", "createEvent"}, {"error", 8}}};
    TracedRun const run = traceStorageTest(description, readThenWrite, {"--log-level", "1"});
    EXPECT_EQ(run.host.result, "CANNOTRUN");
    EXPECT_EQ(raised(run.host), Lines{});
    std::string const log = "134 isMediaOperationReady()::CreateEvent() failed";
    EXPECT_EQ(std::count(run.host.log.begin(), run.host.log.end(), log), 1);
    EXPECT_EQ(run.host.priorityOf.at(log), 1);
    EXPECT_EQ(callsSinceFirstRead(run.calls), Lines{});
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

TEST(MediaProbeCall, EventStaysOpenUntilTheNextProbeOrTheEnd) {
    StorageCall call(stickPc(smallDisk()));
    auto calculator = call.calculator();
    ASSERT_TRUE(calculator->openHandle());
    ASSERT_TRUE(calculator->initDrive());
    EXPECT_EQ(kernel::openHandleCount(), 1U);
    for (int probe = 0; probe < 3; ++probe) {
        EXPECT_TRUE(calculator->reopenForMediaCheck(0));
        EXPECT_EQ(kernel::openHandleCount(), 2U) << probe; // the disk and the event
    }
    calculator.reset();
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

TEST(MediaProbeCall, ReadinessOfOneProbeIsNotThatOfTheNext) {
    StorageCall call(stickPc(smallDisk({{"faults", {{{"call", "open"}, {"after", 2}, {"error", 5}}}}})));
    auto const calculator = call.calculator();
    ASSERT_TRUE(calculator->openHandle());
    ASSERT_TRUE(calculator->initDrive());
    EXPECT_TRUE(calculator->reopenForMediaCheck(0));
    EXPECT_FALSE(calculator->reopenForMediaCheck(0));
    EXPECT_EQ(call.reporter.lines, Lines{"warning LARGE_CHUNKS_OF_DATA_READ_FAILED 151"});
}

TEST(MediaProbeCall, OnlyTheStartOfTheMediumIsProbed) {
    StorageCall call(stickPc(probed({{"hangs", true}})));
    auto const calculator = call.calculator();
    ASSERT_TRUE(calculator->openHandle());
    ASSERT_TRUE(calculator->initDrive());
    call.calls.clear();
    for (std::uint64_t const sector : {std::uint64_t{1}, smallTransfer, std::uint64_t{1} << 40U}) {
        EXPECT_TRUE(calculator->reopenForMediaCheck(sector));
    }
    EXPECT_TRUE(call.calls.empty());
    EXPECT_FALSE(calculator->reopenForMediaCheck(0));
    EXPECT_EQ(call.reporter.lines, Lines{"warning LARGE_CHUNKS_OF_DATA_READ_FAILED 151"});
    EXPECT_EQ(call.reporter.files, Lines{calculatorFile});
    EXPECT_EQ(failureResult(*calculator), "CANNOTRUN");

    tkit5::TestResult result;
    calculator->calculate(result, 2);
    EXPECT_STREQ(tkit5::resultName(result), "CANNOTRUN");
    EXPECT_EQ(call.reporter.lines.size(), 1U);
}

TEST(MediaProbeCall, ReadOfNoBytesIsEnough) {
    StorageCall call(stickPc(smallDisk()));
    auto const calculator = call.calculator();
    nuv::CreateFileOpenArgs args;
    args.fileName = nuv::String(diskLocator);
    args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
    args.creationDisposition = kernel::OPEN_EXISTING;
    args.flagsAndAttributes = kernel::FILE_FLAG_OVERLAPPED | kernel::FILE_FLAG_NO_BUFFERING;
    nuv::SharedFileHandle const handle(new nuv::FileHandleResManager(args));
    EXPECT_TRUE(calculator->isMediaOperationReady(handle, 0));
    EXPECT_EQ(call.reporter.lines, Lines{});
    EXPECT_TRUE(handle->isValid());
}

} // namespace
} // namespace test
