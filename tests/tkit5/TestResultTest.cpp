#include "tkit5/Names.h"

#include <algorithm>
#include <array>

#include <gtest/gtest.h>

namespace {

using tkit5::TestResult;

std::array<TestResult, 12> bySeriousness() {
    return {TestResult::PASS(),          TestResult::WARN(),          TestResult::NOMEDIA(),
            TestResult::NODEVICE(),      TestResult::DEVICEBUSY(),    TestResult::CANNOTRUN(),
            TestResult::MISCONFIGURED(), TestResult::BADPARAMS(),     TestResult::USERABORTED(),
            TestResult::FAIL(),          TestResult::INTERNALERROR(), TestResult::EXITEDABNORMALLY()};
}

TEST(TestResultTest, CodesAreThoseThatHostsKnow) {
    EXPECT_EQ(TestResult::PASS().value(), 0);
    EXPECT_EQ(TestResult::FAIL().value(), 1);
    EXPECT_EQ(TestResult::WARN().value(), 2);
    EXPECT_EQ(TestResult::NODEVICE().value(), 3);
    EXPECT_EQ(TestResult::NOMEDIA().value(), 4);
    EXPECT_EQ(TestResult::BADPARAMS().value(), 5);
    EXPECT_EQ(TestResult::CANNOTRUN().value(), 6);
    EXPECT_EQ(TestResult::DEVICEBUSY().value(), 7);
    EXPECT_EQ(TestResult::USERABORTED().value(), 8);
    EXPECT_EQ(TestResult::INTERNALERROR().value(), 9);
    EXPECT_EQ(TestResult::MISCONFIGURED().value(), 10);
    EXPECT_EQ(TestResult::EXITEDABNORMALLY().value(), 11);
}

TEST(TestResultTest, VerdictThatNobodyGaveIsAnInternalError) {
    EXPECT_EQ(TestResult(), TestResult::INTERNALERROR());
}

TEST(TestResultTest, MergingAnyTwoKeepsTheMoreSerious) {
    auto const results = bySeriousness();
    for (std::size_t a = 0; a < results.size(); ++a) {
        for (std::size_t b = 0; b < results.size(); ++b) {
            TestResult merged = results[a];
            merged.merge(results[b]);
            EXPECT_EQ(merged, results[std::max(a, b)]) << resultName(results[a]) << " with " << resultName(results[b]);
        }
    }
}

TEST(TestResultTest, MergeGivesItselfForChaining) {
    TestResult result = TestResult::PASS();
    EXPECT_EQ(&result.merge(TestResult::WARN()).merge(TestResult::FAIL()), &result);
    EXPECT_EQ(result, TestResult::FAIL());
}

} // namespace
