// Described disks whose bytes are in images.
#include "DiskFixture.h"
#include "ImageFile.h"
#include "machine/simulated/DescriptionReader.h"
#include "machine/simulated/Images.h"
#include "machine/simulated/SimulatedMachine.h"

#include <system_error>

namespace {

using namespace std::chrono_literals;
using machine::DescriptionError;
using machine::simulated::Description;

constexpr char const * imagePointer = "/controllers/0/rootHub/ports/0/device/disk/image";

Description described(std::string const & json) {
    auto read = machine::readDescription(json);
    if (auto const * const error = std::get_if<DescriptionError>(&read)) {
        throw std::runtime_error(error->format());
    }
    return std::move(std::get<Description>(read));
}

// One disk with the image and more members.
std::string disk(std::string const & image, std::string const & more = {}) {
    return R"("image": ")" + image + '"' + (more.empty() ? more : ", " + more);
}

DescriptionError errorOf(std::string const & json) {
    Description description = described(json);
    return machine::simulated::openImages(description, ImageFile::folder()).value_or(DescriptionError{"none", "none"});
}

// A PC with the disk, whose images are opened from the folder of temporary files.
struct ImageDisk : OneDisk {
    explicit ImageDisk(std::string const & members) {
        Description description = described(pcWithDisks({members}));
        auto const error = machine::simulated::openImages(description, ImageFile::folder());
        if (error) {
            throw std::runtime_error(error->format());
        }
        pc = machine::makeSimulatedMachine(std::move(description));
    }
};

class DescribedImages : public testing::Test {
protected:
    ImageFile image_{100 * sector, 'a'};
};

TEST_F(DescribedImages, HoldTheBytesOfTheirDisk) {
    {
        ImageDisk pc(disk(image_.name()));
        auto const file = pc.open();
        EXPECT_TRUE(pc.holds(*file, 0, 100, 'a'));
        EXPECT_EQ(pc.writeError(*file, 8, 8, 'b'), 0U);
        EXPECT_TRUE(pc.holds(*file, 8, 8, 'b'));
    }
    EXPECT_EQ(image_.contents(),
              std::string(8 * sector, 'a') + std::string(8 * sector, 'b') + std::string(84 * sector, 'a'));
}

TEST_F(DescribedImages, AreFoundByAnAbsolutePathToo) {
    ImageDisk pc(disk(image_.path().generic_string()));
    EXPECT_TRUE(pc.holds(*pc.open(), 0, 100, 'a'));
}

TEST_F(DescribedImages, MayHaveAnyName) {
    ImageFile const named(sector, 'c', "-\xC3\xA4 \xE2\x82\xAC.img");
    ImageDisk pc(disk(named.name()));
    EXPECT_TRUE(pc.holds(*pc.open(), 0, 1, 'c'));
}

TEST_F(DescribedImages, AreTheirDisksSizeInWholeSectors) {
    ImageFile const odd(100 * sector + 100);
    EXPECT_EQ(ask(*ImageDisk(disk(odd.name())).open(), kernel::IOCTL_DISK_GET_LENGTH_INFO, {}, 8).output,
              littleEndian32(100 * sector) + zeros(4));
}

TEST_F(DescribedImages, AreCutToTheSectorCount) {
    ImageDisk pc(disk(image_.name(), R"("sectorCount": 60)"));
    auto const file = pc.open();
    EXPECT_EQ(pc.readError(*file, 59), 0U);
    EXPECT_EQ(pc.readError(*file, 60), 27U);
}

TEST_F(DescribedImages, TakeTheTimeOfTheirDiskOnVirtualTime) {
    ImageFile const large(3 * mebibyte);
    ImageDisk pc(disk(large.name(), R"("readRate": 37.5)"));
    Pages buffer(3 * mebibyte);
    EXPECT_EQ(pc.read(*pc.open(), 0, buffer.bytes()).took, 80ms);
}

using Calls = std::vector<std::string>;

// Notes what is asked of it, and keeps no bytes.
class NotingStore final : public machine::DiskStore {
public:
    NotingStore(Calls & calls, std::uint32_t flushError) : calls_(calls), flushError_(flushError) {}
    std::uint64_t size() const override { return 100 * sector; }
    std::uint32_t read(std::uint64_t, std::span<std::byte>) override { return 0; }
    std::uint32_t write(std::uint64_t, std::span<std::byte const>, bool durable) override {
        calls_.emplace_back(durable ? "durable write" : "write");
        return 0;
    }
    std::uint32_t flush() override {
        calls_.emplace_back("flush");
        return flushError_;
    }

private:
    Calls & calls_;
    std::uint32_t const flushError_;
};

// A PC with a disk on such a store, and more members.
struct NotingDisk : OneDisk {
    explicit NotingDisk(std::string const & members = {}, std::uint32_t flushError = 0) {
        Description description = described(pcWithDisks({members}));
        description.controllers[0].rootHub.hub.ports[0].device->disk->store =
            std::make_shared<NotingStore>(calls, flushError);
        pc = machine::makeSimulatedMachine(std::move(description));
    }
    Calls calls;
};

TEST(DiskStores, AreWrittenDurablyThroughHandlesThatWriteThrough) {
    NotingDisk pc;
    EXPECT_EQ(pc.writeError(*pc.open(), 0), 0U);
    EXPECT_EQ(pc.writeError(*pc.open(readWrite, exclusive, kernel::FILE_FLAG_WRITE_THROUGH), 0), 0U);
    EXPECT_EQ(pc.calls, (Calls{"write", "durable write"}));
}

TEST(DiskStores, AreFlushedThroughHandlesForWriting) {
    NotingDisk pc;
    EXPECT_EQ(pc.open(writeOnlyAccess)->flush(), 0U);
    EXPECT_EQ(pc.calls, Calls{"flush"});
    EXPECT_EQ(pc.open(readOnlyAccess)->flush(), 5U);
    EXPECT_EQ(pc.open(queriesOnly)->flush(), 5U);
    EXPECT_EQ(pc.calls, Calls{"flush"});
}

TEST(DiskStores, TellWhyAFlushFailed) {
    NotingDisk pc({}, 1117);
    EXPECT_EQ(pc.open()->flush(), 1117U);
}

TEST(DiskStores, OfAMissingMediumAreNotFlushed) {
    NotingDisk pc(R"("mediaChanges": [{"media": "absent", "atMilliseconds": 100},
                                      {"media": "unplugged", "atMilliseconds": 200}])");
    auto const file = pc.open();
    pc.sleep(100ms);
    EXPECT_EQ(file->flush(), 21U);
    pc.sleep(100ms);
    EXPECT_EQ(file->flush(), 1167U);
    EXPECT_TRUE(pc.calls.empty());
}

TEST(DiskStores, TakeTheTimeOfAControlToBeFlushed) {
    NotingDisk pc;
    auto const file = pc.open();
    machine::Duration const start = pc.now();
    EXPECT_EQ(file->flush(), 0U);
    EXPECT_EQ(pc.now() - start, 50us);
}

TEST_F(DescribedImages, OfAReadOnlyDiskStayAsTheyAre) {
    ImageDisk pc(disk(image_.name(), R"("readOnly": true)"));
    ImageDisk other(disk(image_.name(), R"("readOnly": true)")); // which may share it
    EXPECT_EQ(pc.writeError(*pc.open(), 0), 19U);
    EXPECT_TRUE(other.holds(*other.open(), 0, 100, 'a'));
    EXPECT_EQ(image_.contents(), std::string(100 * sector, 'a'));
}

TEST_F(DescribedImages, HaveTheirFaultsLikeAnyDisk) {
    ImageDisk pc(
        disk(image_.name(), R"("faults": [{"call": "write", "firstSector": 4, "lastSector": 4, "error": 1117}])"));
    EXPECT_EQ(pc.writeError(*pc.open(), 0, 8, 'b'), 1117U);
    EXPECT_EQ(image_.contents(), std::string(4 * sector, 'b') + std::string(96 * sector, 'a'));
}

TEST_F(DescribedImages, ThatShrinkAreADiskThatHasGone) {
    ImageDisk pc(disk(image_.name()));
    auto const file = pc.open();
    std::error_code refused;
    std::filesystem::resize_file(image_.path(), 0, refused);
    if (refused) {
        GTEST_SKIP() << "this system keeps a file that is open from shrinking";
    }
    Pages buffer(8 * sector);
    Moved const moved = pc.read(*file, 0, buffer.bytes());
    EXPECT_EQ(moved.error, 1167U);
    EXPECT_EQ(moved.bytes, 0U);
    EXPECT_GE(moved.took, 10ms);
}

TEST_F(DescribedImages, SmallerThanTheSectorCountAreRefused) {
    DescriptionError const error = errorOf(pcWithDisks({disk(image_.name(), R"("sectorCount": 101)")}));
    EXPECT_EQ(error.pointer, imagePointer);
    EXPECT_EQ(error.message, image_.whole() + " holds 100 sectors, fewer than sectorCount says");
}

TEST_F(DescribedImages, WithoutOneSectorAreRefused) {
    ImageFile const small(511, 0, "-small.img");
    EXPECT_EQ(errorOf(pcWithDisks({disk(small.name())})).message,
              small.whole() + " is empty; expected at least one sector");
    EXPECT_EQ(errorOf(pcWithDisks({disk(image_.name(), R"("sectorSize": 4096)")})).message, "none");
}

TEST_F(DescribedImages, ThatCannotBeOpenedAreRefused) {
    DescriptionError const missing = errorOf(pcWithDisks({disk("no such.img")}));
    EXPECT_EQ(missing.pointer, imagePointer);
    EXPECT_TRUE(missing.message.ends_with("no such.img cannot be opened: No such file or directory"))
        << missing.message;
    EXPECT_TRUE(errorOf(pcWithDisks({disk(".")})).message.ends_with("is neither a file nor a block device"));
}

TEST_F(DescribedImages, OfAnotherRunAreRefusedUntilItEnds) {
    {
        ImageDisk const running(disk(image_.name()));
        EXPECT_EQ(errorOf(pcWithDisks({disk(image_.name())})).message, image_.whole() + " is in use by another run");
    }
    EXPECT_EQ(errorOf(pcWithDisks({disk(image_.name())})).message, "none");
}

TEST_F(DescribedImages, AreNotSharedByTwoDisks) {
    DescriptionError const error = errorOf(pcWithDisks({disk(image_.name()), disk(image_.name())}));
    EXPECT_EQ(error.pointer, "/controllers/0/rootHub/ports/1/device/disk/image");
}

TEST_F(DescribedImages, AreFoundOnEveryHub) {
    DescriptionError const error = errorOf(R"({"name": "PC", "controllers": [
        {"instanceId": "PCI\\A", "rootHub": {"portCount": 1}},
        {"instanceId": "PCI\\B", "rootHub": {"portCount": 1, "ports": [{"port": 1, "protocols": ["2.0"], "speed": "high",
            "hub": {"instanceId": "USB\\H", "portCount": 4, "ports": [
                {"port": 2, "protocols": ["2.0"]},
                {"port": 3, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\A",
                    "disk": {"instanceId": "USBSTOR\\A"}}},
                {"port": 4, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\B",
                    "disk": {"instanceId": "USBSTOR\\B", "image": "no such.img"}}}]}}]}}]})");
    EXPECT_EQ(error.pointer, "/controllers/1/rootHub/ports/0/hub/ports/2/device/disk/image");
}

} // namespace
