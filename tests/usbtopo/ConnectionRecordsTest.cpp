#include "usbtopo/ConnectionRecords.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

using namespace usbtopo;

namespace {

using Buffer = std::vector<std::byte>;

// Bytes in the order in which they lie in a record.
Buffer bytes(std::initializer_list<unsigned> values) {
    Buffer buffer;
    for (unsigned const value : values) {
        buffer.push_back(static_cast<std::byte>(value));
    }
    return buffer;
}

Buffer operator+(Buffer head, Buffer const & tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

Buffer zeros(std::size_t count) {
    return Buffer(count);
}

Buffer text(std::u16string_view units) {
    Buffer buffer;
    for (char16_t const unit : units) {
        buffer.push_back(static_cast<std::byte>(unit & 0xFF));
        buffer.push_back(static_cast<std::byte>(unit >> 8));
    }
    return buffer;
}

Buffer cut(Buffer buffer, std::size_t size) {
    buffer.resize(size);
    return buffer;
}

Buffer const connection = bytes({3, 0, 0, 0}) +             // ConnectionIndex
                          bytes({18, 1, 0x10, 0x02}) +      // bLength, bDescriptorType, bcdUSB
                          bytes({0, 0, 0, 64}) +            // class, subclass, protocol, packet size
                          bytes({0x81, 0x07, 0x91, 0x55}) + // idVendor, idProduct
                          bytes({0x00, 0x01, 1, 2, 3, 1}) + // bcdDevice, strings, configurations
                          bytes({1}) +                      // CurrentConfigurationValue
                          bytes({2}) +                      // Speed
                          bytes({0}) +                      // DeviceIsHub
                          bytes({7, 0}) +                   // DeviceAddress
                          bytes({2, 0, 0, 0}) +             // NumberOfOpenPipes
                          bytes({1, 0, 0, 0});              // ConnectionStatus

// The plus signs make values of fields, which may lie where no reference to them may.
TEST(ConnectionRecordTest, FieldsLieWhereTheyArePublished) {
    auto const record = parseConnection(connection);
    ASSERT_TRUE(record);
    EXPECT_EQ(+record->ConnectionIndex, 3U);
    EXPECT_EQ(+record->DeviceDescriptor.bLength, 18);
    EXPECT_EQ(+record->DeviceDescriptor.bcdUSB, 0x0210);
    EXPECT_EQ(+record->DeviceDescriptor.idVendor, 0x0781);
    EXPECT_EQ(+record->DeviceDescriptor.idProduct, 0x5591);
    EXPECT_EQ(+record->CurrentConfigurationValue, 1);
    EXPECT_EQ(+record->Speed, 2);
    EXPECT_EQ(+record->DeviceIsHub, 0);
    EXPECT_EQ(+record->DeviceAddress, 7);
    EXPECT_EQ(+record->NumberOfOpenPipes, 2U);
    EXPECT_EQ(+record->ConnectionStatus, 1U);
}

TEST(ConnectionRecordTest, PipesBehindTheRecordAreLeftAlone) {
    EXPECT_TRUE(parseConnection(connection + zeros(22)));
}

TEST(ConnectionRecordTest, AShortRecordIsNone) {
    for (std::size_t size = 0; size < connection.size(); ++size) {
        EXPECT_FALSE(parseConnection(cut(connection, size))) << size;
    }
}

TEST(ConnectionRecordTest, TheV2RecordTellsProtocolsAndFlags) {
    Buffer const v2 = bytes({3, 0, 0, 0}) + bytes({16, 0, 0, 0}) + bytes({4, 0, 0, 0}) + bytes({3, 0, 0, 0});
    auto const record = parseConnectionV2(v2);
    ASSERT_TRUE(record);
    EXPECT_EQ(+record->SupportedUsbProtocols, kernel::Usb300);
    EXPECT_EQ(+record->Flags, 3U);
    EXPECT_FALSE(parseConnectionV2(cut(v2, 15)));
}

Buffer nodeInformation(unsigned nodeType, unsigned portCount) {
    return bytes({nodeType, 0, 0, 0}) +  // NodeType
           bytes({9, 0x29, portCount}) + // bDescriptorLength, bDescriptorType, bNumberOfPorts
           zeros(69);
}

TEST(NodeInformationTest, TellsTheNumberOfPorts) {
    EXPECT_EQ(parsePortCount(nodeInformation(0, 22)), 22U);
    EXPECT_EQ(parsePortCount(nodeInformation(0, 0)), 0U);
    EXPECT_EQ(parsePortCount(nodeInformation(0, 255)), 255U);
}

TEST(NodeInformationTest, ANodeThatIsNoHubHasNoPorts) {
    EXPECT_EQ(parsePortCount(nodeInformation(1, 22)), std::nullopt);
    EXPECT_EQ(parsePortCount(cut(nodeInformation(0, 22), 75)), std::nullopt);
}

Buffer connector(std::uint32_t actualLength, unsigned companionPort, std::u16string_view hubName) {
    return bytes({1, 0, 0, 0}) + // ConnectionIndex
           bytes({actualLength & 0xFF, (actualLength >> 8) & 0xFF, (actualLength >> 16) & 0xFF, actualLength >> 24}) +
           bytes({1, 0, 0, 0}) +       // UsbPortProperties
           bytes({0, 0}) +             // CompanionIndex
           bytes({companionPort, 0}) + // CompanionPortNumber
           text(hubName);              // CompanionHubSymbolicLinkName
}

TEST(ConnectorRecordTest, NamesTheCompanionPort) {
    auto const companion = parseConnector(connector(26, 17, std::u16string_view(u"ROOT\0", 5)));
    ASSERT_TRUE(companion);
    EXPECT_EQ(companion->port, 17);
    EXPECT_EQ(companion->hubName, u"ROOT");
    EXPECT_EQ(companion->fullSize, 26U);
}

TEST(ConnectorRecordTest, ANameMayEndWithTheBytes) {
    EXPECT_EQ(parseConnector(connector(24, 17, u"ROOT")).value().hubName, u"ROOT");
    EXPECT_EQ(parseConnector(cut(connector(24, 17, u"ROOT"), 23)).value().hubName, u"ROO"); // half a unit is none
    EXPECT_EQ(parseConnector(connector(18, 0, std::u16string_view(u"\0", 1))).value().hubName, u"");
}

TEST(ConnectorRecordTest, ARecordThatIsTooShortOrClaimsTooMuchIsNone) {
    EXPECT_FALSE(parseConnector(cut(connector(18, 17, u""), 17)));
    EXPECT_FALSE(parseConnector(connector(65537, 17, u"ROOT")));
    EXPECT_TRUE(parseConnector(connector(65536, 17, u"ROOT")));
}

Buffer portName(std::uint32_t actualLength, std::u16string_view name) {
    return bytes({1, 0, 0, 0}) + // ConnectionIndex
           bytes({actualLength & 0xFF, (actualLength >> 8) & 0xFF, (actualLength >> 16) & 0xFF, actualLength >> 24}) +
           text(name);
}

std::u16string_view const terminatedHub(u"HUB\0", 4);

TEST(NameRecordTest, TheLayoutsOfControllersAndPortsDiffer) {
    Buffer const ofPort = portName(16, terminatedHub);
    Buffer const ofController(ofPort.begin() + 4, ofPort.end());
    EXPECT_EQ(parseNameRecordSize(NameRecord::OfPort, ofPort), 16U);
    EXPECT_EQ(parseNameRecordSize(NameRecord::OfController, ofController), 16U);
    EXPECT_EQ(parseName(NameRecord::OfPort, ofPort), u"HUB");
    EXPECT_EQ(parseName(NameRecord::OfController, ofController), u"HUB");
    EXPECT_EQ(emptyNameSize(NameRecord::OfPort), 10U);
    EXPECT_EQ(emptyNameSize(NameRecord::OfController), 6U);
}

TEST(NameRecordTest, TheNameEndsAtItsTerminatorOrWithTheBytesWhateverTheLengthSays) {
    EXPECT_EQ(parseName(NameRecord::OfPort, portName(0, terminatedHub)), u"HUB");
    EXPECT_EQ(parseName(NameRecord::OfPort, portName(7, terminatedHub)), u"HUB");
    EXPECT_EQ(parseName(NameRecord::OfPort, portName(65000, terminatedHub)), u"HUB");
    EXPECT_EQ(parseName(NameRecord::OfPort, portName(14, u"HUB")), u"HUB");
    EXPECT_EQ(parseName(NameRecord::OfPort, cut(portName(14, u"HUB"), 13)), u"HU");
    EXPECT_EQ(parseName(NameRecord::OfPort, portName(18, std::u16string_view(u"HUB\0XX", 6))), u"HUB");
    EXPECT_EQ(parseName(NameRecord::OfPort, cut(portName(14, u""), 8)), u"");
}

TEST(NameRecordTest, AnUnbelievableLengthIsAFailure) {
    for (std::uint32_t const length : {65537U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(parseNameRecordSize(NameRecord::OfPort, portName(length, u"HUB")), std::nullopt);
        EXPECT_EQ(parseName(NameRecord::OfPort, portName(length, u"HUB")), std::nullopt);
    }
    EXPECT_EQ(parseNameRecordSize(NameRecord::OfPort, portName(65536, u"HUB")), 65536U);
}

TEST(NameRecordTest, ARecordWithoutRoomForItsLengthIsNone) {
    for (std::size_t size = 0; size < 8; ++size) {
        EXPECT_EQ(parseNameRecordSize(NameRecord::OfPort, cut(portName(16, u"HUB"), size)), std::nullopt);
        EXPECT_EQ(parseName(NameRecord::OfPort, cut(portName(16, u"HUB"), size)), std::nullopt);
    }
    EXPECT_EQ(parseName(NameRecord::OfController, zeros(3)), std::nullopt);
}

// What comes from hardware can be anything. With a sanitizer this also shows that no byte behind the end is read.
TEST(ConnectionRecordsTest, NoNameIsLongerThanTheBytesItCameFrom) {
    std::minstd_rand random(1);
    for (int turn = 0; turn < 20000; ++turn) {
        Buffer buffer(random() % 48);
        for (std::byte & byte : buffer) {
            byte = random() % 3 == 0 ? std::byte{} : static_cast<std::byte>(random());
        }
        buffer.shrink_to_fit();
        parseConnection(buffer);
        parseConnectionV2(buffer);
        parsePortCount(buffer);
        for (NameRecord const kind : {NameRecord::OfController, NameRecord::OfPort}) {
            auto const name = parseName(kind, buffer);
            ASSERT_TRUE(!name || name->size() * 2 + nameOffset(kind) <= buffer.size());
        }
        auto const companion = parseConnector(buffer);
        ASSERT_TRUE(!companion || companion->hubName.size() * 2 + 16 <= buffer.size());
    }
}

} // namespace
