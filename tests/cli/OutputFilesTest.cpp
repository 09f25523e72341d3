// The log and the trace of requests, in files.
#include "CliRun.h"

#include "nuv.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <sstream>

namespace test {
namespace {

using tkit5::TestResult;

TestResult logSomething(tkit5::DiagDevice const &) {
    static nuv::Logger * slot = nullptr;
    nuv::Logger * const logger = nuv::LogFactory::createLogger("cli.test", slot);
    nuv::TraceLogger const scope(nuv::LogFactory::getPriority() < 2 ? logger : nullptr, "logSomething", "test.cpp", 7);
    for (int priority = 1; priority <= 4; ++priority) {
        if (nuv::LogFactory::getPriority() <= priority) {
            nuv::LoggerStream message;
            message << "message " << priority;
            logger->log(priority, message);
        }
    }
    return TestResult::PASS();
}

class OutputFiles : public testing::Test {
protected:
    void SetUp() override { calls().behaviour = logSomething; }
    void TearDown() override { calls().behaviour = nullptr; }
};

TEST_F(OutputFiles, LogGoesToTheFileAndNotToTheOutput) {
    std::string const file = temporaryName(".log");
    auto const result = runCli({"run", "WholeBus", "--log-level", "3", "--log-file", file});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(contentsOf(file), "log 3 cli.test message 3\nlog 4 cli.test message 4\n");
    EXPECT_EQ(result.output.find("message"), std::string::npos);
}

TEST_F(OutputFiles, LogFileWithoutALevelHoldsEverything) {
    std::string const file = temporaryName(".log");
    runCli({"run", "WholeBus", "--log-file", file});
    EXPECT_EQ(contentsOf(file), "trace cli.test enter logSomething test.cpp:7\n"
                                "log 1 cli.test message 1\nlog 2 cli.test message 2\n"
                                "log 3 cli.test message 3\nlog 4 cli.test message 4\n"
                                "trace cli.test leave logSomething test.cpp:7\n");
}

TEST_F(OutputFiles, LogWithoutAFileStandsInTheOutput) {
    std::string const text = runCli({"run", "WholeBus", "--log-level", "4"}).output;
    EXPECT_NE(text.find("log 4"), std::string::npos) << text;
    EXPECT_NE(text.find("cli.test message 4"), std::string::npos) << text;
    EXPECT_EQ(text.find("message 3"), std::string::npos) << text;

    std::string const lines = runCli({"run", "WholeBus", "--log-level", "4", "--format", "jsonl"}).output;
    EXPECT_NE(lines.find(R"("type":"log")"), std::string::npos) << lines;
}

TEST_F(OutputFiles, NothingIsLoggedUnlessAsked) {
    EXPECT_EQ(runCli({"run", "WholeBus"}).output.find("message"), std::string::npos);
}

TEST_F(OutputFiles, LogLevelEndsWithTheRun) {
    runCli({"run", "WholeBus", "--log-level", "1"});
    EXPECT_EQ(nuv::LogFactory::getPriority(), 5);
}

TEST_F(OutputFiles, TraceHoldsEveryRequestAsAJsonLine) {
    std::string const file = temporaryName(".jsonl");
    auto const result = runCli({"topology", "--machine", "findings", "--trace-io", file});
    EXPECT_EQ(result.code, 0);
    std::istringstream lines(contentsOf(file));
    int opens = 0;
    int closes = 0;
    int controls = 0;
    for (std::string line; std::getline(lines, line);) {
        std::string const call = nlohmann::json::parse(line)["call"];
        opens += call == "open" && line.find("\"handle\"") != std::string::npos ? 1 : 0;
        closes += call == "close" ? 1 : 0;
        controls += call == "control" ? 1 : 0;
    }
    EXPECT_GT(opens, 0);
    EXPECT_EQ(opens, closes);
    EXPECT_GT(controls, opens);
}

TEST_F(OutputFiles, TraceDoesNotChangeWhatIsSeen) {
    std::vector<std::string> const topology{"topology", "--machine", "findings"};
    auto traced = topology;
    traced.insert(traced.end(), {"--trace-io", temporaryName(".jsonl")});
    EXPECT_EQ(runCli(traced).output, runCli(topology).output);
}

TEST_F(OutputFiles, AFileThatIsNamedTwiceIsNotCreated) {
    std::string const file = temporaryName(".both");
    auto const result = runCli({"run", "WholeBus", "--log-file", file, "--trace-io", file});
    EXPECT_EQ(result.code, TestResult::BADPARAMS().value());
    EXPECT_FALSE(std::filesystem::exists(file));
}

// The file of a PC whose hub on port 1 has a disk with that image.
std::string pcWithImage(std::string const & image) {
    return pcFile(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "hub": {"instanceId": "USB\\HUB",
        "portCount": 1, "ports": [{"port": 1, "protocols": ["2.0"], "speed": "high", "device": {
        "instanceId": "USB\\STICK", "disk": {"instanceId": "DISK\\STICK", "image": )" +
                  nlohmann::json(image).dump() + "}}}]}}");
}

TEST_F(OutputFiles, ImageOfADiskIsNotOverwritten) {
    std::string const bytes(512 * 100, 'd');
    std::string const image = temporaryFile(".img", bytes);
    std::string const link = temporaryName(".link.img");
    std::filesystem::remove(link);
    std::filesystem::create_hard_link(image, link);
    std::string const other = temporaryName(".log");
    std::filesystem::remove(other);
    // A relative path counts from the folder of the description.
    std::string const relative = std::filesystem::path(image).filename().string();
    for (std::string const & described : {image, relative}) {
        std::string const pc = pcWithImage(described);
        for (std::string const & named : {image, link}) {
            auto const traced = runCli({"topology", "--machine", pc, "--trace-io", named, "--log-file", other});
            EXPECT_EQ(traced.code, TestResult::BADPARAMS().value());
            EXPECT_EQ(traced.errors, "nuvrusb: The file " + named + " is named for two purposes. Name two files.\n");
            EXPECT_FALSE(std::filesystem::exists(other));
            auto const logged = runCli({"run", "WholeBus", "--machine", pc, "--log-file", named});
            EXPECT_EQ(logged.code, TestResult::BADPARAMS().value());
            EXPECT_EQ(contentsOf(image), bytes);
        }
    }
    std::filesystem::remove(link);
}

TEST_F(OutputFiles, PcWithAnImageIsTracedElsewhere) {
    std::string const image = temporaryFile(".img", std::string(512 * 100, 'd'));
    std::string const trace = temporaryName(".jsonl");
    EXPECT_EQ(runCli({"topology", "--machine", pcWithImage(image), "--trace-io", trace}).code, 0);
    EXPECT_NE(contentsOf(trace), "");
}

TEST_F(OutputFiles, TwoTracesOfOnePcAreTheSameBytes) {
    std::string const first = temporaryName(".1.jsonl");
    std::string const second = temporaryName(".2.jsonl");
    runCli({"run", "PortTest", "--machine", "findings", "--trace-io", first});
    runCli({"run", "PortTest", "--machine", "findings", "--trace-io", second});
    EXPECT_EQ(contentsOf(first), contentsOf(second));
    EXPECT_NE(contentsOf(first), "");
}

} // namespace
} // namespace test
