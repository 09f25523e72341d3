#include "tkit5/ParameterText.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using tkit5::DataType;
using tkit5::valueFromText;

std::string read(DataType type, std::string const & text) {
    auto const value = valueFromText(type, text);
    return value ? value->valueString().getUTF8Buffer() : "(refused)";
}

TEST(ParameterText, BooleanTakesWordsInAnyCase) {
    for (char const * text : {"true", "TRUE", "True", "1", "yes", "Yes"}) {
        EXPECT_TRUE(valueFromText(DataType::BOOLEAN, text).value().valueBool()) << text;
    }
    for (char const * text : {"false", "FALSE", "0", "no", "NO"}) {
        EXPECT_FALSE(valueFromText(DataType::BOOLEAN, text).value().valueBool()) << text;
    }
}

TEST(ParameterText, BooleanRefusesEverythingElse) {
    for (char const * text : {"", "2", "on", "truee", " true", "yes please"}) {
        EXPECT_FALSE(valueFromText(DataType::BOOLEAN, text)) << text;
    }
}

TEST(ParameterText, WholeNumberKeepsToTheRangeOfItsType) {
    EXPECT_EQ(read(DataType::UINT32, "0"), "0");
    EXPECT_EQ(read(DataType::UINT32, "4294967295"), "4294967295");
    EXPECT_EQ(read(DataType::UINT32, "4294967296"), "(refused)");
    EXPECT_EQ(read(DataType::INT32, "-2147483648"), "-2147483648");
    EXPECT_EQ(read(DataType::UINT64, "18446744073709551615"), "18446744073709551615");
}

TEST(ParameterText, WholeNumberIsDigitsOnly) {
    for (char const * text : {"", "-1", "+1", "1.5", "0x10", "abc", " 1", "1 ", "1e3"}) {
        EXPECT_EQ(read(DataType::UINT32, text), "(refused)") << text;
    }
}

TEST(ParameterText, PercentMayHaveItsSignAndFractions) {
    EXPECT_DOUBLE_EQ(valueFromText(DataType::PERCENT, "80").value().valuePercent(), 80.0);
    EXPECT_DOUBLE_EQ(valueFromText(DataType::PERCENT, "79.5%").value().valuePercent(), 79.5);
    EXPECT_EQ(valueFromText(DataType::PERCENT, "0.5").value().type(), DataType::PERCENT);
}

TEST(ParameterText, PercentOutsideAnyRangeIsTheTestsMatter) {
    EXPECT_DOUBLE_EQ(valueFromText(DataType::PERCENT, "-5").value().valuePercent(), -5.0);
    EXPECT_DOUBLE_EQ(valueFromText(DataType::PERCENT, "1000").value().valuePercent(), 1000.0);
}

TEST(ParameterText, PercentRefusesWhatIsNoFiniteNumber) {
    for (std::string const & text :
         {std::string("nan"), std::string("inf"), std::string("-inf"), std::string(""), std::string("%"),
          std::string("80%%"), std::string("eighty"), std::string("80,5"), "9" + std::string(400, '9')}) {
        EXPECT_EQ(read(DataType::PERCENT, text), "(refused)") << text;
    }
}

TEST(ParameterText, TextIsTakenAsItIs) {
    EXPECT_EQ(read(DataType::STRING, ""), "");
    EXPECT_EQ(read(DataType::STRING, " MAX=1 "), " MAX=1 ");
}

} // namespace
