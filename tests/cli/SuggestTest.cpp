#include "tkit5/Suggest.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<std::string> const names{"tests", "devices", "topology", "run"};

TEST(Suggest, FindsTheNameBehindATypingMistake) {
    EXPECT_EQ(tkit5::nearestName("tset", names), "tests");
    EXPECT_EQ(tkit5::nearestName("device", names), "devices");
    EXPECT_EQ(tkit5::nearestName("tpoology", names), "topology");
    EXPECT_EQ(tkit5::nearestName("rnu", names), "run");
}

TEST(Suggest, LetterCaseDoesNotMatter) {
    EXPECT_EQ(tkit5::nearestName("DEVICES", names), "devices");
}

TEST(Suggest, SwappedNeighboursAreOneMistake) {
    EXPECT_EQ(tkit5::nearestName("ba", std::vector<std::string>{"xx", "ab"}), "ab");
}

TEST(Suggest, NearestWinsOverTheFirst) {
    EXPECT_EQ(tkit5::nearestName("USB20Read", std::vector<std::string>{"USB10Read", "USB20Reads", "USB20Read"}),
              "USB20Read");
}

TEST(Suggest, NothingNearGivesNothing) {
    EXPECT_EQ(tkit5::nearestName("entirely-different", names), std::nullopt);
    EXPECT_EQ(tkit5::nearestName("x", names), std::nullopt);
    EXPECT_EQ(tkit5::nearestName("", names), std::nullopt);
    EXPECT_EQ(tkit5::nearestName("tests", std::vector<std::string>{}), std::nullopt);
}

TEST(Suggest, SentenceNamesTheSuggestionOrIsEmpty) {
    EXPECT_EQ(tkit5::didYouMean("tset", names), " Did you mean 'tests'?");
    EXPECT_EQ(tkit5::didYouMean("entirely-different", names), "");
}

} // namespace
