// What disks answer to I/O controls.
#include "DiskFixture.h"
#include "machine/StorageDescriptor.h"

#include <cstring>

namespace {

constexpr auto geometryCode = kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX;
constexpr auto lengthCode = kernel::IOCTL_DISK_GET_LENGTH_INFO;
constexpr auto numberCode = kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER;

Bytes littleEndian64(std::uint64_t value) {
    return littleEndian32(static_cast<std::uint32_t>(value)) + littleEndian32(static_cast<std::uint32_t>(value >> 32U));
}

TEST(DiskControls, GeometryTellsSectorSizeAndSize) {
    OneDisk pc(R"("sectorCount": 62533296)");
    Asked const answer = ask(*pc.open(), geometryCode, {}, 32);
    EXPECT_EQ(answer.error, 0U);
    EXPECT_EQ(answer.returned, 32U);
    EXPECT_EQ(answer.output, littleEndian64(3892) + littleEndian32(11) + littleEndian32(255) + littleEndian32(63) +
                                 littleEndian32(512) + littleEndian64(62'533'296ULL * 512));
}

TEST(DiskControls, GeometryOfAFixedMediumWithLargeSectors) {
    OneDisk pc(R"("sectorSize": 4096, "sectorCount": 16065, "removable": false)");
    Asked const answer = ask(*pc.open(), geometryCode, {}, 40);
    EXPECT_EQ(answer.returned, 32U);
    EXPECT_EQ(answer.output, littleEndian64(1) + littleEndian32(12) + littleEndian32(255) + littleEndian32(63) +
                                 littleEndian32(4096) + littleEndian64(16065ULL * 4096) + Bytes(8, untouched));
}

TEST(DiskControls, TheUsualSizeIsThatOfAStickWhateverItsSectors) {
    for (auto const & [members, sectors] :
         {std::pair(R"("sectorSize": 512)", 62'533'296ULL), std::pair(R"("sectorSize": 4096)", 62'533'296ULL / 8)}) {
        OneDisk pc(members);
        EXPECT_EQ(ask(*pc.open(), lengthCode, {}, 8).output, littleEndian64(62'533'296ULL * 512)) << sectors;
    }
}

TEST(DiskControls, LengthIsInBytes) {
    OneDisk pc(R"("sectorCount": 9007199254740992)");
    Asked const answer = ask(*pc.open(), lengthCode, {}, 8);
    EXPECT_EQ(answer.error, 0U);
    EXPECT_EQ(answer.returned, 8U);
    EXPECT_EQ(answer.output, littleEndian64(9'007'199'254'740'992ULL * 512));
}

TEST(DiskControls, ADiskTellsItsNumber) {
    OneDisk pc(R"("number": 7)");
    auto const disk = pc.tryOpen(u"\\\\.\\PhysicalDrive7", queriesOnly).file;
    ASSERT_NE(disk, nullptr);
    EXPECT_EQ(ask(*disk, numberCode, {}, 12).output, littleEndian32(7) + littleEndian32(7) + littleEndian32(0));
}

constexpr auto propertyCode = kernel::IOCTL_STORAGE_QUERY_PROPERTY;

Bytes propertyQuery(std::uint32_t property = kernel::StorageDeviceProperty,
                    std::uint32_t type = kernel::PropertyStandardQuery) {
    return littleEndian32(property) + littleEndian32(type) + Bytes(4);
}

Bytes textBytes(std::string_view text) {
    return Bytes(text.begin(), text.end()) + Bytes(1);
}

TEST(DiskControls, ADiskTellsItsModelAndSerialNumber) {
    OneDisk pc(R"("name": "Example Stick", "serialNumber": "A1B2")");
    Asked const answer = ask(*pc.open(queriesOnly), propertyCode, propertyQuery(), 64);
    EXPECT_EQ(answer.error, 0U);
    EXPECT_EQ(answer.returned, 59U);
    EXPECT_EQ(answer.output, littleEndian32(40) + littleEndian32(59) + bytes({0, 0, 1, 0}) + littleEndian32(0) +
                                 littleEndian32(40) + littleEndian32(0) + littleEndian32(54) + littleEndian32(7) +
                                 littleEndian32(0) + Bytes(4) + textBytes("Example Stick") + textBytes("A1B2") +
                                 Bytes(5, untouched));
}

TEST(DiskControls, WhatADiskDoesNotTellOfItselfHasNoPlace) {
    OneDisk pc(R"("serialNumber": "", "removable": false, "media": "absent")");
    EXPECT_EQ(ask(*pc.open(queriesOnly), propertyCode, propertyQuery(), 64).output,
              littleEndian32(40) + littleEndian32(40) + Bytes(16) + Bytes(4) + littleEndian32(7) + Bytes(8) +
                  Bytes(24, untouched));
}

TEST(DiskControls, APropertyIsToldAsFarAsThereIsRoom) {
    OneDisk pc(R"("name": "Example Stick", "serialNumber": "A1B2")");
    auto const disk = pc.open();
    Bytes const whole = ask(*disk, propertyCode, propertyQuery(), 59).output;
    for (std::size_t const size : {8U, 36U, 40U, 58U}) {
        Asked const answer = ask(*disk, propertyCode, propertyQuery(), size);
        EXPECT_EQ(answer.error, 0U) << size;
        EXPECT_EQ(answer.returned, size);
        EXPECT_EQ(answer.output, Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    }
    EXPECT_EQ(ask(*disk, propertyCode, propertyQuery(), 7).error, 24U);
}

TEST(DiskControls, OtherPropertiesAreRefused) {
    OneDisk pc;
    auto const disk = pc.open();
    EXPECT_EQ(ask(*disk, propertyCode, propertyQuery(1), 64).error, 1U);
    EXPECT_EQ(ask(*disk, propertyCode, propertyQuery(0, 2), 64).error, 50U);
    EXPECT_EQ(ask(*disk, propertyCode, Bytes(11), 64).error, 24U);
    Asked const exists = ask(*disk, propertyCode, propertyQuery(0, kernel::PropertyExistsQuery), 64);
    EXPECT_EQ(exists.error, 0U);
    EXPECT_EQ(exists.returned, 0U);
}

TEST(DiskControls, WhatIsToldOfADiskCanBeRead) {
    OneDisk pc(R"("name": "S\u00e9\u0000 1", "serialNumber": " \u00e92 ")");
    Asked const answer = ask(*pc.open(), propertyCode, propertyQuery(), machine::storageDescriptorRoom);
    auto const facts = machine::parseStorageDescriptor(std::as_bytes(std::span(answer.output)).first(answer.returned));
    ASSERT_TRUE(facts.has_value());
    EXPECT_EQ(facts->product, u"S 1");
    EXPECT_EQ(facts->serialNumber, u"2");
}

TEST(DiskControls, TextsWithoutEndFitTheRoomForThem) {
    std::string const text(100'000, 'x');
    OneDisk pc(R"("name": ")" + text + R"(", "serialNumber": ")" + text + R"(")");
    EXPECT_LE(ask(*pc.open(), propertyCode, propertyQuery(), 8192).returned, machine::storageDescriptorRoom);
}

TEST(DiskControls, AnOutputThatIsTooSmallStaysAsItIs) {
    OneDisk pc;
    auto const disk = pc.open();
    for (auto const & [code, size] :
         {std::pair(geometryCode, 31U), std::pair(lengthCode, 7U), std::pair(numberCode, 11U)}) {
        Asked const answer = ask(*disk, code, {}, size);
        EXPECT_EQ(answer.error, 122U);
        EXPECT_EQ(answer.returned, 0U);
        EXPECT_EQ(answer.output, Bytes(size, untouched));
    }
}

TEST(DiskControls, WritableIsWhatIsNotReadOnly) {
    EXPECT_EQ(ask(*OneDisk().open(queriesOnly), kernel::IOCTL_DISK_IS_WRITABLE, {}, 0).error, 0U);
    OneDisk readOnly(R"("readOnly": true)");
    EXPECT_EQ(ask(*readOnly.open(), kernel::IOCTL_DISK_IS_WRITABLE, {}, 0).error, 19U);
}

struct Needs {
    char const * name;
    std::uint32_t code;
    bool reading;
    bool writing;

    friend std::ostream & operator<<(std::ostream & out, Needs const & needs) { return out << needs.name; }
};

class DiskControlAccess : public testing::TestWithParam<Needs> {};

TEST_P(DiskControlAccess, IsTheCodesOwn) {
    OneDisk pc;
    for (std::uint32_t const access : {queriesOnly, readOnlyAccess, writeOnlyAccess, readWrite}) {
        bool const allowed = (!GetParam().reading || (access & kernel::GENERIC_READ) != 0) &&
                             (!GetParam().writing || (access & kernel::GENERIC_WRITE) != 0);
        std::uint32_t const error = ask(*pc.open(access), GetParam().code, {}, 64).error;
        EXPECT_EQ(error == kernel::ERROR_ACCESS_DENIED, !allowed) << "access " << access << ", error " << error;
    }
}

INSTANTIATE_TEST_SUITE_P(Controls, DiskControlAccess,
                         testing::Values(Needs{"Geometry", geometryCode, false, false},
                                         Needs{"Length", lengthCode, true, false},
                                         Needs{"Writable", kernel::IOCTL_DISK_IS_WRITABLE, false, false},
                                         Needs{"Verify", kernel::IOCTL_STORAGE_CHECK_VERIFY, true, false},
                                         Needs{"Number", numberCode, false, false},
                                         Needs{"Property", propertyCode, false, false},
                                         Needs{"Load", kernel::IOCTL_STORAGE_LOAD_MEDIA, true, false},
                                         Needs{"Eject", kernel::IOCTL_STORAGE_EJECT_MEDIA, true, false},
                                         Needs{"PassThrough", kernel::IOCTL_SCSI_PASS_THROUGH, true, true}),
                         [](auto const & instance) { return std::string(instance.param.name); });

TEST(DiskControls, ControlsOfOthersAreInvalidFunctions) {
    OneDisk pc;
    auto const disk = pc.open();
    for (std::uint32_t const code : {std::uint32_t{0}, kernel::FSCTL_LOCK_VOLUME, kernel::FSCTL_UNLOCK_VOLUME,
                                     kernel::IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, 0x0022FFFCU}) {
        EXPECT_EQ(ask(*disk, code, {}, 64).error, 1U) << code;
    }
}

// TEST UNIT READY with room for so many bytes of sense data behind the record, and what came back.
class TestUnitReady : public testing::Test {
protected:
    static constexpr std::size_t recordSize = sizeof(kernel::SCSI_PASS_THROUGH);

    TestUnitReady() {
        request.Length = recordSize;
        request.CdbLength = 6;
        request.SenseInfoLength = 32;
        request.SenseInfoOffset = recordSize;
        request.DataIn = kernel::SCSI_IOCTL_DATA_UNSPECIFIED;
        request.TimeOutValue = 5;
    }

    std::uint32_t send(std::string const & members, std::size_t outputSize = recordSize + 32) {
        OneDisk pc(members);
        Bytes input(recordSize);
        std::memcpy(input.data(), &request, recordSize);
        Asked answered = ask(*pc.open(), kernel::IOCTL_SCSI_PASS_THROUGH, input, outputSize);
        if (answered.output.size() >= recordSize) {
            std::memcpy(&reply, answered.output.data(), recordSize);
            sense.assign(answered.output.begin() + recordSize, answered.output.end());
        }
        returned = answered.returned;
        return answered.error;
    }
    // Sense key, additional code and qualifier.
    Bytes reason() const { return {sense.at(2), sense.at(12), sense.at(13)}; }

    kernel::SCSI_PASS_THROUGH request{};
    kernel::SCSI_PASS_THROUGH reply{};
    Bytes sense;
    std::uint32_t returned = 0;
};

TEST_F(TestUnitReady, AReadyDiskSaysNothing) {
    EXPECT_EQ(send({}), 0U);
    EXPECT_EQ(reply.ScsiStatus, 0);
    EXPECT_EQ(reply.SenseInfoLength, 0);
    EXPECT_EQ(returned, recordSize);
    EXPECT_EQ(sense, Bytes(32, untouched));
}

TEST_F(TestUnitReady, ASanitizeUnderWayIsToldBySenseData) {
    EXPECT_EQ(send(R"("sanitizing": true)"), 0U);
    EXPECT_EQ(reply.ScsiStatus, 2);
    EXPECT_EQ(reply.SenseInfoLength, 18);
    EXPECT_EQ(returned, recordSize + 18);
    EXPECT_EQ(sense[0], 0x70);
    EXPECT_EQ(sense[7], 10);
    EXPECT_EQ(reason(), bytes({0x02, 0x04, 0x1B}));
    EXPECT_EQ(Bytes(sense.begin() + 18, sense.end()), Bytes(14, untouched));
}

TEST_F(TestUnitReady, AMissingMediumIsToldBySenseData) {
    EXPECT_EQ(send(R"("media": "absent")"), 0U);
    EXPECT_EQ(reply.ScsiStatus, 2);
    EXPECT_EQ(reason(), bytes({0x02, 0x3A, 0x00}));
    EXPECT_EQ(send(R"("media": "loading")"), 0U);
    EXPECT_EQ(reason(), bytes({0x02, 0x04, 0x01}));
}

TEST_F(TestUnitReady, SenseDataAreCutToTheirRoom) {
    request.SenseInfoLength = 14;
    EXPECT_EQ(send(R"("sanitizing": true)"), 0U);
    EXPECT_EQ(reply.SenseInfoLength, 14);
    EXPECT_EQ(reason(), bytes({0x02, 0x04, 0x1B}));
    EXPECT_EQ(Bytes(sense.begin() + 14, sense.end()), Bytes(18, untouched));

    request.SenseInfoLength = 32;
    EXPECT_EQ(send(R"("sanitizing": true)", recordSize + 3), 0U);
    EXPECT_EQ(reply.SenseInfoLength, 3);

    request.SenseInfoOffset = 4096;
    EXPECT_EQ(send(R"("sanitizing": true)"), 0U);
    EXPECT_EQ(reply.ScsiStatus, 2);
    EXPECT_EQ(reply.SenseInfoLength, 0);
}

TEST_F(TestUnitReady, OnlyThisCommandIsKnown) {
    request.Cdb[0] = 0x12;
    EXPECT_EQ(send({}), 1U);
    request.Cdb[0] = 0;
    request.CdbLength = 10;
    EXPECT_EQ(send({}), 1U);
    request.CdbLength = 6;
    request.Length = recordSize - 1;
    EXPECT_EQ(send({}), 1U);
}

TEST_F(TestUnitReady, ARecordThatIsTooShortIsAnInvalidParameter) {
    EXPECT_EQ(send({}, recordSize - 1), 87U);
    OneDisk pc;
    EXPECT_EQ(ask(*pc.open(), kernel::IOCTL_SCSI_PASS_THROUGH, Bytes(recordSize - 1), recordSize).error, 87U);
}

} // namespace
