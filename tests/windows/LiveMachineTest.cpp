// The machine of the PC that the tests run on: what does not depend on the hardware that it has.
#include "machine/windows/WindowsMachine.h"

#include "kernel.h"
#include "machine/Text.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;
using machine::DeviceNode;
using machine::NodeId;
using machine::noNode;

constexpr std::uint32_t shareAll = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;
constexpr std::uint32_t readWrite = kernel::GENERIC_READ | kernel::GENERIC_WRITE;

class LiveMachine : public testing::Test {
protected:
    LiveMachine() { std::ofstream(path_, std::ios::binary) << std::string(65536, 'a'); }
    ~LiveMachine() override {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }

    machine::Opened open(std::uint32_t access, std::uint32_t share, std::uint32_t flags = 0) {
        std::u16string const path = std::filesystem::absolute(path_).u16string();
        return pc->open(
            {.path = path, .access = access, .share = share, .disposition = kernel::OPEN_EXISTING, .flags = flags});
    }

    // The outcome of a transfer, which may go on after its start.
    static machine::Transfer ended(machine::Started started) {
        return started.pending ? started.pending->wait(5s).value() : started.transfer;
    }

    std::filesystem::path const path_ =
        std::filesystem::path(testing::TempDir()) /
        (std::u8string(u8"nuvrusb-\u00E4\u4E2D\U0001F600-") + // names need not fit the code page
         std::filesystem::path(testing::UnitTest::GetInstance()->current_test_info()->name()).u8string());
    std::unique_ptr<machine::Machine> const pc = machine::makeWindowsMachine();
};

TEST_F(LiveMachine, BytesAreWrittenAndReadAtTheirPlace) {
    for (std::uint32_t const flags : {0U, kernel::FILE_FLAG_OVERLAPPED}) {
        auto const opened = open(readWrite, 0, flags);
        ASSERT_EQ(opened.error, 0U);
        std::array<std::byte, 512> bytes{};
        bytes.fill(std::byte{'b'});
        EXPECT_EQ(ended(opened.file->write(4096, bytes)).bytes, 512U);

        std::array<std::byte, 1024> read{};
        machine::Transfer const transfer = ended(opened.file->read(4096 - 256, read));

        EXPECT_EQ(transfer.error, 0U);
        EXPECT_EQ(transfer.bytes, 1024U);
        EXPECT_EQ(read[255], std::byte{'a'});
        EXPECT_EQ(read[256], std::byte{'b'});
        EXPECT_EQ(read[256 + 511], std::byte{'b'});
        EXPECT_EQ(read[256 + 512], std::byte{'a'});
    }
}

TEST_F(LiveMachine, TransferOnAFileThatIsNotOverlappedEndsBeforeTheReturn) {
    auto const opened = open(kernel::GENERIC_READ, 0);
    std::array<std::byte, 512> read{};
    EXPECT_EQ(opened.file->read(0, read).pending, nullptr);
}

TEST_F(LiveMachine, ReadBehindTheEndIsTheEndOfTheFile) {
    for (std::uint32_t const flags : {0U, kernel::FILE_FLAG_OVERLAPPED}) {
        auto const opened = open(kernel::GENERIC_READ, 0, flags);
        std::array<std::byte, 512> read{};
        machine::Transfer const transfer = ended(opened.file->read(1 << 20, read));
        EXPECT_EQ(transfer.error, kernel::ERROR_HANDLE_EOF);
        EXPECT_EQ(transfer.bytes, 0U);
    }
}

TEST_F(LiveMachine, ShareModesAreThoseOfWindows) {
    auto const first = open(kernel::GENERIC_READ, 0);
    ASSERT_EQ(first.error, 0U);
    EXPECT_EQ(open(kernel::GENERIC_READ, shareAll).error, kernel::ERROR_SHARING_VIOLATION);
}

TEST_F(LiveMachine, OpenForOneAloneIsTriedAgainForASecond) {
    auto first = open(kernel::GENERIC_READ, 0);
    ASSERT_EQ(first.error, 0U);
    machine::Duration const before = pc->clock().now();
    EXPECT_EQ(open(kernel::GENERIC_READ, 0).error, kernel::ERROR_SHARING_VIOLATION);
    EXPECT_GE(pc->clock().now() - before, 900ms);

    std::thread closing([&first, this] {
        pc->clock().sleep(200ms);
        first.file.reset();
    });
    EXPECT_EQ(open(kernel::GENERIC_READ, 0).error, 0U);
    closing.join();
}

TEST_F(LiveMachine, OtherOpensAreNotTriedAgain) {
    auto const first = open(kernel::GENERIC_READ, 0);
    ASSERT_EQ(first.error, 0U);
    machine::Duration const before = pc->clock().now();
    EXPECT_EQ(open(kernel::GENERIC_READ, shareAll).error, kernel::ERROR_SHARING_VIOLATION);
    pc->open({.path = u"missing", .access = kernel::GENERIC_READ, .share = 0, .disposition = 3, .flags = 0});
    EXPECT_LT(pc->clock().now() - before, 900ms);
}

TEST_F(LiveMachine, FileIsClosedWithItsObject) {
    open(kernel::GENERIC_READ, 0);
    EXPECT_EQ(open(readWrite, 0).error, 0U);
}

TEST_F(LiveMachine, MissingFileIsNotFound) {
    std::u16string const path = path_.u16string() + u".missing";
    auto const opened =
        pc->open({.path = path, .access = kernel::GENERIC_READ, .share = 0, .disposition = 3, .flags = 0});
    EXPECT_EQ(opened.file, nullptr);
    EXPECT_EQ(opened.error, kernel::ERROR_FILE_NOT_FOUND);
}

TEST_F(LiveMachine, ControlThatAFileDoesNotKnowFailsWithAndWithoutALimit) {
    auto const opened = open(kernel::GENERIC_READ, 0);
    std::array<std::byte, 64> output{};
    for (std::optional<machine::Duration> const limit : {std::optional<machine::Duration>(5s), {}}) {
        machine::Transfer const transfer =
            opened.file->control(kernel::IOCTL_USB_GET_ROOT_HUB_NAME, output, output, limit);
        EXPECT_NE(transfer.error, 0U);
        EXPECT_NE(transfer.error, kernel::ERROR_SEM_TIMEOUT);
        EXPECT_EQ(transfer.bytes, 0U);
    }
}

TEST_F(LiveMachine, ClockGoesOnAndSleepTakesItsTime) {
    machine::Duration const before = pc->clock().now();
    pc->clock().sleep(3ms);
    machine::Duration const after = pc->clock().now();
    EXPECT_GE(after - before, 3ms);
    EXPECT_LT(after - before, 5s);
    EXPECT_FALSE(pc->clock().isVirtual());
}

TEST_F(LiveMachine, HasANameAndGivesResources) {
    EXPECT_NE(pc->name(), "");
    EXPECT_EQ(pc->take(machine::Resource::Memory), 0U);
    EXPECT_EQ(pc->take(machine::Resource::Event), 0U);
}

TEST_F(LiveMachine, VolumesHaveNoBackslashAtTheirEnd) {
    machine::VolumePaths const volumes = pc->volumes();
    EXPECT_TRUE(volumes.complete);
    EXPECT_FALSE(volumes.paths.empty()); // Windows runs from one
    for (std::u16string const & volume : volumes.paths) {
        EXPECT_TRUE(volume.starts_with(u"\\\\?\\Volume{")) << machine::toUtf8(volume);
        EXPECT_TRUE(volume.ends_with(u"}")) << machine::toUtf8(volume);
    }
}

TEST_F(LiveMachine, OpeningADiskForWritingIsToldBefore) {
    int told = 0;
    auto const watched = machine::makeWindowsMachine([&told] { ++told; });
    auto const open = [&watched](std::u16string_view path, std::uint32_t access) {
        watched->open({.path = path, .access = access, .share = shareAll, .disposition = 3, .flags = 0});
    };
    open(u"\\\\.\\PhysicalDrive4711", kernel::GENERIC_READ);
    open(u"\\\\?\\USB#NO_HUB", readWrite);
    open(path_.u16string(), readWrite);
    EXPECT_EQ(told, 0);

    open(u"\\\\.\\PhysicalDrive4711", readWrite);
    open(u"\\\\?\\physicaldrive4711", kernel::GENERIC_WRITE);

    EXPECT_EQ(told, 2);
}

TEST_F(LiveMachine, EveryDeviceIsReachedOnceFromTheRoot) {
    machine::DeviceTree const & tree = pc->devices();
    std::set<NodeId> reached;
    std::vector<NodeId> ahead{tree.root()};
    while (!ahead.empty()) {
        NodeId const node = ahead.back();
        ahead.pop_back();
        EXPECT_TRUE(reached.insert(node).second) << node;
        for (NodeId child = tree[node].firstChild; child != noNode; child = tree[child].nextSibling) {
            EXPECT_EQ(tree[child].parent, node);
            ahead.push_back(child);
        }
    }
    EXPECT_EQ(reached.size(), tree.size());
}

TEST_F(LiveMachine, RootIsNotBelowItself) {
    machine::DeviceTree const & tree = pc->devices();
    EXPECT_EQ(tree.findByInstanceId(u"HTREE\\ROOT\\0"), noNode);
}

TEST_F(LiveMachine, EveryDeviceIsFoundByItsInstanceId) {
    machine::DeviceTree const & tree = pc->devices();
    EXPECT_GT(tree.size(), 1U); // the root
    for (NodeId node = 2; node <= tree.size(); ++node) {
        EXPECT_EQ(tree.findByInstanceId(tree[node].instanceId), node) << machine::toUtf8(tree[node].instanceId);
    }
}

} // namespace
