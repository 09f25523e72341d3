// Raw transfers on a disk by its name, where the name leads to an image file: check_drive.py makes both, and looks at
// the bytes afterwards. Byte n of the image is n / 512 + n, cut to a byte.
#include "SizedMachine.h"

#include "libMedia2.h"
#include "machine/Pages.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

constexpr char16_t const * drive = u"\\\\.\\PhysicalDrive9";
constexpr std::uint32_t sectorSize = 512;
constexpr std::uint64_t sectorCount = 8192;
constexpr std::uint32_t blockSectors = 128;
constexpr std::size_t blockSize = std::size_t{blockSectors} * sectorSize;
constexpr std::uint64_t firstWritten = 3000; // sector
constexpr std::uint32_t directly = kernel::FILE_FLAG_WRITE_THROUGH | kernel::FILE_FLAG_NO_BUFFERING;

std::byte original(std::uint64_t offset) {
    return static_cast<std::byte>((offset / sectorSize + offset) & 0xFFU);
}

class DriveImage : public testing::TestWithParam<std::uint32_t> {
protected:
    nuv::SharedFileHandle opened() const {
        nuv::CreateFileOpenArgs args;
        args.fileName = drive;
        args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
        args.flagsAndAttributes = directly | GetParam();
        return nuv::SharedFileHandle(new nuv::FileHandleResManager(args));
    }

    std::span<std::byte> block() { return {pages_.get(), blockSize}; }

    bool isOriginal(std::uint64_t sector) {
        for (std::size_t at = 0; at < blockSize; ++at) {
            if (block()[at] != original(sector * sectorSize + at)) {
                return false;
            }
        }
        return true;
    }

    SizedMachine machine_{sectorSize, sectorCount * sectorSize};
    machine::InUse const inUse_{machine_};
    machine::Pages const pages_ = machine::makePages(blockSize);
    nuv::SharedFileHandle handle_;
};

TEST_P(DriveImage, IsOpenForOneAlone) {
    handle_ = opened();
    ASSERT_TRUE(handle_->isValid()) << kernel::GetLastError();

    EXPECT_FALSE(opened()->isValid());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_SHARING_VIOLATION);

    handle_.release();
    EXPECT_TRUE(opened()->isValid());
}

TEST_P(DriveImage, IsReadFromItsStartToItsEnd) {
    handle_ = opened();
    libMedia2::OSDrive disk(handle_, nullptr);
    ASSERT_EQ(disk.getSectorCount(), sectorCount);
    for (std::uint64_t sector = 0; sector < firstWritten - blockSectors; sector += blockSectors) {
        ASSERT_TRUE(disk.readSector(sector, blockSectors, block().data(), blockSize)) << sector;
        ASSERT_TRUE(isOriginal(sector)) << sector;
    }
    ASSERT_TRUE(disk.readSector(sectorCount - blockSectors, blockSectors, block().data(), blockSize));
    EXPECT_TRUE(isOriginal(sectorCount - blockSectors));
    EXPECT_FALSE(disk.readSector(sectorCount, blockSectors, block().data(), blockSize));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_HANDLE_EOF);
}

// As a preserving write pass does it; the block behind stays as it is written.
TEST_P(DriveImage, IsOverwrittenAndPutBackBlockByBlock) {
    handle_ = opened();
    libMedia2::OSDrive disk(handle_, nullptr);
    machine::Pages const other = machine::makePages(blockSize);
    std::memset(other.get(), 0xA5, blockSize);
    for (std::uint64_t sector = firstWritten; sector < firstWritten + 4 * blockSectors; sector += blockSectors) {
        ASSERT_TRUE(disk.readSector(sector, blockSectors, block().data(), blockSize)) << sector;
        ASSERT_TRUE(isOriginal(sector)) << sector;
        machine::Pages const backup = machine::makePages(blockSize);
        std::memcpy(backup.get(), block().data(), blockSize);

        ASSERT_TRUE(disk.writeSector(sector, blockSectors, other.get(), blockSize)) << sector;
        ASSERT_TRUE(disk.readSector(sector, blockSectors, block().data(), blockSize)) << sector;
        EXPECT_EQ(std::memcmp(block().data(), other.get(), blockSize), 0) << sector;

        ASSERT_TRUE(disk.writeSector(sector, blockSectors, backup.get(), blockSize)) << sector;
        EXPECT_TRUE(kernel::FlushFileBuffers(handle_->get()));
        ASSERT_TRUE(disk.readSector(sector, blockSectors, block().data(), blockSize)) << sector;
        EXPECT_TRUE(isOriginal(sector)) << sector;
    }
    EXPECT_TRUE(disk.writeSector(firstWritten + 4 * blockSectors, blockSectors, other.get(), blockSize));
}

INSTANTIATE_TEST_SUITE_P(Handles, DriveImage, testing::Values(0U, kernel::FILE_FLAG_OVERLAPPED),
                         [](auto const & instance) { return instance.param == 0 ? "Ordinary" : "Overlapped"; });

} // namespace
