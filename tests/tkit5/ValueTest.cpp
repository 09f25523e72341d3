#include "tkit5/Value.h"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

using tkit5::DataType;
using tkit5::TkitString;
using tkit5::Value;

std::string text(Value const & value) {
    return value.valueString().getUTF8Buffer();
}

TEST(ValueTest, DefaultIsTheEmptyText) {
    EXPECT_EQ(Value().type(), DataType::STRING);
    EXPECT_EQ(text(Value()), "");
}

TEST(ValueTest, EveryTypeHasAText) {
    EXPECT_EQ(text(Value("caf\xC3\xA9")), "caf\xC3\xA9");
    EXPECT_EQ(text(Value(nuv::String(u"caf\u00E9"))), "caf\xC3\xA9");
    EXPECT_EQ(text(Value(true)), "true");
    EXPECT_EQ(text(Value(false)), "false");
    EXPECT_EQ(text(Value(std::int32_t{-7})), "-7");
    EXPECT_EQ(text(Value(std::numeric_limits<std::uint32_t>::max())), "4294967295");
    EXPECT_EQ(text(Value(std::numeric_limits<std::uint64_t>::max())), "18446744073709551615");
    EXPECT_EQ(text(Value(0.5, DataType::PERCENT)), "0.5");
    EXPECT_EQ(text(Value(1234567.0, DataType::DOUBLE)), "1.23457e+06");
}

TEST(ValueTest, EveryTypeIsKept) {
    EXPECT_EQ(Value(TkitString("x")).type(), DataType::STRING);
    EXPECT_EQ(Value(true).type(), DataType::BOOLEAN);
    EXPECT_EQ(Value(std::int32_t{1}).type(), DataType::INT32);
    EXPECT_EQ(Value(std::uint32_t{1}).type(), DataType::UINT32);
    EXPECT_EQ(Value(std::uint64_t{1}).type(), DataType::UINT64);
    EXPECT_EQ(Value(1.0, DataType::DOUBLE).type(), DataType::DOUBLE);
    EXPECT_EQ(Value(1.0, DataType::PERCENT).type(), DataType::PERCENT);
}

TEST(ValueTest, TruthIsReadFromBooleansNumbersAndTheWordTrue) {
    EXPECT_TRUE(Value(true).valueBool());
    EXPECT_TRUE(Value(std::uint32_t{2}).valueBool());
    EXPECT_TRUE(Value("true").valueBool());
    EXPECT_FALSE(Value(false).valueBool());
    EXPECT_FALSE(Value(std::uint32_t{0}).valueBool());
    EXPECT_FALSE(Value("yes").valueBool());
    EXPECT_FALSE(Value(1.0, DataType::DOUBLE).valueBool());
}

TEST(ValueTest, WholeNumbersOutsideTheRangeReadAsZero) {
    EXPECT_EQ(Value(std::uint32_t{5}).valueUint32(), 5U);
    EXPECT_EQ(Value(std::int32_t{5}).valueUint32(), 5U);
    EXPECT_EQ(Value(std::uint64_t{5}).valueUint32(), 5U);
    EXPECT_EQ(Value("5").valueUint32(), 5U);
    EXPECT_EQ(Value(std::int32_t{-5}).valueUint32(), 0U);
    EXPECT_EQ(Value(std::uint64_t{1} << 32).valueUint32(), 0U);
    EXPECT_EQ(Value("4294967296").valueUint32(), 0U);
    EXPECT_EQ(Value("5 disks").valueUint32(), 0U);
    EXPECT_EQ(Value(true).valueUint32(), 0U);
    EXPECT_EQ(Value(5.0, DataType::DOUBLE).valueUint32(), 0U);
}

TEST(ValueTest, PercentIsReadFromDoublesOnly) {
    EXPECT_EQ(Value(99.5, DataType::PERCENT).valuePercent(), 99.5);
    EXPECT_EQ(Value(99.5, DataType::DOUBLE).valuePercent(), 99.5);
    EXPECT_EQ(Value(std::uint32_t{99}).valuePercent(), 0.0);
    EXPECT_EQ(Value("99").valuePercent(), 0.0);
}

TEST(ValueTest, EqualNeedsTheSameTypeAndTheSameValue) {
    EXPECT_EQ(Value(std::uint32_t{5}), Value(std::uint32_t{5}));
    EXPECT_NE(Value(std::uint32_t{5}), Value(std::uint64_t{5}));
    EXPECT_NE(Value("5"), Value(std::uint32_t{5}));
    EXPECT_NE(Value(5.0, DataType::DOUBLE), Value(5.0, DataType::PERCENT));
}

TEST(TkitStringTest, NullPointerIsTheEmptyText) {
    EXPECT_TRUE(TkitString(static_cast<char const *>(nullptr)).empty());
}

TEST(TkitStringTest, GoesToTheCoreStringAndBack) {
    TkitString const text("\xF0\x9F\x94\x8C caf\xC3\xA9");
    EXPECT_EQ(TkitString(text.nuvString()), text);
}

} // namespace
