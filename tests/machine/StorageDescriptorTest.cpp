// What a disk tells of itself, read as values.
#include "machine/StorageDescriptor.h"

#include "kernel/StorageRecords.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string_view>
#include <vector>

namespace {

using machine::parseStorageDescriptor;
using Record = std::vector<std::byte>;

using namespace std::string_view_literals;

constexpr std::size_t vendorAt = 12;
constexpr std::size_t productAt = 16;
constexpr std::size_t serialNumberAt = 24;

void put(Record & record, std::size_t offset, std::uint32_t value) {
    std::memcpy(record.data() + offset, &value, sizeof value);
}

// Appends a text to which the offset at a place of the record leads.
void append(Record & record, std::size_t offsetAt, std::string_view text) {
    put(record, offsetAt, static_cast<std::uint32_t>(record.size()));
    std::span const bytes = std::as_bytes(std::span(text));
    record.insert(record.end(), bytes.begin(), bytes.end());
}

Record withSerialNumber(std::string_view serialNumber) {
    Record record(40);
    record[10] = std::byte{1};
    put(record, 28, kernel::BusTypeUsb);
    append(record, serialNumberAt, serialNumber);
    return record;
}

TEST(StorageDescriptor, TellsBusRemovalAndSerialNumber) {
    auto const facts = parseStorageDescriptor(withSerialNumber("  4C530001 2\0rest"sv));
    ASSERT_TRUE(facts.has_value());
    EXPECT_EQ(facts->bus, kernel::BusTypeUsb);
    EXPECT_TRUE(facts->isRemovable);
    EXPECT_EQ(facts->serialNumber, u"4C530001 2");
    EXPECT_EQ(facts->product, u"");
}

TEST(StorageDescriptor, VendorAndModelAreTheProduct) {
    auto record = withSerialNumber("1");
    append(record, vendorAt, "SanDisk \0"sv);
    EXPECT_EQ(parseStorageDescriptor(record)->product, u"SanDisk");
    append(record, productAt, "Ultra           \0"sv);
    EXPECT_EQ(parseStorageDescriptor(record)->product, u"SanDisk Ultra");
    put(record, vendorAt, 0);
    EXPECT_EQ(parseStorageDescriptor(record)->product, u"Ultra");
}

TEST(StorageDescriptor, ATextWithoutATerminatorEndsWithTheRecord) {
    EXPECT_EQ(parseStorageDescriptor(withSerialNumber("ABC"))->serialNumber, u"ABC");
}

TEST(StorageDescriptor, ATextOutsideTheRecordIsNone) {
    for (std::uint32_t const offset : {0U, 8U, 43U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        auto record = withSerialNumber("ABC");
        put(record, serialNumberAt, offset);
        EXPECT_EQ(parseStorageDescriptor(record)->serialNumber, u"") << offset;
    }
}

TEST(StorageDescriptor, AShortRecordTellsNothing) {
    auto const record = withSerialNumber("");
    EXPECT_FALSE(parseStorageDescriptor(std::span(record).first(35)).has_value());
    EXPECT_TRUE(parseStorageDescriptor(std::span(record).first(36)).has_value());
    EXPECT_FALSE(parseStorageDescriptor({}).has_value());
}

} // namespace
