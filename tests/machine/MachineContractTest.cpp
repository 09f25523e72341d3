#include "MachineContract.h"

#include "kernel.h"
#include "support/Describe.h"

#include <array>
#include <chrono>
#include <cstring>
#include <set>
#include <vector>

using machine::DeviceNode;
using machine::DeviceTree;
using machine::NodeId;
using machine::noNode;

machine::Opened MachineContract::open(std::u16string_view path, std::uint32_t access, std::uint32_t share,
                                      std::uint32_t flags) {
    return pc->open(
        {.path = path, .access = access, .share = share, .disposition = kernel::OPEN_EXISTING, .flags = flags});
}

std::u16string MachineContract::aController() const {
    for (NodeId node = 1; node <= pc->devices().size(); ++node) {
        DeviceNode const & device = pc->devices()[node];
        if (device.nodeClass == machine::NodeClass::HostController && device.problem == 0) {
            return device.interfacePath;
        }
    }
    return {};
}

ContractSubject describedSubject(std::string name, std::string file) {
    return {std::move(name), [file = std::move(file)] { return support::describedPc(support::machineFile(file)); }};
}

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t read = kernel::GENERIC_READ;
constexpr std::uint32_t write = kernel::GENERIC_WRITE;
constexpr std::uint32_t shareRead = kernel::FILE_SHARE_READ;
constexpr std::uint32_t shareAll = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;

// A code that nobody knows, and the bits of it by which it needs a handle for reading and writing.
constexpr std::uint32_t unknownControl = 0x0022FFFC;
constexpr std::uint32_t bothAccesses = 0x0000C000;

TEST_P(MachineContract, UnknownPathIsNotFound) {
    auto const opened = open(u"\\\\?\\NOSUCH#DEVICE", read, shareAll);

    EXPECT_EQ(opened.error, 2U);
    EXPECT_EQ(opened.file, nullptr);
}

TEST_P(MachineContract, EmptyPathOpensNothing) {
    EXPECT_EQ(open(u"", read, shareAll).file, nullptr);
}

TEST_P(MachineContract, PathOpensWhateverItsLetterCase) {
    std::u16string lower = aController();
    for (char16_t & unit : lower) {
        unit = unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
    }

    EXPECT_EQ(open(aController(), write, shareAll).error, 0U);
    EXPECT_EQ(open(lower, write, shareAll).error, 0U);
}

TEST_P(MachineContract, SharedOpensGoTogether) {
    auto const first = open(aController(), write, shareAll);
    auto const second = open(aController(), read | write, shareAll);

    EXPECT_NE(first.file, nullptr);
    EXPECT_NE(second.file, nullptr);
}

TEST_P(MachineContract, ExclusiveOpenKeepsOthersOutUntilItIsClosed) {
    auto first = open(aController(), write, 0);
    EXPECT_EQ(open(aController(), read, shareAll).error, 32U);
    EXPECT_EQ(open(aController(), write, shareAll).file, nullptr);

    first.file.reset();

    EXPECT_EQ(open(aController(), read, shareAll).error, 0U);
}

TEST_P(MachineContract, ExclusiveOpenFailsWhileOthersAreIn) {
    auto const first = open(aController(), write, shareAll);

    EXPECT_EQ(open(aController(), write, 0).error, 32U);
}

TEST_P(MachineContract, ReadersShareWithReadersOnly) {
    auto const first = open(aController(), read, shareRead);

    EXPECT_EQ(open(aController(), read, shareRead).error, 0U);
    EXPECT_EQ(open(aController(), write, shareAll).error, 32U);
}

TEST_P(MachineContract, AttributeOnlyOpenIsNeverKeptOut) {
    auto const first = open(aController(), write, 0);

    EXPECT_EQ(open(aController(), 0, 0).error, 0U);
}

TEST_P(MachineContract, FailedOpenLeavesNoTrace) {
    auto first = open(aController(), write, shareAll);
    EXPECT_EQ(open(aController(), write, 0).error, 32U);
    first.file.reset();

    EXPECT_EQ(open(aController(), write, 0).error, 0U);
}

TEST_P(MachineContract, UnknownControlCodeIsAnInvalidFunction) {
    auto const opened = open(aController(), read | write, shareAll);
    std::array<std::byte, 64> output{};

    machine::Transfer const transfer = opened.file->control(unknownControl, {}, output, 5s);

    EXPECT_EQ(transfer.error, 1U);
    EXPECT_EQ(transfer.bytes, 0U);
}

TEST_P(MachineContract, ControlNeedsTheAccessThatItsCodeNames) {
    for (std::uint32_t const access : {0U, read, write}) {
        auto const opened = open(aController(), access, shareAll);
        std::array<std::byte, 64> output{};
        EXPECT_EQ(opened.file->control(unknownControl, {}, output, 5s).error, 5U) << access;
        EXPECT_EQ(opened.file->control(unknownControl & ~bothAccesses, {}, output, 5s).error, 1U) << access;
    }
}

TEST_P(MachineContract, EveryControllerNamesARootHubThatOpens) {
    unsigned controllers = 0;
    for (NodeId node = 1; node <= pc->devices().size(); ++node) {
        DeviceNode const & device = pc->devices()[node];
        if (device.nodeClass != machine::NodeClass::HostController || device.problem != 0) {
            continue;
        }
        ++controllers;
        auto const opened = open(device.interfacePath, write, shareAll);
        ASSERT_NE(opened.file, nullptr);
        std::array<std::byte, 1024> output{};
        machine::Transfer const transfer =
            opened.file->control(kernel::IOCTL_USB_GET_ROOT_HUB_NAME, output, output, 5s);
        ASSERT_EQ(transfer.error, 0U);
        std::u16string name((transfer.bytes - 4) / 2, u' ');
        std::memcpy(name.data(), output.data() + 4, name.size() * 2);
        EXPECT_EQ(open(u"\\\\?\\" + name.substr(0, name.find(u'\0')), write, shareAll).error, 0U);
    }
    EXPECT_GT(controllers, 0U);
}

TEST_P(MachineContract, ClockNeverGoesBack) {
    machine::Duration last = pc->clock().now();
    auto const opened = open(aController(), write, shareAll);
    for (int i = 0; i < 100; ++i) {
        std::array<std::byte, 6> output{};
        opened.file->control(kernel::IOCTL_USB_GET_ROOT_HUB_NAME, output, output, 5s);
        EXPECT_GE(pc->clock().now(), last);
        last = pc->clock().now();
    }
}

TEST_P(MachineContract, SleepTakesAtLeastItsTime) {
    machine::Duration const before = pc->clock().now();

    pc->clock().sleep(2ms);

    EXPECT_GE(pc->clock().now() - before, 2ms);
}

TEST_P(MachineContract, EveryNodeIsReachedOnceFromTheRoot) {
    DeviceTree const & tree = pc->devices();
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
    EXPECT_EQ(tree[tree.root()].parent, noNode);
    EXPECT_EQ(tree[tree.root()].nextSibling, noNode);
}

TEST_P(MachineContract, EveryNodeIsFoundByItsInstanceIdAndDriverKey) {
    DeviceTree const & tree = pc->devices();
    for (NodeId node = 2; node <= tree.size(); ++node) {
        EXPECT_EQ(tree.findByInstanceId(tree[node].instanceId), node);
        if (!tree[node].driverKey.empty()) {
            EXPECT_EQ(tree.findByDriverKey(tree[node].driverKey), node);
        }
    }
    EXPECT_GT(tree.size(), 2U);
}

TEST_P(MachineContract, DisksAndOnlyDisksHaveDiskFacts) {
    DeviceTree const & tree = pc->devices();
    for (NodeId node = 1; node <= tree.size(); ++node) {
        EXPECT_EQ(tree.disk(node) != nullptr, tree[node].nodeClass == machine::NodeClass::Disk);
    }
}

INSTANTIATE_TEST_SUITE_P(Simulated, MachineContract,
                         testing::Values(describedSubject("Desktop", "desktop-usb3-nested-hubs.json"),
                                         describedSubject("Laptop", "laptop-ten-port-hub.json"),
                                         describedSubject("Board", "single-board-card-reader.json"),
                                         describedSubject("Stick", "superspeed-stick.json")),
                         [](auto const & instance) { return instance.param.name; });

} // namespace
