// What a PC runs out of.
#include "support/Describe.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using machine::Resource;

std::unique_ptr<machine::Machine> pcWith(std::string const & faults) {
    return support::describedPc(R"({"name": "PC", "controllers": [], "faults": [)" + faults + "]}");
}

// The outcomes of so many demands.
std::vector<std::uint32_t> take(machine::Machine & pc, Resource resource, int count) {
    std::vector<std::uint32_t> errors;
    for (int i = 0; i < count; ++i) {
        errors.push_back(pc.take(resource));
    }
    return errors;
}

using Errors = std::vector<std::uint32_t>;

TEST(Shortages, AUsualPcGrantsEverything) {
    auto const pc = pcWith("");
    EXPECT_EQ(take(*pc, Resource::Memory, 100), Errors(100));
    EXPECT_EQ(take(*pc, Resource::Event, 100), Errors(100));
}

TEST(Shortages, EachResourceRunsOutByItself) {
    auto const memory = pcWith(R"({"call": "allocate", "error": 8})");
    EXPECT_EQ(take(*memory, Resource::Event, 2), (Errors{0, 0}));
    EXPECT_EQ(take(*memory, Resource::Memory, 3), (Errors{8, 8, 8}));
    auto const events = pcWith(R"({"call": "createEvent", "error": 1450})");
    EXPECT_EQ(take(*events, Resource::Memory, 2), (Errors{0, 0}));
    EXPECT_EQ(take(*events, Resource::Event, 2), (Errors{1450, 1450}));
}

TEST(Shortages, OnlyTheDemandsOfTheWindowFail) {
    auto const pc = pcWith(R"({"call": "allocate", "after": 2, "times": 1, "error": 8})");
    EXPECT_EQ(take(*pc, Resource::Event, 5), Errors(5)); // do not count
    EXPECT_EQ(take(*pc, Resource::Memory, 5), (Errors{0, 0, 8, 0, 0}));
}

TEST(Shortages, TheFirstOfTwoStrikesAndBothCount) {
    auto const pc =
        pcWith(R"({"call": "allocate", "times": 1, "error": 8}, {"call": "allocate", "times": 2, "error": 14})");
    EXPECT_EQ(take(*pc, Resource::Memory, 3), (Errors{8, 14, 0}));
}

TEST(Shortages, DemandsTakeNoTime) {
    auto const pc = pcWith(R"({"call": "allocate", "error": 8})");
    take(*pc, Resource::Memory, 3);
    EXPECT_EQ(pc->clock().now(), machine::Duration::zero());
}

} // namespace
