// Records of hubs that end in a name: hub name, driver key, connector.
#include "HubFixture.h"

namespace {

constexpr auto hubName = kernel::IOCTL_USB_GET_NODE_CONNECTION_NAME;
constexpr auto driverKey = kernel::IOCTL_USB_GET_NODE_CONNECTION_DRIVERKEY_NAME;
constexpr auto connector = kernel::IOCTL_USB_GET_PORT_CONNECTOR_PROPERTIES;

constexpr char const * hubAndDevice = R"("portCount": 3, "ports": [
    {"port": 1, "protocols": ["2.0"], "speed": "high",
     "hub": {"instanceId": "USB\\H\\1", "symbolicName": "AB", "portCount": 1}},
    {"port": 2, "protocols": ["2.0"], "speed": "high",
     "device": {"instanceId": "USB\\A\\1", "driverKey": "{k}\\07"}}])";

TEST(NameRecords, HubNameIsWholeWithItsTerminator) {
    OneHub pc(hubAndDevice);

    Asked const answer = ask(*pc.hub, hubName, portInput(1, 14), 14);

    EXPECT_EQ(answer.error, 0U);
    EXPECT_EQ(answer.returned, 14U);
    EXPECT_EQ(answer.output, bytes({1, 0, 0, 0}) +      // ConnectionIndex
                                 bytes({14, 0, 0, 0}) + // ActualLength
                                 units(u"AB") +         // NodeName, without \\?\ in front
                                 bytes({0, 0}));        // and its terminator
}

TEST(NameRecords, SmallBufferGetsTheWholeLengthAndWhatFits) {
    OneHub pc(hubAndDevice);

    Asked const ten = ask(*pc.hub, hubName, portInput(1, 10), 10);
    Asked const thirteen = ask(*pc.hub, hubName, portInput(1, 13), 13);

    EXPECT_EQ(ten.error, 0U);
    EXPECT_EQ(ten.returned, 10U);
    EXPECT_EQ(ten.output, bytes({1, 0, 0, 0, 14, 0, 0, 0}) + units(u"A"));
    EXPECT_EQ(thirteen.returned, 12U); // no half of a character
    EXPECT_EQ(thirteen.output, bytes({1, 0, 0, 0, 14, 0, 0, 0}) + units(u"AB") + bytes({untouched}));
}

TEST(NameRecords, LargeBufferIsFilledAsFarAsTheRecordGoes) {
    OneHub pc(hubAndDevice);

    Asked const answer = ask(*pc.hub, hubName, portInput(1, 100), 100);

    EXPECT_EQ(answer.returned, 14U);
    EXPECT_EQ(answer.output[14], untouched);
}

TEST(NameRecords, HubNameOfWhatIsNoHubIsEmpty) {
    OneHub pc(hubAndDevice);

    for (std::uint32_t const port : {2U, 3U}) { // a device, and nothing
        Asked const answer = pc.askPort(hubName, port, 10);
        EXPECT_EQ(answer.error, 0U);
        EXPECT_EQ(answer.output, littleEndian32(port) + bytes({10, 0, 0, 0, 0, 0}));
    }
}

TEST(NameRecords, DriverKeyIsThatOfTheDeviceNode) {
    OneHub pc(hubAndDevice);

    Asked const answer = ask(*pc.hub, driverKey, portInput(2, 22), 22);

    EXPECT_EQ(answer.returned, 22U);
    EXPECT_EQ(answer.output, bytes({2, 0, 0, 0}) +      // ConnectionIndex
                                 bytes({22, 0, 0, 0}) + // ActualLength
                                 units(u"{k}\\07") +    // DriverKeyName
                                 bytes({0, 0}));
}

TEST(NameRecords, DriverKeyOfNothingFails) {
    OneHub pc(R"("portCount": 2, "ports": [{"port": 1, "protocols": ["2.0"], "speed": "high",
        "device": {"instanceId": "USB\\A\\1", "driverKey": ""}}])");

    EXPECT_EQ(pc.askPort(driverKey, 1, 10).error, 31U); // a device without one
    EXPECT_EQ(pc.askPort(driverKey, 2, 10).error, 31U); // no device
}

TEST(NameRecords, ConnectorNamesItsCompanionOnTheSameHub) {
    OneHub pc(R"("portCount": 9, "ports": [{"port": 1, "protocols": ["2.0"], "companion": 9, "typeC": true}])");

    Asked const answer = ask(*pc.hub, connector, portInput(1, 50), 50);

    EXPECT_EQ(answer.returned, 50U);
    EXPECT_EQ(answer.output, bytes({1, 0, 0, 0}) +            // ConnectionIndex
                                 bytes({50, 0, 0, 0}) +       // ActualLength
                                 bytes({9, 0, 0, 0}) +        // user-connectable, Type-C
                                 bytes({0, 0}) +              // CompanionIndex
                                 bytes({9, 0}) +              // CompanionPortNumber
                                 units(u"USB#HUB#1#{f18a}") + // this hub
                                 bytes({0, 0}));
}

TEST(NameRecords, ConnectorNamesAnotherHub) {
    OneHub pc(R"("portCount": 1, "ports": [{"port": 1, "protocols": ["2.0"], "companion": 5, "companionHub": "XY",
                                            "userConnectable": false}])");

    Asked const answer = ask(*pc.hub, connector, portInput(1, 22), 22);

    EXPECT_EQ(answer.output, bytes({1, 0, 0, 0, 22, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 0}) + units(u"XY") + bytes({0, 0}));
}

TEST(NameRecords, ConnectorWithoutCompanionHasNoNameEither) {
    OneHub pc(R"("portCount": 1)");

    EXPECT_EQ(pc.askPort(connector, 1, 18).output, bytes({1, 0, 0, 0, 18, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(NameRecords, ConnectorHasNoSecondCompanion) {
    OneHub pc(R"("portCount": 9, "ports": [{"port": 1, "protocols": ["2.0"], "companion": 9}])");
    Bytes input = portInput(1, 18);
    input[12] = 1; // CompanionIndex

    EXPECT_EQ(ask(*pc.hub, connector, input, 18).output,
              bytes({1, 0, 0, 0, 18, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0}));
}

} // namespace
