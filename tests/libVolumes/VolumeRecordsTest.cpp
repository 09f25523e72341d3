#include "libVolumes/VolumeRecords.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <vector>

using libVolumes::Bytes;
using libVolumes::isBitLockerSector;
using libVolumes::parseExtents;

namespace {

class Record {
public:
    explicit Record(std::uint32_t count) { put(count), put(std::uint32_t{0}); }

    Record & extent(std::uint32_t disk, std::int64_t start, std::int64_t length) {
        put(disk), put(std::uint32_t{0}), put(start), put(length);
        return *this;
    }
    Bytes bytes() const { return bytes_; }

private:
    template <class Value> void put(Value value) {
        bytes_.resize(bytes_.size() + sizeof value);
        std::memcpy(bytes_.data() + bytes_.size() - sizeof value, &value, sizeof value);
    }
    std::vector<std::byte> bytes_;
};

TEST(ExtentsTest, AreReadInTheirOrder) {
    auto const extents = parseExtents(Record(2).extent(3, 1048576, 4096).extent(1, 0x200000000, 0x100000000).bytes());
    ASSERT_TRUE(extents);
    ASSERT_EQ(extents->size(), 2U);
    EXPECT_EQ((*extents)[0].DiskNumber, 3U);
    EXPECT_EQ((*extents)[0].StartingOffset, 1048576);
    EXPECT_EQ((*extents)[0].ExtentLength, 4096);
    EXPECT_EQ((*extents)[1].DiskNumber, 1U);
    EXPECT_EQ((*extents)[1].StartingOffset, 0x200000000);
    EXPECT_EQ((*extents)[1].ExtentLength, 0x100000000);
}

TEST(ExtentsTest, MoreBytesThanExtentsAreNoHarm) {
    Record record(1);
    record.extent(3, 0, 512).extent(4, 0, 512);
    auto const extents = parseExtents(record.bytes());
    ASSERT_TRUE(extents);
    EXPECT_EQ(extents->size(), 1U);
}

TEST(ExtentsTest, ARecordThatIsTooShortIsNone) {
    Record record(2);
    record.extent(0, 0, 512).extent(0, 512, 512);
    for (std::size_t size = 0; size < record.bytes().size(); ++size) {
        EXPECT_FALSE(parseExtents(record.bytes().first(size))) << size;
    }
    EXPECT_TRUE(parseExtents(record.bytes()));
}

TEST(ExtentsTest, ACountThatLiesIsNotBelieved) {
    EXPECT_FALSE(parseExtents(Record(0).extent(0, 0, 512).bytes()));
    EXPECT_FALSE(parseExtents(Record(2).extent(0, 0, 512).bytes()));
    EXPECT_FALSE(parseExtents(Record(0xFFFFFFFF).extent(0, 0, 512).bytes()));
    EXPECT_FALSE(parseExtents(Record(0x0AAAAAAB).extent(0, 0, 512).bytes())); // times 24 it is 8
}

TEST(ExtentsTest, PlacesThatCannotBeAreNotBelieved) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    EXPECT_FALSE(parseExtents(Record(1).extent(0, -1, 512).bytes()));
    EXPECT_FALSE(parseExtents(Record(1).extent(0, 0, -512).bytes()));
    EXPECT_FALSE(parseExtents(Record(1).extent(0, most, 1).bytes()));
    EXPECT_FALSE(parseExtents(Record(2).extent(0, 0, 512).extent(0, -1, 512).bytes()));
    EXPECT_TRUE(parseExtents(Record(1).extent(0, most - 512, 512).bytes()));
}

class SectorTest : public testing::TestWithParam<std::size_t> {
protected:
    void put(std::size_t at, std::string_view text) { std::memcpy(sector_.data() + at, text.data(), text.size()); }

    static constexpr std::string_view toGo{"\x3B\xD6\x67\x49\x29\x2E\xD8\x4A\x83\x99\xF6\xA3\x39\xE3\xD0\x01", 16};
    std::vector<std::byte> sector_ = std::vector<std::byte>(GetParam());
};

INSTANTIATE_TEST_SUITE_P(Sizes, SectorTest, testing::Values(512, 4096));

TEST_P(SectorTest, OfAPlainVolumeHasNoMark) {
    EXPECT_FALSE(isBitLockerSector(sector_));
    put(3, "NTFS    ");
    EXPECT_FALSE(isBitLockerSector(sector_));
    put(3, "-FVE-FS+");
    EXPECT_FALSE(isBitLockerSector(sector_));
}

TEST_P(SectorTest, OfAFixedDriveIsMarkedByItsName) {
    put(3, "-FVE-FS-");
    EXPECT_TRUE(isBitLockerSector(sector_));
}

TEST_P(SectorTest, OfARemovableDriveIsMarkedByItsIdentifier) {
    put(3, "MSWIN4.1");
    put(424, toGo);
    EXPECT_TRUE(isBitLockerSector(sector_));
    sector_[439] = std::byte{2};
    EXPECT_FALSE(isBitLockerSector(sector_));
}

TEST_P(SectorTest, MarksInOtherPlacesAreData) {
    put(4, "-FVE-FS-");
    put(160, toGo);
    put(425, toGo);
    EXPECT_FALSE(isBitLockerSector(sector_));
}

TEST_P(SectorTest, ASectorCutOffWithinTheMarkHasNone) {
    put(3, "-FVE-FS-");
    EXPECT_FALSE(isBitLockerSector(Bytes(sector_).first(10)));
    EXPECT_TRUE(isBitLockerSector(Bytes(sector_).first(11)));
    put(3, "        ");
    put(424, toGo);
    EXPECT_FALSE(isBitLockerSector(Bytes(sector_).first(439)));
    EXPECT_TRUE(isBitLockerSector(Bytes(sector_).first(440)));
    EXPECT_FALSE(isBitLockerSector({}));
}

} // namespace
