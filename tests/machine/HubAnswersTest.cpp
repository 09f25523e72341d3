// The records of a hub, byte for byte.
#include "HubFixture.h"

namespace {

TEST(HubAnswers, NodeInformationTellsPortsAndPower) {
    OneHub pc(R"("portCount": 22, "busPowered": true)");

    Asked const answer = ask(*pc.hub, kernel::IOCTL_USB_GET_NODE_INFORMATION, {}, 76);

    EXPECT_EQ(answer.error, 0U);
    EXPECT_EQ(answer.returned, 76U);
    EXPECT_EQ(answer.output, bytes({0, 0, 0, 0}) + // NodeType: a hub
                                 bytes({13}) +     // bDescriptorLength: 7 and two masks of 23 bits
                                 bytes({0x29}) +   // bDescriptorType
                                 bytes({22}) +     // bNumberOfPorts
                                 bytes({0, 0}) +   // wHubCharacteristics
                                 bytes({50}) +     // bPowerOnToPowerGood
                                 bytes({100}) +    // bHubControlCurrent
                                 zeros(64) +       // bRemoveAndPowerMask
                                 bytes({1}));      // HubIsBusPowered
}

TEST(HubAnswers, ConnectionOfADeviceHoldsItsDescriptor) {
    OneHub pc(R"("portCount": 4, "ports": [{"port": 3, "protocols": ["1.1", "2.0"], "speed": "full",
        "device": {"instanceId": "USB\\VID_1E7D&PID_2E24\\7", "product": "Mouse", "serialNumber": "1",
                   "revision": "0123", "usbVersion": "1.10", "class": 239, "configuration": 2, "address": 259}}])");

    Asked const answer = pc.connection(3);

    EXPECT_EQ(answer.error, 0U);
    EXPECT_EQ(answer.returned, 35U);
    EXPECT_EQ(answer.output, bytes({3, 0, 0, 0}) +     // ConnectionIndex
                                 bytes({18, 1}) +      // bLength, bDescriptorType
                                 bytes({0x10, 1}) +    // bcdUSB 1.10
                                 bytes({239, 0, 0}) +  // bDeviceClass, bDeviceSubClass, bDeviceProtocol
                                 bytes({64}) +         // bMaxPacketSize0
                                 bytes({0x7D, 0x1E}) + // idVendor
                                 bytes({0x24, 0x2E}) + // idProduct
                                 bytes({0x23, 0x01}) + // bcdDevice
                                 bytes({0, 2, 3}) +    // iManufacturer, iProduct, iSerialNumber
                                 bytes({1}) +          // bNumConfigurations
                                 bytes({2}) +          // CurrentConfigurationValue
                                 bytes({1}) +          // Speed: full
                                 bytes({0}) +          // DeviceIsHub
                                 bytes({3, 1}) +       // DeviceAddress 259
                                 bytes({0, 0, 0, 0}) + // NumberOfOpenPipes
                                 bytes({1, 0, 0, 0})); // ConnectionStatus: DeviceConnected
}

TEST(HubAnswers, ConnectionOfAnEmptyPortIsZeroButForItsIndex) {
    OneHub pc(R"("portCount": 4)");

    EXPECT_EQ(pc.connection(2).output, bytes({2, 0, 0, 0}) + zeros(31));
}

TEST(HubAnswers, ConnectionFitsABufferWithRoomForPipes) {
    OneHub pc(R"("portCount": 1)");

    Asked const answer = ask(*pc.hub, kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX, portInput(1, 1135), 1135);

    EXPECT_EQ(answer.error, 0U);
    EXPECT_EQ(answer.returned, 35U);
    EXPECT_EQ(answer.output[35], untouched);
}

TEST(HubAnswers, FailedEnumerationHasNoDescriptorAndNoConfiguration) {
    OneHub pc(R"("portCount": 8, "ports": [{"port": 6, "protocols": ["2.0"], "status": "DeviceFailedEnumeration",
        "speed": "low", "device": {"instanceId": "USB\\VID_0000&PID_0000\\6", "descriptor": false, "address": 0}}])");

    EXPECT_EQ(pc.connection(6).output, bytes({6, 0, 0, 0}) +     // ConnectionIndex
                                           zeros(18) +           // DeviceDescriptor
                                           bytes({0, 0, 0}) +    // CurrentConfigurationValue, Speed, DeviceIsHub
                                           bytes({0, 0}) +       // DeviceAddress
                                           bytes({0, 0, 0, 0}) + // NumberOfOpenPipes
                                           bytes({2, 0, 0, 0})); // ConnectionStatus: DeviceFailedEnumeration
}

TEST(HubAnswers, StatusNumbersBeyondThePublishedOnesAppearAsTheyAre) {
    OneHub pc(R"("portCount": 2, "ports": [{"port": 1, "protocols": ["2.0"], "status": 4294967291},
                                           {"port": 2, "protocols": ["2.0"], "status": "DeviceReset"}])");

    EXPECT_EQ(pc.connection(1).output, bytes({1, 0, 0, 0}) + zeros(27) + bytes({0xFB, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(pc.connection(2).output, bytes({2, 0, 0, 0}) + zeros(27) + bytes({10, 0, 0, 0}));
}

TEST(HubAnswers, DeviceOnAPortThatSaysEmptyIsNotInTheRecord) {
    OneHub pc(R"("portCount": 1, "ports": [{"port": 1, "protocols": ["3.0"], "status": "NoDeviceConnected",
        "speed": "super", "device": {"instanceId": "USB\\A\\1"}}])");

    EXPECT_EQ(pc.connection(1).output, bytes({1, 0, 0, 0}) + zeros(31));
    EXPECT_EQ(pc.connectionV2(1).output, bytes({1, 0, 0, 0, 16, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(HubAnswers, HubOnAPortIsMarkedAsOne) {
    OneHub pc(R"("portCount": 1, "ports": [{"port": 1, "protocols": ["2.0"], "speed": "high",
        "hub": {"instanceId": "USB\\VID_05E3&PID_0610\\5", "portCount": 4}}])");

    Bytes const record = pc.connection(1).output;

    EXPECT_EQ(record[8], 9);  // bDeviceClass
    EXPECT_EQ(record[24], 1); // DeviceIsHub
}

struct SpeedCase {
    char const * speed; // as written in the description
    int plain;          // speed byte of the plain record
    int flags;          // of the V2 record
};

class SpeedOfRecords : public testing::TestWithParam<SpeedCase> {};

TEST_P(SpeedOfRecords, PlainRecordEndsAtHighSpeedAndFlagsTellTheRest) {
    OneHub pc(R"("portCount": 1, "ports": [{"port": 1, "protocols": ["3.0"], "speed": )" +
              std::string(GetParam().speed) + R"(, "device": {"instanceId": "USB\\A\\1"}}])");

    EXPECT_EQ(pc.connection(1).output[23], GetParam().plain);
    EXPECT_EQ(pc.connectionV2(1).output[12], GetParam().flags);
}

INSTANTIATE_TEST_SUITE_P(All, SpeedOfRecords,
                         testing::Values(SpeedCase{"\"low\"", 0, 0}, SpeedCase{"\"full\"", 1, 0},
                                         SpeedCase{"\"high\"", 2, 0}, SpeedCase{"\"super\"", 2, 3},
                                         SpeedCase{"\"superPlus\"", 2, 15}, SpeedCase{"3", 2, 3}, SpeedCase{"5", 5, 0},
                                         SpeedCase{"255", 255, 0}));

TEST(HubAnswers, V2TellsWhatThePortSpeaksAndTheDeviceCan) {
    OneHub pc(R"("portCount": 2, "ports": [
        {"port": 1, "protocols": ["1.1", "2.0"], "speed": "high",
         "device": {"instanceId": "USB\\A\\1", "superSpeedCapable": true}},
        {"port": 2, "protocols": ["3.0"], "speed": "super",
         "device": {"instanceId": "USB\\A\\2", "superSpeedPlusCapable": true}}])");

    EXPECT_EQ(pc.connectionV2(1).output, bytes({1, 0, 0, 0}) +      // ConnectionIndex
                                             bytes({16, 0, 0, 0}) + // Length
                                             bytes({3, 0, 0, 0}) +  // SupportedUsbProtocols: 1.1 and 2.0
                                             bytes({2, 0, 0, 0}));  // Flags: SuperSpeed capable
    EXPECT_EQ(pc.connectionV2(2).output, bytes({2, 0, 0, 0}) +      // ConnectionIndex
                                             bytes({16, 0, 0, 0}) + // Length
                                             bytes({4, 0, 0, 0}) +  // SupportedUsbProtocols: 3.0
                                             bytes({11, 0, 0, 0})); // Flags: runs at SuperSpeed, could do Plus
}

TEST(HubAnswers, V2ForACallerWhoDoesNotKnowUsb3IsAnInvalidParameter) {
    OneHub pc(R"("portCount": 1)");
    constexpr auto code = kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX_V2;

    EXPECT_EQ(ask(*pc.hub, code, bytes({1, 0, 0, 0, 16, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0}), 16).error, 87U);
    EXPECT_EQ(ask(*pc.hub, code, bytes({1, 0, 0, 0, 12, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0}), 16).error, 87U);
    EXPECT_EQ(ask(*pc.hub, code, bytes({1, 0, 0, 0, 16, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0}), 16).error, 0U);
}

struct PortQueryCase {
    std::uint32_t code;
    std::size_t recordSize;
};

class PortQueries : public testing::TestWithParam<PortQueryCase> {
protected:
    OneHub pc{R"("portCount": 2, "ports": [{"port": 2, "protocols": ["2.0"], "speed": "high",
                  "hub": {"instanceId": "USB\\H\\1", "portCount": 1}}])"};

    Bytes input(std::uint32_t port, std::size_t size) {
        Bytes record = portInput(port, 35); // with what the V2 query wants, which others do not look at
        record[4] = 16;
        record[8] = 4;
        record.resize(size);
        return record;
    }
};

TEST_P(PortQueries, PortsOutsideTheHubAreAnInvalidParameter) {
    auto const [code, size] = GetParam();
    for (std::uint32_t const port : {0U, 3U, 0xFFFFFFFFU}) {
        Asked const answer = ask(*pc.hub, code, input(port, size), size);
        EXPECT_EQ(answer.error, 87U) << port;
        EXPECT_EQ(answer.returned, 0U);
    }
}

TEST_P(PortQueries, BufferBelowTheRecordIsInsufficientAndStaysUntouched) {
    auto const [code, size] = GetParam();
    for (std::size_t tooSmall = 0; tooSmall < size; ++tooSmall) {
        Asked const answer = ask(*pc.hub, code, input(2, size), tooSmall);
        EXPECT_EQ(answer.error, 122U);
        EXPECT_EQ(answer.output, Bytes(tooSmall, untouched));
        EXPECT_EQ(ask(*pc.hub, code, input(2, tooSmall), size).error, 122U);
    }
    EXPECT_EQ(ask(*pc.hub, code, input(2, size), size).error, 0U);
}

INSTANTIATE_TEST_SUITE_P(All, PortQueries,
                         testing::Values(PortQueryCase{0x220448, 35}, PortQueryCase{0x22045C, 16},
                                         PortQueryCase{0x220458, 18}, PortQueryCase{0x220414, 10},
                                         PortQueryCase{0x220420, 10}));

TEST(HubAnswers, NodeInformationNeedsRoomForItsRecord) {
    OneHub pc(R"("portCount": 1)");

    EXPECT_EQ(ask(*pc.hub, kernel::IOCTL_USB_GET_NODE_INFORMATION, {}, 75).error, 122U);
}

TEST(HubAnswers, UnknownControlIsAnInvalidFunction) {
    OneHub pc(R"("portCount": 1)");

    EXPECT_EQ(ask(*pc.hub, kernel::IOCTL_GET_HCD_DRIVERKEY_NAME, {}, 100).error, 1U);
    EXPECT_EQ(ask(*pc.hub, 0, {}, 0).error, 1U);
}

} // namespace
