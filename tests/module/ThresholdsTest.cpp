// The verdict on a measured rate.
#include "StorageCall.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace test {
namespace {

constexpr std::uint32_t reading = 1;
constexpr std::uint32_t writing = 2;

struct Generation {
    char const * speed; // of the port
    char const * protocol;
    char const * parameter; // "USB20" and so on
    double rated;           // KB/s
    char const * ratedText;
};
Generation const generations[] = {{"low", "1.1", "USB10", 187.0, "187"},
                                  {"full", "1.1", "USB11", 1536.0, "1536"},
                                  {"high", "2.0", "USB20", 61440.0, "61440"},
                                  {"super", "3.0", "USB30", 640000.0, "640000"},
                                  {"superPlus", "3.0", "USB31", 1280000.0, "1.28e+06"}};

// Other percents for every generation and direction, so that a mix-up shows.
Settings const allPercents{{"USB10ReadThresholdPercent", "11"}, {"USB10WriteThresholdPercent", "12"},
                           {"USB11ReadThresholdPercent", "21"}, {"USB11WriteThresholdPercent", "22"},
                           {"USB20ReadThresholdPercent", "31"}, {"USB20WriteThresholdPercent", "32"},
                           {"USB30ReadThresholdPercent", "41"}, {"USB30WriteThresholdPercent", "42"},
                           {"USB31ReadThresholdPercent", "51"}, {"USB31WriteThresholdPercent", "52"}};

std::string parameterOf(Generation const & generation, std::uint32_t operation) {
    return generation.parameter + std::string(operation == reading ? "Read" : "Write") + "ThresholdPercent";
}

// A calculator on a port of that speed.
class Judge {
public:
    Judge(Json const & speed, char const * protocol, Settings const & settings, int logPriority = 5)
        : call_(withSpeed(speed, protocol), settings, logPriority), calculator_(call_.calculator()) {
        call_.reporter.lines.clear();
    }

    std::string verdict(std::uint32_t operation, double average) {
        call_.reporter.lines.clear();
        tkit5::TestResult result;
        calculator_->getPerformanceResult(result, operation, average);
        return tkit5::resultName(result);
    }
    bool threshold(std::uint32_t operation, double & threshold) {
        call_.reporter.lines.clear();
        return calculator_->getThresholdSpeed(operation, threshold);
    }
    double rated() {
        call_.reporter.lines.clear();
        return calculator_->getPublishReadTransferSpeed();
    }
    Lines const & lines() const { return call_.reporter.lines; }
    StorageReporter const & reporter() const { return call_.reporter; }

private:
    static Json withSpeed(Json const & speed, char const * protocol) {
        Json description = stickPc(smallDisk(), "full", {protocol});
        description["controllers"][0]["rootHub"]["ports"][0]["speed"] = speed;
        return description;
    }

    StorageCall call_;
    std::unique_ptr<nuvrusb::PerformanceCalculator> calculator_;
};

// Half of the rated speed of USB 2.0 is 30 MB/s.
class AtHalfOfUsb20 : public testing::Test {
protected:
    explicit AtHalfOfUsb20(int logPriority = 5)
        : judge("high", "2.0", {{"USB20ReadThresholdPercent", "50"}, {"USB20WriteThresholdPercent", "50"}},
                logPriority) {}
    Judge judge;
};
class AtHalfOfUsb20Logged : public AtHalfOfUsb20 {
protected:
    AtHalfOfUsb20Logged() : AtHalfOfUsb20(1) {}
};

TEST(Thresholds, EveryGenerationHasItsRatedSpeed) {
    for (Generation const & generation : generations) {
        Judge judge(generation.speed, generation.protocol, {}, 1);
        EXPECT_EQ(judge.rated(), generation.rated) << generation.speed;
        EXPECT_EQ(judge.lines(), Lines{std::string("log1 673 getPublishReadTransferSpeed()::Device: The Stick rated "
                                                   "speed : ") +
                                       generation.ratedText})
            << generation.speed;
    }
}

TEST(Thresholds, EachOfTheTenParametersGoesForItsGenerationAndDirection) {
    for (Generation const & generation : generations) {
        for (std::uint32_t const operation : {reading, writing}) {
            std::string const parameter = parameterOf(generation, operation);
            double threshold = 0.0;
            {
                Judge judge(generation.speed, generation.protocol, allPercents);
                EXPECT_TRUE(judge.threshold(operation, threshold)) << parameter;
                EXPECT_EQ(threshold, generation.rated * std::stod(allPercents.at(parameter)) / 100.0) << parameter;
                EXPECT_EQ(judge.lines(), Lines{}) << parameter;
            }
            Judge judge(generation.speed, generation.protocol, without(allPercents, parameter));
            EXPECT_FALSE(judge.threshold(operation, threshold)) << parameter;
            ASSERT_EQ(judge.reporter().variables.size(), 1U) << parameter;
            EXPECT_EQ(judge.reporter().variables[0].at("parameterName"), parameter);
        }
    }
}

TEST(Thresholds, LookUpIsLogged) {
    Judge judge("high", "2.0", {{"USB20WriteThresholdPercent", "12.5"}}, 1);
    double threshold = 0.0;
    EXPECT_TRUE(judge.threshold(writing, threshold));
    EXPECT_EQ(threshold, 7680.0);
    EXPECT_EQ(judge.lines(), (Lines{"log1 673 getPublishReadTransferSpeed()::Device: The Stick rated speed : 61440",
                                    "log1 638 getThresholdSpeed()::Got threshold speed: 7680"}));
}

TEST(Thresholds, BoundsOfThePercentAreValid) {
    for (auto const & [percent, expected] : {std::pair("1.0", 614.4), std::pair("1", 614.4), std::pair("100", 61440.0),
                                             std::pair("100.0", 61440.0), std::pair("99.99", 61433.856)}) {
        Judge judge("high", "2.0", {{"USB20ReadThresholdPercent", percent}});
        double threshold = 0.0;
        EXPECT_TRUE(judge.threshold(reading, threshold)) << percent;
        EXPECT_NEAR(threshold, expected, 1e-9) << percent;
        EXPECT_EQ(judge.lines(), Lines{}) << percent;
    }
}

void expectBadPercent(Generation const & generation, std::uint32_t operation, char const * percent) {
    std::string const parameter = parameterOf(generation, operation);
    Judge judge(generation.speed, generation.protocol, {{parameter, percent}});
    EXPECT_EQ(judge.verdict(operation, 1000000.0), "BADPARAMS") << parameter << percent;
    EXPECT_EQ(judge.lines(), Lines{"warning PARAMETER_VALUE_INVALID 634"}) << parameter << percent;
    EXPECT_EQ(judge.reporter().files, Lines{calculatorFile});
    ASSERT_EQ(judge.reporter().variables.size(), 1U) << parameter << percent;
    EXPECT_EQ(
        judge.reporter().variables[0],
        (std::map<std::string, std::string>{
            {"parameterName", parameter}, {"currentValue", percent}, {"startRange", "1.0"}, {"endRange", "100.0"}}));
}

TEST(Thresholds, PercentOutsideTheBoundsIsABadParameter) {
    for (char const * const percent : {"0.99", "100.01", "0", "-5", "1000"}) {
        expectBadPercent(generations[2], reading, percent);
        expectBadPercent(generations[2], writing, percent);
    }
}

TEST(Thresholds, BoundsAreThoseOfEachOfTheTenParameters) {
    for (Generation const & generation : generations) {
        for (std::uint32_t const operation : {reading, writing}) {
            expectBadPercent(generation, operation, "0.99");
            expectBadPercent(generation, operation, "100.01");
        }
    }
}

TEST(Thresholds, HostReadsTheBadPercentAsANumberAndItsBoundsAsTexts) {
    HostView const host = runStorageTest(stickPc(smallDisk()), with(readOnce, {{"USB11ReadThresholdPercent", "0.99"}}));
    ASSERT_EQ(host.keys(), Lines{"PARAMETER_VALUE_INVALID"});
    EXPECT_NE(host.output.find(R"("currentValue":0.99)"), std::string::npos);
    EXPECT_NE(host.output.find(R"("startRange":"1.0","endRange":"100.0")"), std::string::npos);
}

TEST(Thresholds, UnsetPercentIsABadParameter) {
    Judge judge("high", "2.0", {{"USB20WriteThresholdPercent", "50"}});
    EXPECT_EQ(judge.verdict(reading, 1000.0), "BADPARAMS");
    EXPECT_EQ(judge.lines(), Lines{"warning PARAMETER_VALUE_INVALID 634"});
    EXPECT_EQ(judge.reporter().variables.at(0).at("currentValue"), "0");
    EXPECT_EQ(judge.verdict(writing, 1000.0), "PASS");
}

// Speeds that have no generation.

TEST(Thresholds, UnknownSpeedOnlyWarns) {
    for (int const speedByte : {5, 9, 255}) {
        Judge judge(speedByte, "2.0", allPercents, 1);
        for (std::uint32_t const operation : {reading, writing}) {
            double threshold = 0.0;
            EXPECT_FALSE(judge.threshold(operation, threshold));
            EXPECT_EQ(judge.lines(), (Lines{"warning DEVICE_SPEED_NOT_CONFIGURED 643",
                                            "log1 645 getThresholdSpeed()::Unable to get device speed. Possibly due "
                                            "to configuration issues"}));
            EXPECT_EQ(judge.reporter().variables.back(), (std::map<std::string, std::string>{}));
            EXPECT_EQ(judge.verdict(operation, 1000.0), "WARN");
            EXPECT_EQ(judge.verdict(operation, 0.0), "WARN");
        }
    }
}

TEST(Thresholds, UnknownSpeedIsRatedAtNothingWithTheDevicesName) {
    Judge judge(9, "2.0", allPercents, 1);
    EXPECT_EQ(judge.rated(), 0.0);
    EXPECT_EQ(judge.lines(), Lines{"warning DEVICE_SPEED_NOT_CONFIGURED 679"});
    EXPECT_EQ(judge.reporter().files, Lines{calculatorFile});
    EXPECT_EQ(judge.reporter().variables.at(0), (std::map<std::string, std::string>{{"DeviceName", "The Stick"}}));
}

TEST_F(AtHalfOfUsb20, OperationThatIsNoneHasNoThreshold) {
    for (std::uint32_t const operation : {0U, 3U}) {
        EXPECT_EQ(judge.verdict(operation, 1000.0), "WARN");
        EXPECT_EQ(judge.lines(), Lines{"warning DEVICE_SPEED_NOT_CONFIGURED 643"});
    }
}

// The comparison.

TEST_F(AtHalfOfUsb20, RateAtOrAboveTheThresholdPasses) {
    for (double const average : {30.0, std::nextafter(30.0, 31.0), 60.0, std::numeric_limits<double>::infinity()}) {
        for (std::uint32_t const operation : {reading, writing}) {
            EXPECT_EQ(judge.verdict(operation, average), "PASS") << average;
            EXPECT_EQ(judge.lines(), Lines{}) << average;
        }
    }
}

TEST_F(AtHalfOfUsb20, RateBelowTheThresholdFailsWithBothInMegabytes) {
    struct Row {
        double average;
        char const * text;
    };
    for (Row const & row : {Row{29.5, "29.50"}, Row{0.0, "0.00"}, Row{std::nextafter(30.0, 0.0), "30.00"},
                            Row{29.994, "29.99"}, Row{29.996, "30.00"}}) {
        for (std::uint32_t const operation : {reading, writing}) {
            EXPECT_EQ(judge.verdict(operation, row.average), "FAIL") << row.average;
            EXPECT_EQ(judge.lines(), Lines{operation == reading ? "error READ_PERFORMANCE_NOT_OPTIMAL 587"
                                                                : "error WRITE_PERFORMANCE_NOT_OPTIMAL 591"});
            EXPECT_EQ(judge.reporter().files.back(), calculatorFile);
            EXPECT_EQ(
                judge.reporter().variables.back(),
                (std::map<std::string, std::string>{{"performanceSpeed", row.text}, {"ThresholdSpeed", "30.00"}}));
        }
    }
}

TEST_F(AtHalfOfUsb20, RateThatIsNoNumberFails) {
    EXPECT_EQ(judge.verdict(reading, std::numeric_limits<double>::quiet_NaN()), "FAIL");
    EXPECT_EQ(judge.lines(), Lines{"error READ_PERFORMANCE_NOT_OPTIMAL 587"});
}

TEST(Thresholds, ThresholdOfAFailureHasTwoDecimals) {
    Judge judge("low", "1.1", {{"USB10ReadThresholdPercent", "33.3"}});
    EXPECT_EQ(judge.verdict(reading, 0.05), "FAIL");
    EXPECT_EQ(judge.reporter().variables.at(0).at("ThresholdSpeed"), "0.06"); // 62.271 KB/s
}

TEST_F(AtHalfOfUsb20Logged, VerdictIsLoggedStepByStep) {
    std::string const head = "PerformanceCalculator::getPerformanceResult()";
    Lines const steps{"log1 673 getPublishReadTransferSpeed()::Device: The Stick rated speed : 61440",
                      "log1 638 getThresholdSpeed()::Got threshold speed: 30720",
                      "log1 571 " + head + ":getThresholdSpeed()  thresholdSpeed: 30720",
                      "log1 575 " + head + " comparing "};

    EXPECT_EQ(judge.verdict(reading, 30.25), "PASS");
    Lines expected{"log1 566 " + head + ":  performanceSpeed: 30.25",
                   "log1 568 " + head + ":  performanceSpeed in KB: 30976"};
    expected.insert(expected.end(), steps.begin(), steps.end());
    expected.push_back("log1 577 " + head + " Test returning pass result as performanceSpeedInKB>=thresholdSpeed");
    EXPECT_EQ(judge.lines(), expected);

    EXPECT_EQ(judge.verdict(writing, 29.5), "FAIL");
    expected = {"log1 566 " + head + ":  performanceSpeed: 29.5",
                "log1 568 " + head + ":  performanceSpeed in KB: 30208"};
    expected.insert(expected.end(), steps.begin(), steps.end());
    expected.push_back("log1 581 " + head + " Test did not pass as performanceSpeedInKB>=thresholdSpeed was not true");
    expected.emplace_back("error WRITE_PERFORMANCE_NOT_OPTIMAL 591");
    EXPECT_EQ(judge.lines(), expected);
}

TEST(Thresholds, VerdictOfAMeasuredRateReachesTheHost) {
    Settings const half = with(readOnce, {{"USB11ReadThresholdPercent", "50"}}); // 0.75 MB/s
    HostView const host = runStorageTest(stickPc(smallDisk()), half);
    EXPECT_EQ(host.result, "FAIL");
    ASSERT_EQ(raised(host).back(), "error READ_PERFORMANCE_NOT_OPTIMAL PerformanceCalculator.cpp:587");
    EXPECT_EQ(host.events.back().variables,
              (std::map<std::string, std::string>{{"performanceSpeed", "0.06"}, {"ThresholdSpeed", "0.75"}}));
}

} // namespace
} // namespace test
