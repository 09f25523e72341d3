// A PC that runs out of memory or events in a run of the storage test.
#include "PassRun.h"

#include <gtest/gtest.h>

namespace test {
namespace {

HostView runShortOf(char const * call, int granted, Settings const & settings, Json disk = smallDisk()) {
    Json pc = stickPc(std::move(disk));
    pc["faults"] = Json::array({{{"call", call}, {"after", granted}, {"error", 8}}});
    return runStorageTest(pc, settings, {"--log-level", "1"});
}

TEST(ShortMemory, WithoutABufferForTheTransfersThePassDoesNotBegin) {
    for (Settings const & settings : {readOnce, writePreserved}) {
        HostView const host = runShortOf("allocate", 0, settings);
        EXPECT_EQ(host.result, "CANNOTRUN");
        EXPECT_EQ(raised(host), Lines{});
    }
}

TEST(ShortMemory, WithoutABufferForTheProbeTheReadPassEndsSilently) {
    HostView const host = runShortOf("allocate", 1, readOnce);
    EXPECT_EQ(host.result, "CANNOTRUN");
    EXPECT_EQ(raised(host), Lines{});
    EXPECT_FALSE(host.logged("134 isMediaOperationReady()::CreateEvent() failed"));
}

TEST(ShortMemory, WithoutAnEventForTheProbeTheReadPassEnds) {
    HostView const host = runShortOf("createEvent", 0, readOnce);
    EXPECT_EQ(host.result, "CANNOTRUN");
    EXPECT_EQ(raised(host), Lines{});
    EXPECT_TRUE(host.logged("134 isMediaOperationReady()::CreateEvent() failed"));
}

TEST(ShortMemory, WithoutAPatternNothingIsWrittenAndNobodyIsAsked) {
    DiskImage const image(10 * smallTransfer + 1);
    HostView const host = runShortOf("allocate", 1, writePreserved, inImage(smallDisk(), image));
    EXPECT_EQ(host.result, "CANNOTRUN");
    EXPECT_EQ(raised(host), Lines{});
    EXPECT_EQ(only(toldIn(host.output), {"box"}), Lines{});
    EXPECT_EQ(image.changedSectors(), (std::vector<std::pair<std::uint64_t, std::uint64_t>>{}));
}

} // namespace
} // namespace test
