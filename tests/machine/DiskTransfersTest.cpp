// What simulated disks move, and what they refuse to.
#include "DiskFixture.h"

namespace {

TEST(DiskTransfers, BytesAreReadBackFromWhereTheyWereWritten) {
    OneDisk pc;
    auto const disk = pc.open();
    std::uint64_t const beyond = 5ULL * 1024 * mebibyte; // 4 GiB and more
    Pages bytes(3 * sector);
    std::uint8_t value = 0;
    std::ranges::generate(bytes.bytes(), [&value] { return std::byte{++value}; });
    EXPECT_EQ(pc.write(*disk, beyond, bytes.bytes()).bytes, 3 * sector);

    Pages back(5 * sector, 0xEE);
    Moved const read = pc.read(*disk, beyond - sector, back.bytes());
    EXPECT_EQ(read.error, 0U);
    EXPECT_EQ(read.bytes, 5 * sector);
    EXPECT_TRUE(std::ranges::equal(back.bytes().subspan(sector, 3 * sector), bytes.bytes()));
    EXPECT_EQ(back.bytes()[0], std::byte{0});
    EXPECT_EQ(back.bytes()[4 * sector], std::byte{0});
    EXPECT_TRUE(pc.holds(*disk, beyond / sector - 0x800000, 3, 0)); // the same low half of the offset
}

TEST(DiskTransfers, AllHandlesSeeTheSameBytes) {
    OneDisk pc;
    auto const first = pc.open();
    auto const second = pc.open();
    EXPECT_EQ(pc.writeError(*first, 7, 1, 0x5A), 0U);
    EXPECT_TRUE(pc.holds(*second, 7, 1, 0x5A));
}

TEST(DiskTransfers, BytesOutliveTheirHandle) {
    OneDisk pc;
    EXPECT_EQ(pc.writeError(*pc.open(), 7, 1, 0x5A), 0U);
    EXPECT_TRUE(pc.holds(*pc.open(), 7, 1, 0x5A));
}

TEST(DiskTransfers, OnlyWhatAHandleWasOpenedForIsDone) {
    OneDisk pc;
    auto const reader = pc.open(readOnlyAccess);
    auto const writer = pc.open(writeOnlyAccess);
    auto const asker = pc.open(queriesOnly);
    EXPECT_EQ(pc.readError(*reader, 0), 0U);
    EXPECT_EQ(pc.writeError(*reader, 0, 1, 1), 5U);
    EXPECT_EQ(pc.readError(*writer, 0), 5U);
    EXPECT_EQ(pc.writeError(*writer, 8, 1, 1), 0U);
    EXPECT_EQ(pc.readError(*asker, 0), 5U);
    EXPECT_EQ(pc.writeError(*asker, 0, 1, 1), 5U);
    EXPECT_TRUE(pc.holds(*reader, 0, 1, 0));
}

TEST(DiskTransfers, OffsetAndLengthAreWholeSectors) {
    OneDisk pc;
    auto const disk = pc.open();
    Pages buffer(2 * sector, 0xEE);
    for (std::uint64_t const offset : {1U, 511U, 513U}) {
        EXPECT_EQ(pc.read(*disk, offset, buffer.bytes().first(sector)).error, 87U);
        EXPECT_EQ(pc.write(*disk, offset, buffer.bytes().first(sector)).error, 87U);
    }
    for (std::size_t const size : {1U, 511U, 513U}) {
        EXPECT_EQ(pc.read(*disk, 0, buffer.bytes().first(size)).error, 87U);
        EXPECT_EQ(pc.write(*disk, 0, buffer.bytes().first(size)).error, 87U);
    }
    EXPECT_TRUE(buffer.isAll(0xEE));
    EXPECT_TRUE(pc.holds(*disk, 0, 4, 0));
}

TEST(DiskTransfers, LargeSectorsAskForLargeAlignment) {
    OneDisk pc(R"("sectorSize": 4096, "sectorCount": 10)");
    auto const disk = pc.open();
    Pages buffer(8192);
    EXPECT_EQ(pc.read(*disk, 512, buffer.bytes()).error, 87U);
    EXPECT_EQ(pc.read(*disk, 0, buffer.bytes().first(512)).error, 87U);
    EXPECT_EQ(pc.read(*disk, 8 * 4096, buffer.bytes()).bytes, 8192U);
    EXPECT_EQ(pc.read(*disk, 9 * 4096, buffer.bytes()).error, 27U);
}

TEST(DiskTransfers, UnbufferedBuffersAreAlignedToo) {
    OneDisk pc;
    auto const unbuffered = pc.open(readWrite, shareAll, kernel::FILE_FLAG_NO_BUFFERING);
    auto const buffered = pc.open();
    Pages buffer(4 * sector);
    for (std::size_t const shift : {1U, 16U, 511U, 513U}) {
        EXPECT_EQ(pc.read(*unbuffered, 0, buffer.bytes().subspan(shift, sector)).error, 87U);
        EXPECT_EQ(pc.write(*unbuffered, 0, buffer.bytes().subspan(shift, sector)).error, 87U);
        EXPECT_EQ(pc.read(*buffered, 0, buffer.bytes().subspan(shift, sector)).error, 0U);
        EXPECT_EQ(pc.write(*buffered, 0, buffer.bytes().subspan(shift, sector)).error, 0U);
    }
    EXPECT_EQ(pc.read(*unbuffered, 0, buffer.bytes().subspan(sector, sector)).error, 0U);
    EXPECT_EQ(pc.write(*unbuffered, 0, buffer.bytes().subspan(sector, sector)).error, 0U);
}

TEST(DiskTransfers, UnbufferedBuffersAreAlignedToTheDisksSectors) {
    OneDisk pc(R"("sectorSize": 4096)");
    auto const unbuffered = pc.open(readWrite, shareAll, kernel::FILE_FLAG_NO_BUFFERING);
    Pages buffer(8192);
    EXPECT_EQ(pc.read(*unbuffered, 0, buffer.bytes().subspan(512, 4096)).error, 87U);
    EXPECT_EQ(pc.read(*unbuffered, 0, buffer.bytes().subspan(4096, 4096)).error, 0U);
}

TEST(DiskTransfers, TheDiskEndsBehindItsLastSector) {
    OneDisk pc(R"("sectorCount": 100)");
    auto const disk = pc.open();
    EXPECT_EQ(pc.writeError(*disk, 99, 1, 7), 0U);
    EXPECT_EQ(pc.readError(*disk, 99), 0U);
    EXPECT_EQ(pc.readError(*disk, 100), 27U);
    EXPECT_EQ(pc.writeError(*disk, 100), 27U);
    EXPECT_EQ(pc.writeError(*disk, 98, 3, 9), 27U); // of which two would fit
    EXPECT_EQ(pc.readError(*disk, 0, 101), 27U);
    EXPECT_EQ(pc.readError(*disk, 0xFFFFFFFFFFFFFFFF / sector), 27U);
    EXPECT_TRUE(pc.holds(*disk, 98, 1, 0));
    EXPECT_TRUE(pc.holds(*disk, 99, 1, 7));
}

TEST(DiskTransfers, AUsualDiskHasItsUsualSize) {
    OneDisk pc;
    auto const disk = pc.open();
    EXPECT_EQ(pc.readError(*disk, 62'533'295), 0U);
    EXPECT_EQ(pc.readError(*disk, 62'533'296), 27U);
}

TEST(DiskTransfers, NoBytesAreATransferToo) {
    OneDisk pc(R"("sectorCount": 100)");
    auto const disk = pc.open();
    EXPECT_EQ(pc.read(*disk, 0, {}).error, 0U);
    EXPECT_EQ(pc.write(*disk, 99 * sector, {}).error, 0U);
    EXPECT_EQ(pc.read(*disk, 101 * sector, {}).error, 27U);
}

TEST(DiskTransfers, AReadOnlyDiskIsReadAndNotWritten) {
    OneDisk pc(R"("readOnly": true, "seed": 1)");
    auto const disk = pc.open();
    Pages before(sector);
    EXPECT_EQ(pc.read(*disk, 5 * sector, before.bytes()).error, 0U);
    EXPECT_EQ(pc.writeError(*disk, 5, 1, 0), 19U);
    Pages after(sector);
    EXPECT_EQ(pc.read(*disk, 5 * sector, after.bytes()).error, 0U);
    EXPECT_TRUE(std::ranges::equal(before.bytes(), after.bytes()));
}

TEST(DiskTransfers, ARefusedTransferMovesNothing) {
    OneDisk pc(R"("sectorCount": 100)");
    auto const disk = pc.open();
    Pages buffer(2 * sector, 0xEE);
    Moved const read = pc.read(*disk, 99 * sector, buffer.bytes());
    EXPECT_EQ(read.error, 27U);
    EXPECT_EQ(read.bytes, 0U);
    EXPECT_TRUE(buffer.isAll(0xEE));
}

TEST(DiskTransfers, TwoDisksHaveTheirOwnBytes) {
    auto const machine = support::describedPc(pcWithDisks({"", ""}));
    auto const first = openForAll(*machine, u"\\\\.\\PhysicalDrive1").file;
    auto const second = openForAll(*machine, u"\\\\.\\PhysicalDrive2").file;
    Pages buffer(sector, 0x5A);
    EXPECT_EQ(second->write(0, buffer.bytes()).transfer.error, 0U);
    EXPECT_EQ(first->read(0, buffer.bytes()).transfer.error, 0U);
    EXPECT_TRUE(buffer.isAll(0));
    EXPECT_EQ(second->read(0, buffer.bytes()).transfer.error, 0U);
    EXPECT_TRUE(buffer.isAll(0x5A));
}

TEST(DiskTransfers, HubsAndDevicesAreNeitherReadNorWritten) {
    OneDisk pc;
    Pages buffer(sector);
    for (std::u16string_view const path :
         {u"PCI#X#{3abf6f2d-71c4-462a-8a92-1e6861e6af27}", u"USB#ROOT_HUB30#1#{f18a0e88-c30c-11d0-8815-00a0c906bed8}",
          u"USB#A#1#{a5dcbf10-6530-11d2-901f-00c04fb951ed}"}) {
        auto const file = pc.tryOpen(path, readWrite).file;
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(pc.read(*file, 0, buffer.bytes()).error, 1U);
        EXPECT_EQ(pc.write(*file, 0, buffer.bytes()).error, 1U);
        EXPECT_EQ(file->flush(), 1U);
    }
}

} // namespace
