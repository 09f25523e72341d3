// The volumes of a PC: how they are found, where they lie, and what is on them.
#include "DiskFixture.h"

namespace {

using namespace std::chrono_literals;

constexpr auto extentsCode = kernel::IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS;

Bytes littleEndian64(std::uint64_t value) {
    return littleEndian32(static_cast<std::uint32_t>(value)) + littleEndian32(static_cast<std::uint32_t>(value >> 32U));
}

// What a volume on one disk answers.
Bytes extent(std::uint32_t disk, std::uint64_t offset, std::uint64_t length) {
    return littleEndian32(1) + zeros(4) + littleEndian32(disk) + zeros(4) + littleEndian64(offset) +
           littleEndian64(length);
}

std::string volumes(std::string const & list) {
    return R"("volumes": [)" + list + "]";
}

TEST(Volumes, AreListedByDiskAndThenAsDescribed) {
    auto const pc = support::describedPc(
        pcWithDisks({volumes(R"({"name": "\\\\?\\Volume{z}", "firstSector": 5, "sectorCount": 1},
                    {"name": "\\\\?\\Volume{a}", "firstSector": 1, "sectorCount": 1})"),
                     "", volumes(R"({"name": "\\\\?\\Volume{m}", "firstSector": 1, "sectorCount": 1})")}));
    EXPECT_EQ(pc->volumes().paths,
              (std::vector<std::u16string>{u"\\\\?\\Volume{z}", u"\\\\?\\Volume{a}", u"\\\\?\\Volume{m}"}));
}

TEST(Volumes, APcWithoutVolumesListsNone) {
    EXPECT_TRUE(OneDisk().pc->volumes().paths.empty());
}

TEST(Volumes, HaveNamesOfTheirOwnUnlessSaid) {
    auto const pc =
        support::describedPc(pcWithDisks({R"("number": 12, )" + volumes(R"({"firstSector": 1, "sectorCount": 1},
                                                      {"firstSector": 2, "sectorCount": 1})"),
                                          volumes(R"({"firstSector": 1, "sectorCount": 1})")}));
    std::vector<std::u16string> const paths = pc->volumes().paths;
    EXPECT_EQ(paths, (std::vector<std::u16string>{u"\\\\?\\Volume{00000000-0000-4000-8000-000012000000}",
                                                  u"\\\\?\\Volume{00000000-0000-4000-8000-000012000001}",
                                                  u"\\\\?\\Volume{00000000-0000-4000-8000-000001000000}"}));
    for (std::u16string const & path : paths) {
        EXPECT_EQ(openForAll(*pc, path).error, 0U);
    }
}

TEST(Volumes, OpenByTheirNameWhateverItsCaseAndPrefix) {
    OneDisk pc(volumes(R"({"name": "\\\\?\\Volume{AB}", "firstSector": 1, "sectorCount": 1})"));
    for (std::u16string_view const path : {u"\\\\?\\Volume{AB}", u"\\\\.\\volume{ab}", u"VOLUME{AB}"}) {
        EXPECT_EQ(pc.tryOpen(path, readWrite).error, 0U);
    }
    EXPECT_EQ(pc.tryOpen(u"\\\\?\\Volume{A}", readWrite).error, 2U);
}

TEST(Volumes, TellWhereTheyLie) {
    auto const pc = support::describedPc(
        pcWithDisks({"", R"("number": 4, "sectorSize": 4096, )" +
                             volumes(R"({"name": "\\\\?\\Volume{1}", "firstSector": 256, "sectorCount": 2097152})")}));
    auto const volume = pc->open({.path = u"\\\\?\\Volume{1}",
                                  .access = queriesOnly,
                                  .share = shareAll,
                                  .disposition = kernel::OPEN_EXISTING,
                                  .flags = 0})
                            .file;
    ASSERT_NE(volume, nullptr);
    Asked const answer = ask(*volume, extentsCode, {}, 40);
    EXPECT_EQ(answer.error, 0U);
    EXPECT_EQ(answer.returned, 32U);
    EXPECT_EQ(answer.output, extent(4, 256 * 4096, 2'097'152ULL * 4096) + Bytes(8, untouched));
}

class OneVolume : public testing::Test {
protected:
    // A PC with one volume of 100 sectors from sector 10 on, with more members.
    void describe(std::string const & more = {}, std::string const & ofDisk = {}) {
        pc_.emplace(ofDisk + (ofDisk.empty() ? "" : ", ") +
                    volumes(R"({"name": "\\\\?\\Volume{1}", "firstSector": 10, "sectorCount": 100)" +
                            (more.empty() ? more : ", " + more) + "}"));
    }
    machine::Opened open(std::u16string_view name = {}, std::uint32_t access = queriesOnly) {
        return pc_->tryOpen(std::u16string(u"\\\\?\\Volume{1}") + std::u16string(name), access);
    }
    Bytes firstSector(std::size_t size = sector) {
        Pages buffer(size);
        EXPECT_EQ(pc_->read(*pc_->open(readOnlyAccess), 10 * size, buffer.bytes()).error, 0U);
        Bytes result;
        std::ranges::transform(buffer.bytes(), std::back_inserter(result),
                               [](std::byte byte) { return static_cast<std::uint8_t>(byte); });
        return result;
    }

    std::optional<OneDisk> pc_;
};

TEST_F(OneVolume, AnOutputWithoutRoomForOneExtentIsTooSmall) {
    describe();
    Asked const answer = ask(*open().file, extentsCode, {}, 31);
    EXPECT_EQ(answer.error, 122U);
    EXPECT_EQ(answer.output, Bytes(31, untouched));
}

TEST_F(OneVolume, ControlsOfDisksAreInvalidFunctions) {
    describe();
    auto const volume = open({}, readWrite).file;
    EXPECT_EQ(ask(*volume, kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, {}, 64).error, 1U);
    EXPECT_EQ(ask(*volume, kernel::IOCTL_STORAGE_EJECT_MEDIA, {}, 64).error, 1U);
    EXPECT_EQ(ask(*volume, 0, {}, 64).error, 1U);
}

TEST_F(OneVolume, IsNeitherReadNorWrittenItself) {
    describe();
    auto const volume = open({}, readWrite).file;
    Pages buffer(sector);
    EXPECT_EQ(volume->read(0, buffer.bytes()).transfer.error, 1U);
    EXPECT_EQ(volume->write(0, buffer.bytes()).transfer.error, 1U);
}

TEST_F(OneVolume, WithoutAMediumLiesNowhereAndCannotBeLocked) {
    constexpr std::uint32_t error = kernel::ERROR_NOT_READY;
    for (char const * const state : {"absent", "loading"}) {
        describe({}, std::string(R"("mediaChanges": [{"media": ")") + state + R"(", "atMilliseconds": 100}])");
        auto const volume = open({}, readWrite).file;
        EXPECT_EQ(ask(*volume, kernel::FSCTL_LOCK_VOLUME, {}, 0).error, 0U);
        pc_->sleep(100ms);
        EXPECT_EQ(ask(*volume, extentsCode, {}, 32).error, error);
        EXPECT_EQ(ask(*volume, kernel::FSCTL_LOCK_VOLUME, {}, 0).error, error);
        EXPECT_EQ(ask(*volume, kernel::FSCTL_DISMOUNT_VOLUME, {}, 0).error, error);
        EXPECT_EQ(ask(*volume, kernel::FSCTL_UNLOCK_VOLUME, {}, 0).error, 0U); // whoever has locked it may let it go
    }
}

TEST_F(OneVolume, HasGoneWithItsDisk) {
    describe({}, R"("mediaChanges": [{"media": "unplugged", "atMilliseconds": 100}])");
    auto const volume = open({}, readWrite).file;
    pc_->sleep(100ms);
    EXPECT_EQ(open().error, 2U);
    EXPECT_EQ(open({}, readWrite).error, 2U);
    EXPECT_EQ(ask(*volume, extentsCode, {}, 32).error, 1167U);
    EXPECT_EQ(ask(*volume, kernel::FSCTL_LOCK_VOLUME, {}, 0).error, 1167U);
}

TEST_F(OneVolume, HoldsTheCacheFileWhereItIsDescribed) {
    describe(R"("readyBoost": true)");
    EXPECT_EQ(open(u"\\ReadyBoost.sfcache").error, 0U);
    EXPECT_EQ(open(u"\\readyboost.SFCACHE").error, 0U);
    EXPECT_EQ(open(u"\\Other.file").error, 2U);
    describe(R"("readyBoost": false)");
    EXPECT_EQ(open(u"\\ReadyBoost.sfcache").error, 2U);
}

TEST_F(OneVolume, TheCacheFileAnswersNothing) {
    describe(R"("readyBoost": true)");
    auto const file = open(u"\\ReadyBoost.sfcache").file;
    Pages buffer(sector);
    EXPECT_EQ(ask(*file, extentsCode, {}, 32).error, 1U);
    EXPECT_EQ(file->read(0, buffer.bytes()).transfer.error, 1U);
}

TEST_F(OneVolume, IsNotEncryptedUnlessSaid) {
    describe();
    EXPECT_EQ(firstSector(), zeros(sector));
}

TEST_F(OneVolume, BitLockerMarksItsFirstSector) {
    describe(R"("encryption": "bitLocker")");
    Bytes const expected = zeros(3) + bytes({'-', 'F', 'V', 'E', '-', 'F', 'S', '-'}) + zeros(sector - 11);
    EXPECT_EQ(firstSector(), expected);
    EXPECT_TRUE(pc_->holds(*pc_->open(), 11, 100, 0));
    EXPECT_TRUE(pc_->holds(*pc_->open(), 0, 10, 0));
}

TEST_F(OneVolume, BitLockerToGoMarksItsFirstSectorFurtherIn) {
    describe(R"("encryption": "bitLockerToGo")");
    Bytes const expected =
        zeros(424) +
        bytes({0x3B, 0xD6, 0x67, 0x49, 0x29, 0x2E, 0xD8, 0x4A, 0x83, 0x99, 0xF6, 0xA3, 0x39, 0xE3, 0xD0, 0x01}) +
        zeros(sector - 440);
    EXPECT_EQ(firstSector(), expected);
}

TEST_F(OneVolume, AMarkStandsAmongTheBytesOfTheSeed) {
    describe({}, R"("sectorSize": 4096, "seed": 3)");
    Bytes expected = firstSector(4096);
    describe(R"("encryption": "bitLocker")", R"("sectorSize": 4096, "seed": 3)");
    std::ranges::copy(bytes({'-', 'F', 'V', 'E', '-', 'F', 'S', '-'}), expected.begin() + 3);
    EXPECT_EQ(firstSector(4096), expected);
}

TEST_F(OneVolume, BeyondTheDiskIsNotMarked) {
    describe(R"("encryption": "bitLocker")", R"("sectorCount": 10)");
    EXPECT_EQ(open().error, 0U);
    EXPECT_TRUE(pc_->holds(*pc_->open(), 0, 10, 0));
}

} // namespace
