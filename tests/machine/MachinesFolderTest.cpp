// The described PCs that come with the program.
#include "HubFixture.h"

#include "machine/simulated/DescriptionReader.h"

#include <algorithm>
#include <filesystem>
#include <vector>

namespace {

using namespace machine;

std::vector<std::string> fileNames() {
    std::vector<std::string> names;
    for (auto const & entry : std::filesystem::directory_iterator(NUVRUSB_MACHINES_DIR)) {
        names.push_back(entry.path().filename().string());
    }
    std::ranges::sort(names);
    return names;
}

class MachineFile : public testing::TestWithParam<std::string> {};

TEST_P(MachineFile, IsReadWithoutError) {
    auto const read = readDescription(support::machineFile(GetParam()));

    auto const * const error = std::get_if<DescriptionError>(&read);
    EXPECT_EQ(error, nullptr) << (error == nullptr ? "" : error->format());
}

// Companions name each other, so that a connector is the same from both of its ports.
TEST_P(MachineFile, CompanionsOnTheSameHubNameEachOther) {
    auto const read = readDescription(support::machineFile(GetParam()));
    for (auto const & controller : std::get<simulated::Description>(read).controllers) {
        auto const & ports = controller.rootHub.hub.ports;
        for (auto const & port : ports) {
            if (port.companion != 0 && port.companionHub.empty()) {
                auto const other = std::ranges::find(ports, port.companion, &simulated::Port::number);
                ASSERT_NE(other, ports.end());
                EXPECT_EQ(other->companion, port.number);
                EXPECT_EQ(other->typeC, port.typeC) << port.number;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, MachineFile, testing::ValuesIn(fileNames()), [](auto const & instance) {
    std::string name = instance.param.substr(0, instance.param.find('.'));
    std::ranges::replace(name, '-', '_');
    return name;
});

struct Count {
    std::size_t hubs = 0; // root hubs left out
    std::size_t devices = 0;
    std::size_t disks = 0;
    std::size_t ports = 0;
    std::size_t greatestDepth = 0; // of a device, a root port being 1
};

void count(simulated::Hub const & hub, std::size_t depth, Count & total) {
    total.ports += hub.portCount;
    for (auto const & port : hub.ports) {
        if (port.device != nullptr) {
            total.greatestDepth = std::max(total.greatestDepth, depth);
            total.disks += port.device->disk ? 1U : 0U;
            if (port.device->hub != nullptr) {
                ++total.hubs;
                count(*port.device->hub, depth + 1, total);
            } else {
                ++total.devices;
            }
        }
    }
}

Count countOf(std::string const & file) {
    auto const read = readDescription(support::machineFile(file));
    Count total;
    for (auto const & controller : std::get<simulated::Description>(read).controllers) {
        count(controller.rootHub.hub, 1, total);
    }
    return total;
}

TEST(MachinesFolder, DesktopHasTwoNestedHubsAndSevenDevices) {
    Count const total = countOf("desktop-usb3-nested-hubs.json");

    EXPECT_EQ(total.hubs, 2U);
    EXPECT_EQ(total.devices, 7U);
    EXPECT_EQ(total.ports, 33U);
    EXPECT_EQ(total.greatestDepth, 3U);
    EXPECT_EQ(total.disks, 1U);
}

TEST(MachinesFolder, TenPortHubIsEightHubsInAChainOfThree) {
    Count const total = countOf("laptop-ten-port-hub.json");

    EXPECT_EQ(total.hubs, 8U);
    EXPECT_EQ(total.devices, 4U);
    EXPECT_EQ(total.ports, 53U);
    EXPECT_EQ(total.greatestDepth, 3U);
}

TEST(MachinesFolder, SingleBoardComputerHasThreeHubsAndFourDisks) {
    Count const total = countOf("single-board-card-reader.json");

    EXPECT_EQ(total.hubs, 3U);
    EXPECT_EQ(total.devices, 4U);
    EXPECT_EQ(total.disks, 4U);
    EXPECT_EQ(total.ports, 13U);
}

TEST(MachinesFolder, SlowDiskHasTheOnlyConnectorThatIsFaster) {
    auto const pc = support::describedPc(support::machineFile("desktop-disk-at-high-speed.json"));
    Count const total = countOf("desktop-disk-at-high-speed.json");
    NodeId const disk = pc->devices().findByInstanceId(u"USB\\VID_0BC2&PID_2321\\5&D0750A4&0&1");
    NodeId const rootHub = pc->devices()[disk].parent;

    EXPECT_EQ(total.devices, 3U);
    EXPECT_EQ(total.ports, 22U);
    EXPECT_TRUE(pc->portDoesSuperSpeedPlus(pc->devices()[rootHub].interfacePath, 11));
    EXPECT_FALSE(pc->portDoesSuperSpeedPlus(pc->devices()[rootHub].interfacePath, 1));
}

TEST(MachinesFolder, FailedEnumerationIsOnPortSixOfEight) {
    auto const pc = support::describedPc(support::machineFile("laptop-failed-enumeration.json"));
    auto const hub = openForAll(*pc, u"USB#ROOT_HUB20#4&1A2B3C4D&0#{f18a0e88-c30c-11d0-8815-00a0c906bed8}").file;
    for (std::uint32_t port = 1; port <= 8; ++port) {
        Asked const answer = ask(*hub, kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX, portInput(port, 35), 35);
        EXPECT_EQ(answer.output[31], port == 6 ? 2 : 0) << port;
        EXPECT_EQ(answer.output[4], 0); // no descriptor
    }
}

TEST(MachinesFolder, NamesOfTheDesktopAreThoseOfTheRealOne) {
    auto const pc = support::describedPc(support::machineFile("desktop-usb3-nested-hubs.json"));
    DeviceTree const & tree = pc->devices();
    NodeId const stick = tree.findByInstanceId(
        u"usb\\vid_0781&pid_5591\\0401c01d8043afee8e3a6c6bb26eae9fe268825084adde0672f814b3589832d6e32c"
        u"000000000000000000003f0f5818000066189155810782b16e65");

    ASSERT_NE(stick, noNode);
    EXPECT_EQ(tree[stick].busReportedDescription, u" SanDisk 3.2Gen1");
    EXPECT_EQ(tree[tree[stick].firstChild].friendlyName, u" USB  SanDisk 3.2Gen1 USB Device");
    EXPECT_EQ(tree[tree[stick].parent].interfacePath,
              u"\\\\?\\USB#ROOT_HUB30#4&1c1e67e3&0&0#{f18a0e88-c30c-11d0-8815-00a0c906bed8}");
}

} // namespace
