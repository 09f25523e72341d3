// What the listings say, byte for byte.
#include "CliRun.h"

#include "support/Golden.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace test {
namespace {

std::string golden(std::string const & name) {
    return std::string(GOLDEN_DIR) + "/" + name;
}

CliResult listed(std::vector<std::string> const & arguments) {
    auto const result = runCli(arguments);
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    return result;
}

TEST(Listings, Tests) {
    expectGolden(golden("tests.txt"), listed({"tests"}).output);
}

TEST(Listings, DevicesOfAPcWithFindings) {
    expectGolden(golden("devices-findings.txt"), listed({"devices", "--machine", "findings"}).output);
}

TEST(Listings, DevicesWithTheReasonsOfOneTest) {
    expectGolden(golden("devices-findings-of-a-test.txt"),
                 listed({"devices", "--machine", "findings", "--test", "PortTest"}).output);
}

TEST(Listings, TopologyOfAPcWithFindings) {
    expectGolden(golden("topology-findings.txt"), listed({"topology", "--machine", "findings"}).output);
}

TEST(Listings, TestsForAHost) {
    auto const result = listed({"tests", "--format", "jsonl"});
    keepForSchemaCheck(result.output);
    expectGolden(golden("tests.jsonl"), result.output);
}

TEST(Listings, DevicesForAHost) {
    auto const result = listed({"devices", "--machine", "findings", "--format", "jsonl"});
    keepForSchemaCheck(result.output);
    expectGolden(golden("devices-findings.jsonl"), result.output);
}

TEST(Listings, TopologyForAHost) {
    auto const result = listed({"topology", "--machine", "findings", "--format", "jsonl"});
    keepForSchemaCheck(result.output);
    expectGolden(golden("topology-findings.jsonl"), result.output);
}

TEST(Listings, TopologyOfTheBundledDesktopForAHost) {
    keepForSchemaCheck(listed({"topology", "--format", "jsonl"}).output);
}

TEST(Listings, PcWithoutControllersSaysSo) {
    std::string const pc = temporaryFile(".json", R"({"name": "Bare PC", "controllers": []})");
    EXPECT_EQ(listed({"topology", "--machine", pc}).output, "PC: Bare PC\n\nThis PC has no USB host controller.\n");
}

TEST(Listings, ColourIsForTerminalsOnlyAndCanBeRefused) {
    std::vector<std::string> const topology{"topology", "--machine", "findings"};
    EXPECT_EQ(runCli(topology).output.find('\x1b'), std::string::npos);

    FakeConsole terminal;
    terminal.beTerminal();
    EXPECT_NE(runCli(topology, terminal).output.find("\x1b[31mFAULT: overcurrent\x1b[0m"), std::string::npos);

    FakeConsole plain;
    plain.beTerminal();
    EXPECT_EQ(runCli({"topology", "--machine", "findings", "--no-color"}, plain).output.find('\x1b'),
              std::string::npos);
}

TEST(Listings, NameOfADeviceCannotSteerTheTerminal) {
    std::string const pc = pcFile(R"({"port": 1, "protocols": ["2.0"], "speed": "high",
        "device": {"instanceId": "USB\\A", "product": "Evil\u001b[2J\nName"}})");
    for (std::string const command : {"topology", "devices"}) {
        std::string const output = listed({command, "--machine", pc}).output;
        EXPECT_EQ(output.find('\x1b'), std::string::npos) << output;
        EXPECT_NE(output.find("Evil"), std::string::npos) << output;
    }
}

TEST(Listings, OutputThatNobodyReadsIsAStop) {
    for (std::string const format : {"text", "jsonl"}) {
        FakeConsole console;
        console.loseOutputAfter(0);
        EXPECT_EQ(runCli({"topology", "--format", format}, console).code, 8) << format;
    }
}

} // namespace
} // namespace test
