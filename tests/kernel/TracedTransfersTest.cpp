// The lines of reads and writes, of those that go on after their start, and of controls of disks.
#include "ScriptedMachine.h"
#include "ScriptedTransfer.h"
#include "kernel.h"
#include "machine/TracingMachine.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;

class TracedTransfersTest : public testing::Test {
protected:
    machine::Opened open() { return traced_->open({u"\\\\.\\PhysicalDrive1", 0xC0000000, 0, 3, 0x40000000}); }

    // From now on transfers go on as the script says.
    void transfersGoOn(support::TransferScript const & script) {
        pc_.transfer = [this, script](bool, std::uint64_t, std::size_t) {
            return support::goesOn(pc_.clock(), script);
        };
    }

    support::ScriptedMachine pc_;
    std::vector<std::string> lines_;
    std::optional<machine::TracingMachine> traced_{std::in_place, pc_,
                                                   [this](std::string_view line) { lines_.emplace_back(line); }};
    std::array<std::byte, 512> buffer_{};
};

TEST_F(TracedTransfersTest, AReadAndAWriteCarryTheirPlaceAndOutcome) {
    machine::Opened const opened = open();
    pc_.transfer = [this](bool, std::uint64_t, std::size_t size) {
        pc_.clock().sleep(5ms);
        return machine::Started{{0, static_cast<std::uint32_t>(size)}, nullptr};
    };
    EXPECT_EQ(opened.file->read(0x123456789000, buffer_).transfer.bytes, 512U);
    opened.file->write(4096, std::span(buffer_).first(256));
    EXPECT_EQ(lines_.at(1), R"({"t":0.000000000,"call":"read","handle":1,"offset":20015998341120,"bytes":512,)"
                            R"("moved":512,"error":0,"seconds":0.005000000})");
    EXPECT_EQ(lines_.at(2),
              R"({"t":0.005000000,"call":"write","handle":1,"offset":4096,"bytes":256,"moved":256,"error":0,)"
              R"("seconds":0.005000000})");
}

TEST_F(TracedTransfersTest, AFailureCarriesItsErrorAndWhatWasMoved) {
    machine::Opened const opened = open();
    pc_.transfer = [](bool, std::uint64_t, std::size_t) { return machine::Started{{1117, 100}, nullptr}; };
    EXPECT_EQ(opened.file->write(0, buffer_).transfer.error, 1117U);
    EXPECT_EQ(lines_.at(1),
              R"({"t":0.000000000,"call":"write","handle":1,"offset":0,"bytes":512,"moved":100,"error":1117,)"
              R"("seconds":0.000000000})");
}

TEST_F(TracedTransfersTest, AFlushCarriesItsOutcome) {
    machine::Opened const opened = open();
    EXPECT_EQ(opened.file->flush(), 0U);
    pc_.flushError = 19;
    EXPECT_EQ(opened.file->flush(), 19U);
    EXPECT_EQ(lines_.at(1), R"({"t":0.000000000,"call":"flush","handle":1,"error":0})");
    EXPECT_EQ(lines_.at(2), R"({"t":0.000000000,"call":"flush","handle":1,"error":19})");
}

TEST_F(TracedTransfersTest, ATransferThatGoesOnIsFollowedByItsNumber) {
    machine::Opened const opened = open();
    transfersGoOn({.takes = 80ms, .outcome = {0, 512}});
    auto const first = opened.file->read(0, buffer_).pending;
    auto const second = opened.file->write(512, buffer_).pending;
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->wait(50ms), std::nullopt);
    second->cancel();
    EXPECT_EQ(second->wait(50ms)->error, 995U);
    EXPECT_EQ(first->wait(50ms)->bytes, 512U);
    std::vector<std::string> const expected{
        R"({"t":0.000000000,"call":"read","handle":1,"offset":0,"bytes":512,"transfer":1})",
        R"({"t":0.000000000,"call":"write","handle":1,"offset":512,"bytes":512,"transfer":2})",
        R"({"t":0.000000000,"call":"waitTransfer","transfer":2,"limit":0.050000000,"pending":true,"seconds":0.050000000})",
        R"({"t":0.050000000,"call":"cancelTransfer","transfer":2})",
        R"({"t":0.050000000,"call":"waitTransfer","transfer":2,"limit":0.050000000,"moved":0,"error":995,"seconds":0.000000000})",
        R"({"t":0.050000000,"call":"waitTransfer","transfer":1,"limit":0.050000000,"moved":512,"error":0,"seconds":0.030000000})"};
    EXPECT_EQ(std::vector(lines_.begin() + 1, lines_.end()), expected);
}

TEST_F(TracedTransfersTest, ATransferOutlivesItsFile) {
    transfersGoOn({.takes = 80ms, .outcome = {0, 512}});
    auto const pending = open().file->read(0, buffer_).pending;
    EXPECT_EQ(pc_.filesAlive, 0);
    EXPECT_EQ(pending->wait(1s)->bytes, 512U);
    EXPECT_EQ(nlohmann::json::parse(lines_.back()).at("call"), "waitTransfer");
}

TEST_F(TracedTransfersTest, ATransferOutlivesTheTraceAndWritesNoMore) {
    transfersGoOn({.takes = 80ms, .outcome = {0, 512}, .cancellable = false});
    auto pending = open().file->read(0, buffer_).pending;
    std::size_t const written = lines_.size();
    traced_.reset();
    EXPECT_EQ(pending->wait(10ms), std::nullopt);
    pending->cancel();
    EXPECT_EQ(pending->wait(1s)->bytes, 512U);
    EXPECT_EQ(pc_.clock().now(), 80ms);
    pending.reset();
    EXPECT_EQ(lines_.size(), written);
}

TEST_F(TracedTransfersTest, ControlsOfDisksAndVolumesHaveNames) {
    std::vector<std::pair<std::uint32_t, std::string>> const names{
        {kernel::IOCTL_DISK_GET_LENGTH_INFO, "DISK_GET_LENGTH_INFO"},
        {kernel::IOCTL_DISK_IS_WRITABLE, "DISK_IS_WRITABLE"},
        {kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, "DISK_GET_DRIVE_GEOMETRY_EX"},
        {kernel::IOCTL_STORAGE_CHECK_VERIFY, "STORAGE_CHECK_VERIFY"},
        {kernel::IOCTL_STORAGE_EJECT_MEDIA, "STORAGE_EJECT_MEDIA"},
        {kernel::IOCTL_STORAGE_LOAD_MEDIA, "STORAGE_LOAD_MEDIA"},
        {kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER, "STORAGE_GET_DEVICE_NUMBER"},
        {kernel::IOCTL_SCSI_PASS_THROUGH, "SCSI_PASS_THROUGH"},
        {kernel::IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, "VOLUME_GET_VOLUME_DISK_EXTENTS"},
        {kernel::FSCTL_LOCK_VOLUME, "FSCTL_LOCK_VOLUME"},
        {kernel::FSCTL_UNLOCK_VOLUME, "FSCTL_UNLOCK_VOLUME"},
        {kernel::FSCTL_DISMOUNT_VOLUME, "FSCTL_DISMOUNT_VOLUME"}};
    machine::Opened const opened = open();
    for (auto const & [code, name] : names) {
        opened.file->control(code, {}, {}, std::nullopt);
        EXPECT_EQ(nlohmann::json::parse(lines_.back()).at("name"), name);
    }
}

TEST_F(TracedTransfersTest, DemandsAndVolumesPassThroughUntold) {
    pc_.shortage = machine::Resource::Event;
    pc_.shortageError = 1450;
    pc_.volumePaths = {u"\\\\?\\Volume{1}"};
    EXPECT_EQ(traced_->take(machine::Resource::Event), 1450U);
    EXPECT_EQ(traced_->take(machine::Resource::Memory), 0U);
    EXPECT_EQ(traced_->volumes().paths, pc_.volumePaths);
    EXPECT_TRUE(lines_.empty());
}

} // namespace
