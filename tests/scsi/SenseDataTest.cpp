#include "scsi/SenseData.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

using scsi::meansNoMedium;
using scsi::meansSanitizing;
using scsi::parseSense;
using scsi::SenseCode;

namespace {

std::vector<std::byte> bytes(std::initializer_list<std::uint8_t> values) {
    std::vector<std::byte> result;
    for (std::uint8_t const value : values) {
        result.push_back(std::byte{value});
    }
    return result;
}

std::vector<std::byte> fixedFormat(std::uint8_t format, std::uint8_t key, std::uint8_t code, std::uint8_t qualifier) {
    return bytes({format, 0, key, 0, 0, 0, 0, 10, 0, 0, 0, 0, code, qualifier, 0, 0x80, 0x40, 0});
}

constexpr SenseCode sanitizing{0x02, 0x04, 0x1B};

TEST(SenseDataTest, InFixedFormat) {
    EXPECT_EQ(parseSense(fixedFormat(0x70, 0x02, 0x04, 0x1B)), sanitizing);
    EXPECT_EQ(parseSense(fixedFormat(0x70, 0x03, 0x11, 0x00)), (SenseCode{0x03, 0x11, 0x00}));
    EXPECT_EQ(parseSense(fixedFormat(0xF0, 0xE2, 0x04, 0x1B)), sanitizing); // with flags beside format and key
}

TEST(SenseDataTest, InDescriptorFormat) {
    EXPECT_EQ(parseSense(bytes({0x72, 0x02, 0x04, 0x1B, 0, 0, 0, 0})), sanitizing);
    EXPECT_EQ(parseSense(bytes({0x72, 0xF2, 0x04, 0x1B})), sanitizing);
}

TEST(SenseDataTest, OfAnEarlierCommandOrAnotherFormatSayNothing) {
    for (int const format : {0x00, 0x02, 0x71, 0x73, 0x7F}) {
        EXPECT_FALSE(parseSense(fixedFormat(static_cast<std::uint8_t>(format), 0x02, 0x04, 0x1B))) << format;
    }
}

TEST(SenseDataTest, CutOffTheySayNothing) {
    auto const fixed = fixedFormat(0x70, 0x02, 0x04, 0x1B);
    for (std::size_t size = 0; size < 14; ++size) {
        EXPECT_FALSE(parseSense(std::span(fixed).first(size))) << size;
    }
    EXPECT_TRUE(parseSense(std::span(fixed).first(14)));
    auto const descriptor = bytes({0x72, 0x02, 0x04, 0x1B});
    for (std::size_t size = 0; size < 4; ++size) {
        EXPECT_FALSE(parseSense(std::span(descriptor).first(size))) << size;
    }
}

TEST(SenseDataTest, WhatLiesBehindTheirOwnLengthDoesNotCount) {
    auto sense = fixedFormat(0x70, 0x02, 0x04, 0x1B);
    sense[7] = std::byte{5};
    EXPECT_FALSE(parseSense(sense));
    sense[7] = std::byte{6};
    EXPECT_TRUE(parseSense(sense));
    sense[7] = std::byte{255};
    EXPECT_TRUE(parseSense(sense));
}

TEST(SenseDataTest, OnlyOneCodeMeansSanitizing) {
    EXPECT_TRUE(meansSanitizing(sanitizing));
    EXPECT_FALSE(meansSanitizing({0x02, 0x04, 0x01})); // becoming ready
    EXPECT_FALSE(meansSanitizing({0x02, 0x04, 0x04})); // format in progress
    EXPECT_FALSE(meansSanitizing({0x02, 0x3A, 0x00})); // no medium
    EXPECT_FALSE(meansSanitizing({0x06, 0x04, 0x1B}));
    EXPECT_FALSE(meansSanitizing({}));
}

TEST(SenseDataTest, NoMediumIsToldWhateverTheQualifier) {
    EXPECT_TRUE(meansNoMedium({0x02, 0x3A, 0x00}));
    EXPECT_TRUE(meansNoMedium({0x02, 0x3A, 0x01})); // tray closed
    EXPECT_FALSE(meansNoMedium({0x02, 0x04, 0x01}));
    EXPECT_FALSE(meansNoMedium({0x06, 0x3A, 0x00}));
    EXPECT_FALSE(meansNoMedium({}));
}

} // namespace
