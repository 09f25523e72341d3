// How the disks of a description are read.
#include "DiskFixture.h"
#include "machine/simulated/DescriptionReader.h"

#include <stdexcept>
#include <variant>

namespace {

using namespace std::chrono_literals;
using namespace machine::simulated;

Description read(std::string const & json) {
    auto result = machine::readDescription(json);
    if (auto const * const error = std::get_if<machine::DescriptionError>(&result)) {
        throw std::runtime_error(error->format());
    }
    return std::move(std::get<Description>(result));
}

Disk readDisk(std::string const & members) {
    return std::move(*read(pcWithDisks({members})).controllers[0].rootHub.hub.ports[0].device->disk);
}

TEST(DiskReader, LeavesWhatIsNotSaidAsADiskUsuallyIs) {
    Disk const disk = readDisk("");
    EXPECT_EQ(disk.instanceId, u"USBSTOR\\D\\1");
    EXPECT_FALSE(disk.hidden);
    EXPECT_EQ(disk.sectorSize, 512U);
    EXPECT_EQ(disk.sectorCount, std::nullopt);
    EXPECT_EQ(disk.readRate, 40.0);
    EXPECT_EQ(disk.writeRate, 20.0);
    EXPECT_EQ(disk.latency, 0s);
    EXPECT_EQ(disk.image, std::nullopt);
    EXPECT_EQ(disk.seed, std::nullopt);
    EXPECT_EQ(disk.media, MediaState::Present);
    EXPECT_TRUE(disk.mediaChanges.empty());
    EXPECT_TRUE(disk.removable);
    EXPECT_FALSE(disk.readOnly);
    EXPECT_FALSE(disk.sanitizing);
    EXPECT_EQ(disk.openError, std::nullopt);
    EXPECT_TRUE(disk.faults.empty());
    EXPECT_TRUE(disk.volumes.empty());
}

TEST(DiskReader, ReadsAllThatADiskIs) {
    Disk const disk = readDisk(R"("hidden": true, "sectorSize": 4096, "sectorCount": 2251799813685247, "readRate": 37.5,
        "writeRate": 0.25, "latencyMicroseconds": 1500, "seed": 9007199254740992, "media": "loading",
        "removable": false, "readOnly": true, "sanitizing": true, "openError": 4294967295)");
    EXPECT_TRUE(disk.hidden);
    EXPECT_EQ(disk.sectorSize, 4096U);
    EXPECT_EQ(disk.sectorCount, 2'251'799'813'685'247U);
    EXPECT_EQ(disk.readRate, 37.5);
    EXPECT_EQ(disk.writeRate, 0.25);
    EXPECT_EQ(disk.latency, 1500us);
    EXPECT_EQ(disk.seed, 9'007'199'254'740'992U);
    EXPECT_EQ(disk.media, MediaState::Loading);
    EXPECT_FALSE(disk.removable);
    EXPECT_TRUE(disk.readOnly);
    EXPECT_TRUE(disk.sanitizing);
    EXPECT_EQ(disk.openError, 0xFFFFFFFFU);
}

TEST(DiskReader, KnowsEveryStateOfTheMedium) {
    for (auto const & [name, state] :
         {std::pair("present", MediaState::Present), std::pair("absent", MediaState::Absent),
          std::pair("loading", MediaState::Loading), std::pair("unplugged", MediaState::Unplugged)}) {
        EXPECT_EQ(readDisk(std::string(R"("media": ")") + name + '"').media, state);
    }
}

TEST(DiskReader, KnowsEverySectorSize) {
    for (std::uint32_t const size : {512U, 1024U, 2048U, 4096U}) {
        EXPECT_EQ(readDisk(R"("sectorSize": )" + std::to_string(size)).sectorSize, size);
    }
}

TEST(DiskReader, ReadsAnImageAndWhereItIsNamed) {
    Disk const disk = readDisk(R"("image": "a/b.img")");
    EXPECT_EQ(disk.image, "a/b.img");
    EXPECT_EQ(disk.imagePlace, "/controllers/0/rootHub/ports/0/device/disk/image");
}

TEST(DiskReader, ReadsChangesOfTheMedium) {
    Disk const disk = readDisk(R"("mediaChanges": [{"media": "absent", "atMilliseconds": 1500},
                                                   {"media": "present", "atTransfer": 3}])");
    ASSERT_EQ(disk.mediaChanges.size(), 2U);
    EXPECT_EQ(disk.mediaChanges[0].media, MediaState::Absent);
    EXPECT_EQ(disk.mediaChanges[0].at, machine::Duration(1500ms));
    EXPECT_EQ(disk.mediaChanges[0].atTransfer, std::nullopt);
    EXPECT_EQ(disk.mediaChanges[1].media, MediaState::Present);
    EXPECT_EQ(disk.mediaChanges[1].at, std::nullopt);
    EXPECT_EQ(disk.mediaChanges[1].atTransfer, 3U);
}

TEST(DiskReader, ReadsFaultsOfTransfers) {
    Disk const disk = readDisk(R"("faults": [
        {"call": "read", "firstSector": 10, "lastSector": 20, "overlapped": true, "after": 2, "times": 3, "error": 23},
        {"call": "write", "hangs": true}, {"call": "write", "hangs": true, "cancellable": false},
        {"call": "read", "overlapped": false, "delayMilliseconds": 0}])");
    ASSERT_EQ(disk.faults.size(), 4U);
    DiskFault const & first = disk.faults[0];
    EXPECT_EQ(first.call, DiskCall::Read);
    EXPECT_EQ(first.firstSector, 10U);
    EXPECT_EQ(first.lastSector, 20U);
    EXPECT_EQ(first.overlapped, true);
    EXPECT_EQ(first.window.after, 2U);
    EXPECT_EQ(first.window.times, 3U);
    EXPECT_EQ(std::get<FailsWith>(first.effect).error, 23U);
    EXPECT_EQ(disk.faults[1].call, DiskCall::Write);
    EXPECT_EQ(disk.faults[1].firstSector, 0U);
    EXPECT_EQ(disk.faults[1].lastSector, UINT64_MAX);
    EXPECT_EQ(disk.faults[1].overlapped, std::nullopt);
    EXPECT_EQ(disk.faults[1].window.after, 0U);
    EXPECT_EQ(disk.faults[1].window.times, std::nullopt);
    EXPECT_TRUE(std::get<NeverEnds>(disk.faults[1].effect).cancellable);
    EXPECT_FALSE(std::get<NeverEnds>(disk.faults[2].effect).cancellable);
    EXPECT_EQ(disk.faults[3].overlapped, false);
    EXPECT_EQ(std::get<Delays>(disk.faults[3].effect).by, 0s);
}

TEST(DiskReader, KnowsEveryCall) {
    for (auto const & [name, call] :
         {std::pair("open", DiskCall::Open), std::pair("read", DiskCall::Read), std::pair("write", DiskCall::Write),
          std::pair("geometry", DiskCall::Geometry), std::pair("length", DiskCall::Length),
          std::pair("checkVerify", DiskCall::CheckVerify), std::pair("eject", DiskCall::Eject),
          std::pair("load", DiskCall::Load), std::pair("lock", DiskCall::Lock)}) {
        EXPECT_EQ(readDisk(std::string(R"("faults": [{"error": 1, "call": ")") + name + R"("}])").faults[0].call, call);
    }
}

TEST(DiskReader, ReadsVolumes) {
    Disk const disk = readDisk(R"("volumes": [
        {"name": "\\\\?\\Volume{1}", "firstSector": 2048, "sectorCount": 4096, "inUse": true,
         "encryption": "bitLocker", "readyBoost": true},
        {"firstSector": 0, "sectorCount": 1, "encryption": "bitLockerToGo"}, {"firstSector": 9, "sectorCount": 1}])");
    ASSERT_EQ(disk.volumes.size(), 3U);
    EXPECT_EQ(disk.volumes[0].name, u"\\\\?\\Volume{1}");
    EXPECT_EQ(disk.volumes[0].firstSector, 2048U);
    EXPECT_EQ(disk.volumes[0].sectorCount, 4096U);
    EXPECT_TRUE(disk.volumes[0].inUse);
    EXPECT_EQ(disk.volumes[0].encryption, Encryption::BitLocker);
    EXPECT_TRUE(disk.volumes[0].readyBoost);
    EXPECT_EQ(disk.volumes[1].encryption, Encryption::BitLockerToGo);
    EXPECT_EQ(disk.volumes[2].name, std::nullopt);
    EXPECT_FALSE(disk.volumes[2].inUse);
    EXPECT_EQ(disk.volumes[2].encryption, Encryption::None);
    EXPECT_FALSE(disk.volumes[2].readyBoost);
}

TEST(DiskReader, ReadsTimingAndShortagesOfThePc) {
    EXPECT_FALSE(read(R"({"name": "PC", "controllers": []})").measured);
    EXPECT_FALSE(read(R"({"name": "PC", "controllers": [], "timing": "virtual"})").measured);
    Description const pc = read(R"({"name": "PC", "controllers": [], "timing": "measured", "faults": [
        {"call": "allocate", "after": 4, "times": 2, "error": 8}, {"call": "createEvent", "error": 1450}]})");
    EXPECT_TRUE(pc.measured);
    ASSERT_EQ(pc.shortages.size(), 2U);
    EXPECT_EQ(pc.shortages[0].resource, machine::Resource::Memory);
    EXPECT_EQ(pc.shortages[0].window.after, 4U);
    EXPECT_EQ(pc.shortages[0].window.times, 2U);
    EXPECT_EQ(pc.shortages[0].error, 8U);
    EXPECT_EQ(pc.shortages[1].resource, machine::Resource::Event);
    EXPECT_EQ(pc.shortages[1].error, 1450U);
}

TEST(DiskReader, ADisksSizeFitsIntoItsLength) {
    EXPECT_EQ(readDisk(R"("sectorCount": 9007199254740992)").sectorCount, 9'007'199'254'740'992U);
    EXPECT_THROW(readDisk(R"("sectorSize": 4096, "sectorCount": 2251799813685248)"), std::runtime_error);
}

} // namespace
