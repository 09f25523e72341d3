#include "UsbSpeed.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using namespace nuvrusb;

TEST(UsbSpeed, EverySpeedByteHasItsCode) {
    std::vector<std::pair<std::uint8_t, SpeedCode>> const table{{0, 1}, {1, 2}, {2, 3}, {3, 5},
                                                                {4, 6}, {5, 0}, {7, 0}, {255, 0}};
    for (auto const & [byte, code] : table) {
        EXPECT_EQ(speedCodeOfByte(byte), code) << int{byte};
    }
}

TEST(UsbSpeed, EveryVersionHasItsCodeAndNothingNearIt) {
    std::vector<std::pair<float, SpeedCode>> const table{{1.0F, 1},  {1.1F, 2},    {2.0F, 3},  {2.1F, 3}, {3.0F, 5},
                                                         {3.1F, 6},  {0.0F, 0},    {1.05F, 0}, {2.2F, 0}, {3.2F, 0},
                                                         {-1.0F, 0}, {2.0001F, 0}, {1.2F, 0}};
    for (auto const & [version, code] : table) {
        EXPECT_EQ(speedCodeOfVersion(version), code) << version;
    }
}

TEST(UsbSpeed, EveryCodeHasItsText) {
    std::vector<std::pair<SpeedCode, char const *>> const table{{1, "1.0"},
                                                                {2, "1.1"},
                                                                {3, "2.0"},
                                                                {4, "2.0"},
                                                                {5, "USB 3.1 Gen 1 (SuperSpeed)"},
                                                                {6, "USB 3.1 Gen 2 (SuperSpeedPlus)"},
                                                                {0, "unknown speed"},
                                                                {7, "unknown speed"},
                                                                {-1, "unknown speed"}};
    for (auto const & [code, text] : table) {
        EXPECT_EQ(mapUsbSpeedToString(code), text) << code;
    }
}

} // namespace
