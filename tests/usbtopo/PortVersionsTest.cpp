#include "usbtopo/PortVersions.h"

#include "kernel/UsbRecords.h"

#include <gtest/gtest.h>

using namespace usbtopo;
using kernel::Usb110;
using kernel::Usb200;
using kernel::Usb300;

namespace {

TEST(PortVersionsTest, SpeedsHaveTheirVersions) {
    EXPECT_EQ(versionOfSpeed(0), 1.0F);
    EXPECT_EQ(versionOfSpeed(1), 1.1F);
    EXPECT_EQ(versionOfSpeed(2), 2.0F);
    EXPECT_EQ(versionOfSpeed(3), 3.0F);
    EXPECT_EQ(versionOfSpeed(4), 3.1F);
    EXPECT_EQ(versionOfSpeed(5), 0.0F);
    EXPECT_EQ(versionOfSpeed(255), 0.0F);
}

TEST(PortVersionsTest, TheHighestProtocolCounts) {
    EXPECT_EQ(versionOfProtocols(Usb300), 3.0F);
    EXPECT_EQ(versionOfProtocols(Usb110 | Usb200), 2.0F);
    EXPECT_EQ(versionOfProtocols(Usb110), 1.1F);
    EXPECT_EQ(versionOfProtocols(0), 0.0F);
    EXPECT_EQ(versionOfProtocols(0x80), 0.0F);
}

PortAbilities speaks(std::uint32_t protocols) {
    PortAbilities abilities;
    abilities.protocols = protocols;
    return abilities;
}

PortAbilities speaks(std::uint32_t protocols, std::uint16_t companion, std::u16string hub = {}) {
    PortAbilities abilities = speaks(protocols);
    abilities.companionPort = companion;
    abilities.companionHub = std::move(hub);
    return abilities;
}

TEST(ConnectorsTest, AConnectorIsAsGoodAsTheBetterOfItsPorts) {
    Connectors connectors;
    connectors.beginHub(u"hub");
    std::size_t const slow = connectors.addPort(speaks(Usb110 | Usb200, 2));
    std::size_t const fast = connectors.addPort(speaks(Usb300, 1));
    std::size_t const alone = connectors.addPort(speaks(Usb110 | Usb200));
    EXPECT_EQ(connectors.highestVersion(slow), 3.0F);
    EXPECT_EQ(connectors.highestVersion(fast), 3.0F);
    EXPECT_EQ(connectors.highestVersion(alone), 2.0F);
}

TEST(ConnectorsTest, TheCompanionMayBeOnAHubThatIsReadLater) {
    Connectors connectors;
    connectors.beginHub(u"first");
    std::size_t const slow = connectors.addPort(speaks(Usb200, 1, u"\\\\?\\SECOND"));
    connectors.beginHub(u"Second");
    connectors.addPort(speaks(Usb300));
    EXPECT_EQ(connectors.highestVersion(slow), 3.0F);
}

TEST(ConnectorsTest, ACompanionThatIsNotThereIsNone) {
    Connectors connectors;
    connectors.beginHub(u"hub");
    std::size_t const unknownHub = connectors.addPort(speaks(Usb200, 1, u"elsewhere"));
    std::size_t const unknownPort = connectors.addPort(speaks(Usb200, 4));
    std::size_t const itself = connectors.addPort(speaks(Usb200, 3));
    EXPECT_EQ(connectors.highestVersion(unknownHub), 2.0F);
    EXPECT_EQ(connectors.highestVersion(unknownPort), 2.0F);
    EXPECT_EQ(connectors.highestVersion(itself), 2.0F);
}

TEST(ConnectorsTest, WhereOnlyTheCompanionIsKnownItCounts) {
    Connectors connectors;
    connectors.beginHub(u"hub");
    std::size_t const silent = connectors.addPort(speaks(0, 2));
    connectors.addPort(speaks(Usb300, 1));
    std::size_t const unknown = connectors.addPort(speaks(0));
    EXPECT_EQ(connectors.highestVersion(silent), 3.0F);
    EXPECT_EQ(connectors.highestVersion(unknown), 0.0F);
}

TEST(ConnectorsTest, SuperSpeedPlusOfEitherPortCountsForTheConnector) {
    Connectors connectors;
    connectors.beginHub(u"hub");
    std::size_t const slow = connectors.addPort(speaks(Usb200, 2));
    PortAbilities plus = speaks(Usb300);
    plus.superSpeedPlus = true;
    std::size_t const fast = connectors.addPort(plus);
    EXPECT_EQ(connectors.highestVersion(slow), 3.1F);
    EXPECT_EQ(connectors.highestVersion(fast), 3.1F);
}

TEST(ConnectorsTest, AHubIsBegunOnce) {
    Connectors connectors;
    EXPECT_TRUE(connectors.beginHub(u"\\\\?\\USB#hub"));
    EXPECT_FALSE(connectors.beginHub(u"USB#HUB"));
    EXPECT_TRUE(connectors.beginHub(u"USB#HUB#2"));
}

} // namespace
