// What every machine keeps of disks, volumes and resources. Nothing is written: the PC may be somebody's own.
#include "MachineContract.h"

#include "DiskFixture.h"

#include <chrono>
#include <cstring>
#include <set>

using namespace std::chrono_literals;

void MachineDiskContract::SetUp() {
    machine::DeviceTree const & tree = pc->devices();
    for (machine::NodeId node = 1; node <= tree.size() && size == 0; ++node) {
        machine::DiskFacts const * const facts = tree.disk(node);
        if (facts == nullptr) {
            continue;
        }
        path = tree[node].interfacePath;
        number = facts->number;
        std::array<std::byte, 256> output{};
        auto const file = openDisk(readOnlyAccess);
        if (file && file->control(kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, {}, output, 5s).error == 0) {
            kernel::DISK_GEOMETRY_EX geometry{};
            std::memcpy(&geometry, output.data(), sizeof geometry);
            sectorSize = geometry.Geometry.BytesPerSector;
            size = static_cast<std::uint64_t>(geometry.DiskSize);
        }
    }
    if (size == 0) {
        GTEST_SKIP() << "no disk of this PC can be read";
    }
}

std::unique_ptr<machine::File> MachineDiskContract::openDisk(std::uint32_t access, std::uint32_t flags) {
    return open(path, access, shareAll, flags).file;
}

namespace {

// Waits for the end of a transfer where it goes on.
machine::Transfer ended(machine::Started const & started) {
    if (!started.pending) {
        return started.transfer;
    }
    return started.pending->wait(60s).value_or(machine::Transfer{121, 0});
}

TEST_P(MachineContract, HealthyPcGrantsMemoryAndEvents) {
    EXPECT_EQ(pc->take(machine::Resource::Memory), 0U);
    EXPECT_EQ(pc->take(machine::Resource::Event), 0U);
}

TEST_P(MachineContract, VolumesAreDistinctAndOpenByTheirPaths) {
    std::set<std::u16string> seen;
    machine::VolumePaths const volumes = pc->volumes();
    EXPECT_TRUE(volumes.complete);
    for (std::u16string const & path : volumes.paths) {
        EXPECT_TRUE(seen.insert(path).second);
        EXPECT_EQ(open(path, queriesOnly, shareAll).error, 0U);
    }
}

TEST_P(MachineContract, ControllersAreNeitherReadNorWritten) {
    auto const opened = open(aController(), readWrite, shareAll);
    ASSERT_NE(opened.file, nullptr);
    Pages buffer(sector);

    machine::Transfer const read = ended(opened.file->read(0, buffer.bytes()));
    machine::Transfer const written = ended(opened.file->write(0, buffer.bytes()));

    EXPECT_NE(read.error, 0U);
    EXPECT_EQ(read.bytes, 0U);
    EXPECT_NE(written.error, 0U);
    EXPECT_EQ(written.bytes, 0U);
}

TEST_P(MachineDiskContract, ADiskHasTheNumberOfItsNode) {
    kernel::STORAGE_DEVICE_NUMBER told{};
    Asked const answer = ask(*openDisk(queriesOnly), kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER, {}, sizeof told);
    ASSERT_EQ(answer.returned, sizeof told);
    std::memcpy(&told, answer.output.data(), sizeof told);
    EXPECT_EQ(told.DeviceNumber, number);
}

TEST_P(MachineDiskContract, ASectorReadsTheSameTwice) {
    auto const file = openDisk(readOnlyAccess);
    Pages first(sectorSize, 0);
    Pages second(sectorSize, 0xFF);
    EXPECT_EQ(ended(file->read(0, first.bytes())).bytes, sectorSize);
    EXPECT_EQ(ended(file->read(0, second.bytes())).bytes, sectorSize);
    EXPECT_TRUE(std::ranges::equal(first.bytes(), second.bytes()));
}

TEST_P(MachineDiskContract, AnOverlappedReadEndsWithTheSameBytes) {
    Pages expected(sectorSize);
    Pages buffer(sectorSize, 0xFF);
    EXPECT_EQ(ended(openDisk(readOnlyAccess)->read(0, expected.bytes())).error, 0U);
    auto const file = openDisk(readOnlyAccess, overlapped | kernel::FILE_FLAG_NO_BUFFERING);

    machine::Transfer const transfer = ended(file->read(0, buffer.bytes()));

    EXPECT_EQ(transfer.error, 0U);
    EXPECT_EQ(transfer.bytes, sectorSize);
    EXPECT_TRUE(std::ranges::equal(expected.bytes(), buffer.bytes()));
}

TEST_P(MachineDiskContract, ATransferOfAnOrdinaryHandleHasEndedOnItsReturn) {
    Pages buffer(sectorSize);
    EXPECT_EQ(openDisk(readOnlyAccess)->read(0, buffer.bytes()).pending, nullptr);
}

TEST_P(MachineDiskContract, AReadMovesTheClock) {
    auto const file = openDisk(readOnlyAccess);
    Pages buffer(sectorSize);
    machine::Duration const start = pc->clock().now();
    EXPECT_EQ(ended(file->read(0, buffer.bytes())).error, 0U);
    EXPECT_GT(pc->clock().now(), start);
}

TEST_P(MachineDiskContract, PartsOfSectorsAreNotRead) {
    auto const file = openDisk(readOnlyAccess, kernel::FILE_FLAG_NO_BUFFERING);
    Pages buffer(2 * std::size_t{sectorSize});
    EXPECT_EQ(ended(file->read(0, buffer.bytes().first(sectorSize - 1))).error, 87U);
    EXPECT_EQ(ended(file->read(1, buffer.bytes().first(sectorSize))).error, 87U);
}

TEST_P(MachineDiskContract, MemoryThatIsNotAlignedIsNotReadInto) {
    auto const file = openDisk(readOnlyAccess, kernel::FILE_FLAG_NO_BUFFERING);
    Pages buffer(2 * std::size_t{sectorSize});
    EXPECT_EQ(ended(file->read(0, buffer.bytes().subspan(1, sectorSize))).error, 87U);
}

TEST_P(MachineDiskContract, NothingIsReadBeyondTheEnd) {
    auto const file = openDisk(readOnlyAccess);
    Pages buffer(sectorSize);
    machine::Transfer const transfer = ended(file->read(size, buffer.bytes()));
    EXPECT_NE(transfer.error, 0U);
    EXPECT_EQ(transfer.bytes, 0U);
    EXPECT_EQ(ended(file->read(size - sectorSize, buffer.bytes())).error, 0U);
}

TEST_P(MachineDiskContract, AHandleForReadingDoesNotWrite) {
    auto const file = openDisk(readOnlyAccess);
    Pages before(sectorSize);
    Pages after(sectorSize);
    EXPECT_EQ(ended(file->read(0, before.bytes())).error, 0U);
    Pages same(sectorSize); // so that nothing is lost where this fails
    std::ranges::copy(before.bytes(), same.bytes().begin());
    EXPECT_EQ(ended(file->write(0, same.bytes())).error, 5U);
    EXPECT_EQ(ended(file->read(0, after.bytes())).error, 0U);
    EXPECT_TRUE(std::ranges::equal(before.bytes(), after.bytes()));
}

TEST_P(MachineDiskContract, AHandleForQueriesDoesNotRead) {
    Pages buffer(sectorSize);
    EXPECT_EQ(ended(openDisk(queriesOnly)->read(0, buffer.bytes())).error, 5U);
}

INSTANTIATE_TEST_SUITE_P(Simulated, MachineDiskContract,
                         testing::Values(describedSubject("Desktop", "desktop-usb3-nested-hubs.json"),
                                         describedSubject("Board", "single-board-card-reader.json"),
                                         describedSubject("Stick", "superspeed-stick.json")),
                         [](auto const & instance) { return instance.param.name; });

} // namespace
