// Locks of volumes, and what they have to do with raw writes to the disk.
#include "DiskFixture.h"

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t accessDenied = 5;
constexpr std::u16string_view volumePath = u"\\\\?\\Volume{1}";
constexpr std::u16string_view cachePath = u"\\\\?\\Volume{1}\\ReadyBoost.sfcache";

std::uint32_t send(machine::File & volume, std::uint32_t code) {
    return ask(volume, code, {}, 0).error;
}
std::uint32_t lock(machine::File & volume) {
    return send(volume, kernel::FSCTL_LOCK_VOLUME);
}
std::uint32_t unlock(machine::File & volume) {
    return send(volume, kernel::FSCTL_UNLOCK_VOLUME);
}

// Volume 1 lies on sectors 100 to 199, volume 2 on 200 to 299.
class VolumeLock : public testing::Test {
protected:
    std::unique_ptr<machine::File> openVolume(std::u16string_view path = volumePath, std::uint32_t access = readWrite) {
        machine::Opened opened = pc_.tryOpen(path, access);
        EXPECT_EQ(opened.error, 0U);
        return std::move(opened.file);
    }
    std::uint32_t openError(std::uint32_t access, std::u16string_view path = volumePath) {
        return pc_.tryOpen(path, access).error;
    }
    // With more members of volume 1 and of the disk.
    void describe(std::string const & ofVolume, std::string const & ofDisk = {}) {
        pc_ = OneDisk(described(ofVolume, ofDisk));
    }
    static std::string described(std::string const & ofVolume = {}, std::string const & ofDisk = {}) {
        return ofDisk + (ofDisk.empty() ? "" : ", ") +
               R"("volumes": [{"name": "\\\\?\\Volume{1}", "firstSector": 100, "sectorCount": 100)" +
               (ofVolume.empty() ? "" : ", ") + ofVolume +
               R"(}, {"name": "\\\\?\\Volume{2}", "firstSector": 200, "sectorCount": 100}])";
    }

    OneDisk pc_{described()};
};

TEST_F(VolumeLock, KeepsOthersOutUntilItIsReleased) {
    auto const volume = openVolume();
    EXPECT_EQ(lock(*volume), 0U);
    for (std::uint32_t const access : {readOnlyAccess, writeOnlyAccess, readWrite}) {
        EXPECT_EQ(openError(access), accessDenied);
    }
    EXPECT_EQ(openError(readWrite, u"\\\\?\\Volume{2}"), 0U);
    EXPECT_EQ(unlock(*volume), 0U);
    EXPECT_EQ(openError(readWrite), 0U);
}

TEST_F(VolumeLock, LeavesQueriesOfTheVolumeAlone) {
    auto const volume = openVolume();
    EXPECT_EQ(lock(*volume), 0U);
    auto const asker = openVolume(volumePath, queriesOnly);
    EXPECT_EQ(ask(*asker, kernel::IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, {}, 32).error, 0U);
}

TEST_F(VolumeLock, KeepsItsFilesClosedWhateverIsAskedOfThem) {
    describe(R"("readyBoost": true)");
    auto const volume = openVolume();
    EXPECT_EQ(openError(queriesOnly, cachePath), 0U);
    EXPECT_EQ(lock(*volume), 0U);
    EXPECT_EQ(openError(queriesOnly, cachePath), accessDenied);
    EXPECT_EQ(openError(readOnlyAccess, cachePath), accessDenied);
    EXPECT_EQ(unlock(*volume), 0U);
    EXPECT_EQ(openError(queriesOnly, cachePath), 0U);
}

TEST_F(VolumeLock, IsReleasedByTheClosingOfItsFile) {
    auto volume = openVolume();
    EXPECT_EQ(lock(*volume), 0U);
    volume.reset();
    EXPECT_EQ(lock(*openVolume()), 0U);
}

TEST_F(VolumeLock, IsNotReleasedByTheClosingOfAnotherFile) {
    auto const volume = openVolume();
    EXPECT_EQ(lock(*volume), 0U);
    openVolume(volumePath, queriesOnly).reset();
    EXPECT_EQ(openError(readWrite), accessDenied);
}

TEST_F(VolumeLock, CanBeTakenAgainByItsOwner) {
    auto const volume = openVolume();
    EXPECT_EQ(lock(*volume), 0U);
    EXPECT_EQ(lock(*volume), 0U);
    EXPECT_EQ(unlock(*volume), 0U);
    EXPECT_EQ(openError(readWrite), 0U);
}

TEST_F(VolumeLock, IsRefusedWhileOthersHaveTheVolumeOpen) {
    auto const volume = openVolume();
    auto other = openVolume(volumePath, readOnlyAccess);
    EXPECT_EQ(lock(*volume), accessDenied);
    EXPECT_EQ(pc_.writeError(*pc_.open(), 100), accessDenied);
    other.reset();
    auto const asker = openVolume(volumePath, queriesOnly);
    EXPECT_EQ(lock(*volume), 0U);
}

TEST_F(VolumeLock, OfAHandleForQueriesIsOneLikeAnyOther) {
    auto const asker = openVolume(volumePath, queriesOnly);
    auto user = openVolume(volumePath, readOnlyAccess);
    EXPECT_EQ(lock(*asker), accessDenied);
    user.reset();
    EXPECT_EQ(lock(*asker), 0U);
    EXPECT_EQ(openError(readOnlyAccess), accessDenied);
    EXPECT_EQ(lock(*openVolume(volumePath, queriesOnly)), accessDenied); // it has its owner
}

TEST_F(VolumeLock, IsRefusedWhileItsCacheFileIsOpen) {
    describe(R"("readyBoost": true)");
    auto const volume = openVolume();
    auto cache = openVolume(cachePath, queriesOnly);
    EXPECT_EQ(lock(*volume), accessDenied);
    cache.reset();
    EXPECT_EQ(lock(*volume), 0U);
}

TEST_F(VolumeLock, IsRefusedWhileTheVolumeIsInUse) {
    describe(R"("inUse": true)");
    EXPECT_EQ(lock(*openVolume()), accessDenied);
    EXPECT_EQ(lock(*openVolume(u"\\\\?\\Volume{2}")), 0U);
}

TEST_F(VolumeLock, IsReleasedByItsOwnerOnly) {
    auto const volume = openVolume();
    EXPECT_EQ(unlock(*volume), 158U);
    EXPECT_EQ(lock(*volume), 0U);
    EXPECT_EQ(unlock(*openVolume(volumePath, queriesOnly)), 158U);
    EXPECT_EQ(openError(readWrite), accessDenied);
    EXPECT_EQ(unlock(*volume), 0U);
    EXPECT_EQ(unlock(*volume), 158U);
}

TEST_F(VolumeLock, GoesWithADismount) {
    auto const volume = openVolume();
    EXPECT_EQ(lock(*volume), 0U);
    EXPECT_EQ(send(*volume, kernel::FSCTL_DISMOUNT_VOLUME), 0U);
    EXPECT_EQ(openError(readWrite), accessDenied); // still locked
}

TEST_F(VolumeLock, FailsByItsFaults) {
    describe({}, R"("faults": [{"call": "lock", "times": 1, "error": 5},
                               {"call": "lock", "after": 1, "times": 1, "hangs": true},
                               {"call": "lock", "after": 2, "times": 1, "delayMilliseconds": 300}])");
    auto const volume = openVolume();
    EXPECT_EQ(lock(*volume), accessDenied);
    EXPECT_EQ(ask(*volume, kernel::FSCTL_LOCK_VOLUME, {}, 0, 2s).error, 121U);
    EXPECT_EQ(openError(readWrite), 0U); // neither has locked it
    machine::Duration const start = pc_.now();
    EXPECT_EQ(lock(*volume), 0U);
    EXPECT_EQ(pc_.now() - start, 300ms + 50us);
}

class RawWrites : public VolumeLock {
protected:
    std::unique_ptr<machine::File> disk_ = pc_.open();
};

TEST_F(RawWrites, AreKeptOutOfVolumesAndLeftAloneElsewhere) {
    for (std::uint64_t const at : {100U, 150U, 199U, 299U}) {
        EXPECT_EQ(pc_.writeError(*disk_, at, 1, 0x5A), accessDenied) << at;
    }
    EXPECT_EQ(pc_.writeError(*disk_, 92, 9, 0x5A), accessDenied);  // reaches in
    EXPECT_EQ(pc_.writeError(*disk_, 299, 8, 0x5A), accessDenied); // reaches out
    EXPECT_EQ(pc_.writeError(*disk_, 0, 400, 0x5A), accessDenied); // reaches over
    EXPECT_TRUE(pc_.holds(*disk_, 0, 400, 0));
    EXPECT_EQ(pc_.writeError(*disk_, 92, 8, 0x5A), 0U);
    EXPECT_EQ(pc_.writeError(*disk_, 300, 8, 0x5A), 0U);
}

TEST_F(RawWrites, MayReadEverywhere) {
    EXPECT_EQ(pc_.readError(*disk_, 0, 400), 0U);
}

TEST_F(RawWrites, AreAllowedWhileTheVolumeIsLocked) {
    auto const volume = openVolume();
    EXPECT_EQ(lock(*volume), 0U);
    EXPECT_EQ(pc_.writeError(*disk_, 100, 100, 0x5A), 0U);
    EXPECT_TRUE(pc_.holds(*disk_, 100, 100, 0x5A));
    EXPECT_EQ(unlock(*volume), 0U);
    EXPECT_EQ(pc_.writeError(*disk_, 100, 1), accessDenied);
}

TEST_F(RawWrites, NeedEveryVolumeLockedThatTheyTouch) {
    auto const first = openVolume();
    auto const second = openVolume(u"\\\\?\\Volume{2}");
    EXPECT_EQ(lock(*first), 0U);
    EXPECT_EQ(pc_.writeError(*disk_, 199, 2), accessDenied);
    EXPECT_EQ(lock(*second), 0U);
    EXPECT_EQ(pc_.writeError(*disk_, 199, 2), 0U);
}

TEST_F(RawWrites, AreRefusedAgainOnceTheLockIsClosed) {
    auto volume = openVolume();
    EXPECT_EQ(lock(*volume), 0U);
    volume.reset();
    EXPECT_EQ(pc_.writeError(*disk_, 100, 1), accessDenied);
}

TEST_F(RawWrites, OfAnOverlappedHandleAreRefusedAtOnce) {
    auto const other = pc_.open(readWrite, shareAll, overlapped);
    EXPECT_EQ(pc_.writeError(*other, 100, 1), accessDenied);
    Pages bytes(sector);
    EXPECT_NE(other->write(0, bytes.bytes()).pending, nullptr);
}

} // namespace
