// Runs from the choice of devices to the exit code.
#include "CliRun.h"

#include "machine/Machine.h"
#include "tkit5/Registry.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <sstream>
#include <stdexcept>

namespace test {
namespace {

using namespace std::chrono_literals;
using Json = nlohmann::json;
using tkit5::DiagDevice;
using tkit5::DiagModule;
using tkit5::TestResult;

std::string device(int port, std::string const & id, std::string const & more = "") {
    return R"({"port": )" + std::to_string(port) +
           R"(, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\)" + id + "\"" + more + "}}";
}

std::string threeDevices(std::string const & more = "") {
    return pcFile(device(1, "A") + "," + device(2, "B") + "," + device(3, "C"), more);
}

std::vector<Json> linesOf(CliResult const & result, std::string const & type) {
    std::vector<Json> found;
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line);) {
        Json const parsed = Json::parse(line);
        if (parsed["type"] == type) {
            found.push_back(parsed);
        }
    }
    return found;
}

class Run : public testing::Test {
protected:
    void TearDown() override { calls().behaviour = nullptr; }

    static CliResult jsonl(std::string const & test, std::string const & pc, std::vector<std::string> more = {}) {
        FakeConsole console;
        return jsonl(test, pc, console, std::move(more));
    }
    static CliResult jsonl(std::string const & test, std::string const & pc, FakeConsole & console,
                           std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"run", test, "--machine", pc, "--format", "jsonl"});
        return runCli(more, console);
    }
};

TEST_F(Run, EveryAcceptedDeviceIsTestedInTheOrderOfTheTree) {
    auto const result = runCli({"run", "PortTest", "--machine", threeDevices()});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(calls().devices, (std::vector<std::string>{"USB\\A", "USB\\B", "USB\\C"}));
}

TEST_F(Run, VendorThatIsExcludedIsNotOffered) {
    std::string const pc =
        pcFile(device(1, "A", R"(, "vendorId": "2034")") + "," + device(2, "B", R"(, "vendorId": "2035")"));
    runCli({"run", "PortTest", "--machine", pc});
    EXPECT_EQ(calls().devices, std::vector<std::string>{"USB\\B"});
}

TEST_F(Run, NamedDevicesAreTestedInTheOrderOfTheirNames) {
    runCli({"run", "PortTest", "--machine", threeDevices(), "--device", "usb\\c", "--device", "USB\\A", "--device",
            "USB\\C"});
    EXPECT_EQ(calls().devices, (std::vector<std::string>{"USB\\C", "USB\\A"}));
}

TEST_F(Run, WholeBusIsTestedOnce) {
    runCli({"run", "WholeBus", "--machine", threeDevices()});
    EXPECT_EQ(calls().devices, std::vector<std::string>{"USB-PORTS"});
}

TEST_F(Run, NoAcceptedDeviceIsSaidAndIsTheResult) {
    auto const result = jsonl("PortTest", pcFile(""));
    EXPECT_EQ(result.code, 3);
    EXPECT_EQ(result.errors, "nuvrusb: PortTest accepts no device of this PC. 'nuvrusb devices --test PortTest' says "
                             "why.\n");
    EXPECT_EQ(linesOf(result, "run").at(0)["deviceCount"], 0);
    EXPECT_EQ(linesOf(result, "runEnd").at(0)["result"], "NODEVICE");
}

TEST_F(Run, ResultIsTheMostSeriousOfAllDevices) {
    calls().behaviour = [](DiagDevice const & tested) {
        return tested.imp().identifier() == nuv::String("USB\\B") ? TestResult::WARN() : TestResult::PASS();
    };
    auto const result = jsonl("PortTest", threeDevices());
    EXPECT_EQ(result.code, 2);
    auto const results = linesOf(result, "result");
    ASSERT_EQ(results.size(), 3U);
    EXPECT_EQ(results[0]["result"], "PASS");
    EXPECT_EQ(results[1]["result"], "WARN");
}

TEST_F(Run, ParametersReachTheTestAndAreForgottenAfterwards) {
    tkit5::Registry const & registry = tkit5::Registry::instance();
    calls().behaviour = [&](DiagDevice const &) {
        EXPECT_EQ(registry.findParameter("Count")->value().valueUint32(), 7U);
        EXPECT_TRUE(registry.findParameter("Flag")->value().valueBool());
        EXPECT_DOUBLE_EQ(registry.findParameter("Share")->value().valuePercent(), 12.5);
        EXPECT_FALSE(registry.findParameter("Text")->isset());
        return TestResult::PASS();
    };
    auto const result =
        jsonl("PortTest", pcFile(device(1, "A")), {"--set", "Count=7", "--set", "Flag=YES", "--set", "Share=12.5%"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(linesOf(result, "run").at(0)["parameters"], (Json{{"Count", "7"}, {"Flag", "true"}, {"Share", "12.5"}}));
    EXPECT_EQ(calls().devices.size(), 1U);
    EXPECT_FALSE(registry.findParameter("Count")->isset());
}

TEST_F(Run, ParametersOfARefusedRunAreForgottenToo) {
    runCli({"run", "PortTest", "--set", "Count=7", "--set", "Flag=perhaps"});
    EXPECT_FALSE(tkit5::Registry::instance().findParameter("Count")->isset());
}

TEST_F(Run, ModuleIsInitialisedOnceBeforeParametersAreNeeded) {
    runCli({"run", "WholeBus", "--set", "Count=1"});
    runCli({"run", "WholeBus", "--set", "Count=1"});
    EXPECT_EQ(calls().moduleInits, 1);
}

TEST_F(Run, OptionalDevicesAreAllWithAnyOfTheCapabilities) {
    std::vector<std::string> optional;
    calls().behaviour = [&](DiagDevice const &) {
        for (std::size_t index = 0; index < DiagModule::optionalDeviceCount(); ++index) {
            optional.push_back(DiagModule::optionalDevice(index).imp().identifier().getUTF8String());
        }
        return TestResult::PASS();
    };
    runCli({"run", "PortTest", "--machine", pcFile(device(1, "A"))});
    EXPECT_EQ(optional, (std::vector<std::string>{"PCI\\1", "USB\\ROOT_HUB30\\1"}));
    EXPECT_EQ(DiagModule::optionalDeviceCount(), 0U);
}

TEST_F(Run, TwoRunsPrintTheSameBytes) {
    calls().behaviour = [](DiagDevice const &) {
        found->setVariable("Seconds", std::uint64_t(machine::current().clock().now().count()));
        DiagModule::warning(found, "source.cpp", 12);
        return TestResult::WARN();
    };
    for (std::string const format : {"text", "jsonl"}) {
        std::vector<std::string> const run{"run", "PortTest", "--machine", "findings", "--format", format};
        auto const first = runCli(run);
        auto const second = runCli(run);
        EXPECT_NE(first.output.find("FOUND"), std::string::npos);
        EXPECT_EQ(first.output, second.output) << format;
    }
}

TEST_F(Run, StopBetweenDevicesLeavesOutTheRest) {
    auto const result = jsonl("PortTest", threeDevices(R"("user": {"stopAtPoll": 3}, )"));
    EXPECT_EQ(calls().devices, (std::vector<std::string>{"USB\\A", "USB\\B"}));
    EXPECT_EQ(result.code, 8);
    EXPECT_EQ(linesOf(result, "runEnd").at(0)["stopped"], true);
}

TEST_F(Run, StopBeforeTheFirstDeviceLeavesOutAll) {
    auto const result = jsonl("PortTest", threeDevices(R"("user": {"stopAtPoll": 1}, )"));
    EXPECT_TRUE(calls().devices.empty());
    EXPECT_EQ(result.code, 8);
}

TEST_F(Run, HostAsksForAStopOnStandardInput) {
    FakeConsole console;
    calls().behaviour = [&](DiagDevice const &) {
        console.type(R"({"type":"stop"})");
        return TestResult::PASS();
    };
    console.keepOpen();
    auto const result = jsonl("PortTest", threeDevices(), console);
    EXPECT_EQ(calls().devices, std::vector<std::string>{"USB\\A"});
    EXPECT_EQ(result.code, 8);
}

TEST_F(Run, ControlCStopsTheRun) {
    FakeConsole console;
    calls().behaviour = [&](DiagDevice const &) {
        console.requestStop();
        return TestResult::PASS();
    };
    EXPECT_EQ(runCli({"run", "PortTest", "--machine", threeDevices()}, console).code, 8);
    EXPECT_EQ(calls().devices.size(), 1U);
}

TEST_F(Run, StopAfterTheLastDeviceLeavesNothingOut) {
    FakeConsole console;
    calls().behaviour = [&](DiagDevice const &) {
        console.requestStop();
        return TestResult::PASS();
    };
    EXPECT_EQ(runCli({"run", "PortTest", "--machine", pcFile(device(1, "A"))}, console).code, 0);
}

TEST_F(Run, FaultFoundBeforeAStopStaysTheResult) {
    calls().behaviour = [](DiagDevice const &) { return TestResult::FAIL(); };
    EXPECT_EQ(jsonl("PortTest", threeDevices(R"("user": {"stopAtPoll": 2}, )")).code, 1);
}

TEST_F(Run, LostOutputStopsTheRun) {
    for (std::string const format : {"text", "jsonl"}) {
        FakeConsole console;
        console.loseOutputAfter(2);
        auto const result = runCli({"run", "PortTest", "--machine", threeDevices(), "--format", format}, console);
        EXPECT_EQ(result.code, 8) << format;
        EXPECT_LT(calls().devices.size(), 3U) << format;
    }
}

TEST_F(Run, NothingIsTestedThatNobodyWouldRead) {
    FakeConsole console;
    console.loseOutputAfter(0);
    EXPECT_EQ(runCli({"run", "PortTest", "--machine", threeDevices()}, console).code, 8);
    EXPECT_TRUE(calls().devices.empty());
}

TEST_F(Run, ProgressOnATerminalGoesByThePcsClock) {
    calls().behaviour = [](DiagDevice const &) {
        machine::current().clock().sleep(10s);
        DiagModule::percentDone(25);
        return TestResult::PASS();
    };
    std::string const pc = pcFile(device(1, "A"));
    FakeConsole terminal;
    terminal.beTerminal();
    std::string const output = runCli({"run", "PortTest", "--machine", pc}, terminal).output;
    EXPECT_NE(output.find("   25 %  30 s left\r"), std::string::npos) << output;
    EXPECT_NE(runCli({"run", "PortTest", "--machine", pc}).output.find("  progress  25 %\n"), std::string::npos);
}

TEST_F(Run, ExceptionOfATestPassesThroughAfterTheReportHasEnded) {
    calls().behaviour = [](DiagDevice const &) -> TestResult { throw std::runtime_error("gone"); };
    for (std::string const format : {"text", "jsonl"}) {
        FakeConsole console;
        EXPECT_THROW(runCli({"run", "PortTest", "--machine", threeDevices(), "--format", format}, console),
                     std::runtime_error);
        std::string const & output = console.output();
        std::size_t const lastLine = output.rfind('\n', output.size() - 2);
        EXPECT_NE(output.find("EXITEDABNORMALLY", format == "jsonl" ? lastLine : 0), std::string::npos) << output;
        EXPECT_EQ(calls().devices.size(), 1U);
    }
    calls().behaviour = nullptr;
    EXPECT_EQ(runCli({"run", "PortTest", "--machine", threeDevices()}).code, 0);
}

// Asks one question and passes when it was answered with OK.
TestResult ask(DiagDevice const &) {
    auto const box =
        DiagModule::createMessageBox2("Go on?", "Question", tkit5::MessageBox2_Types::Plain,
                                      tkit5::MessageBox2_Options::OkCancel, tkit5::MessageBox2_Looks::Question, true);
    box->display();
    box->wait(0);
    return box->getReturn() == static_cast<int>(tkit5::MessageBox2_Return::Ok) ? TestResult::PASS()
                                                                               : TestResult::FAIL();
}

TEST_F(Run, TestThatOnlyReadsIsNotRefusedAsOneThatOverwrites) {
    std::string const pc = pcFile(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "device": {
        "instanceId": "USB\\ONE", "disk": {"instanceId": "DISK\\ONE"}}})");
    std::vector<std::string> reading{"run", "Rewrite", "--machine", pc, "--device", "DISK\\ONE"};
    EXPECT_EQ(runCli(reading).errors, "nuvrusb: Rewrite can overwrite data, and there is no terminal to ask on. Allow "
                                      "it with --allow-destructive.\n");
    auto writing = reading;
    writing.insert(writing.end(), {"--set", "PerformWritePerformance=true"});
    EXPECT_EQ(runCli(writing).errors, "nuvrusb: Rewrite overwrites data, and there is no terminal to ask on. Allow it "
                                      "with --allow-destructive.\n");
}

TEST_F(Run, ScriptedAnswersOfTheDescribedPcAreGiven) {
    calls().behaviour = ask;
    std::string const one = pcFile(device(1, "A"), R"("user": {"answers": ["ok"]}, )");
    EXPECT_EQ(runCli({"run", "PortTest", "--machine", one}).code, 0);
    EXPECT_EQ(runCli({"run", "PortTest", "--machine", one, "--format", "jsonl"}).code, 0);
    EXPECT_EQ(runCli({"run", "PortTest", "--machine", one, "--answer", "no"}).code, 1);
}

TEST_F(Run, NobodyAtATerminalMeansNo) {
    calls().behaviour = ask;
    std::string const pc = pcFile(device(1, "A"));
    FakeConsole typing;
    typing.type("ok");
    EXPECT_EQ(runCli({"run", "PortTest", "--machine", pc}, typing).code, 1);
    EXPECT_EQ(typing.inputLeft(), 1U);
    EXPECT_EQ(runCli({"run", "PortTest", "--machine", pc, "--answer", "yes"}).code, 0);
}

TEST_F(Run, PersonAtTheTerminalAnswers) {
    calls().behaviour = ask;
    FakeConsole terminal;
    terminal.beTerminal();
    terminal.type("ok");
    EXPECT_EQ(runCli({"run", "PortTest", "--machine", pcFile(device(1, "A"))}, terminal).code, 0);
}

TEST_F(Run, HostAnswersOnStandardInput) {
    FakeConsole host;
    host.keepOpen();
    calls().behaviour = [&](DiagDevice const & tested) {
        host.type(R"({"type":"answer","id":1,"answer":"ok"})");
        return ask(tested);
    };
    EXPECT_EQ(jsonl("PortTest", pcFile(device(1, "A")), host).code, 0);
}

TEST_F(Run, HubThatDoesNotAnswerIsAskedOnceInTheWholeRun) {
    std::string const pc = temporaryFile(".json", R"({"name": "PC", "controllers": [{"instanceId": "PCI\\1", "rootHub":
        {"portCount": 4, "faults": [{"query": "connection", "hangs": true}]}}]})");
    std::string const trace = temporaryName(".jsonl");
    auto const result = runCli({"run", "WholeBus", "--machine", pc, "--trace-io", trace});
    EXPECT_NE(result.errors.find("did not answer and was left out"), std::string::npos);
    std::string const text = contentsOf(trace);
    std::size_t silent = 0;
    for (std::size_t at = text.find("\"error\":121"); at != std::string::npos;
         at = text.find("\"error\":121", at + 1)) {
        ++silent;
    }
    EXPECT_EQ(silent, 1U);
}

} // namespace
} // namespace test
