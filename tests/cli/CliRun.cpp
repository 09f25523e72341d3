#include "CliRun.h"

#include "support/StateFolder.h"
#include "tkit5/Start.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace test {

namespace {

using tkit5::DataType;
using tkit5::DeviceCapability;
using tkit5::DiagModule;
using tkit5::TestResult;

TestResult entry(tkit5::DiagDevice const & device) {
    calls().devices.push_back(device.imp().identifier().getUTF8String());
    return calls().behaviour ? calls().behaviour(device) : TestResult::PASS();
}

tkit5::Test * portTest = nullptr;
tkit5::Test * wholeBus = nullptr;
tkit5::Test * rewrite = nullptr;

void moduleInit() {
    ++calls().moduleInits;
    auto * const count = DiagModule::createParameter("Count", DataType::UINT32, "", false, true);
    portTest->addParameter(DiagModule::createParameter("Text", DataType::STRING, "", false, true))
        ->addParameter(DiagModule::createParameter("Flag", DataType::BOOLEAN, "", false, true))
        ->addParameter(count)
        ->addParameter(DiagModule::createParameter("Share", DataType::PERCENT, "", false, true));
    wholeBus->addParameter(count);
    for (char const * name : {"PerformWritePerformance", "PreserveAndRestoreData", "PromptEnable"}) {
        rewrite->addParameter(DiagModule::createParameter(name, DataType::BOOLEAN, "", false, true));
    }
}

void declareTests() {
    if (portTest != nullptr) {
        return;
    }
    portTest = DiagModule::createTest("PortTest", DeviceCapability::USB(), entry)
                   ->addDevicePropertyRequirement("ParentPort", "")
                   ->addDevicePropertyExclusion("DeviceVendorID", "2034")
                   ->addOptionalDeviceCapabilities(DeviceCapability::HUB() | DeviceCapability::USBController());
    wholeBus = DiagModule::createTest("WholeBus", DeviceCapability::USBPorts(), entry);
    DiagModule::createTest("Overwrite", DeviceCapability::USBMassStorage(), entry)
        ->addDevicePropertyExclusion("IsApplicationDrive", "")
        ->setSupportsParallelTesting(false)
        ->setDestructive(true);
    DiagModule::createTest("Absent", DeviceCapability::USBMassStorage(), nullptr);
    rewrite = DiagModule::createTest("Rewrite", DeviceCapability::USBMassStorage(), entry)->setDestructive(true);
    found = DiagModule::createEvent("FOUND");
    DiagModule::setVersion(6, 5, "000000001");
    DiagModule::setModuleInitCallback(moduleInit);
}

} // namespace

TestCalls & calls() {
    static TestCalls all;
    return all;
}

CliResult runCli(std::vector<std::string> arguments, FakeConsole & console) {
    declareTests();
    calls().devices.clear();
    if (!arguments.empty()) {
        arguments.insert(arguments.begin(), {"--language", "en"});
    }
    support::useOwnStateFolder();
    int const code = tkit5::runCommandLine(arguments, console);
    return {.code = code, .output = console.output(), .errors = console.errors()};
}

CliResult runCli(std::vector<std::string> arguments) {
    FakeConsole console;
    return runCli(std::move(arguments), console);
}

std::string temporaryName(std::string const & ending) {
    testing::TestInfo const & info = *testing::UnitTest::GetInstance()->current_test_info();
    return testing::TempDir() + info.test_suite_name() + "." + info.name() + ending;
}

std::string temporaryFile(std::string const & ending, std::string const & contents) {
    std::string path = temporaryName(ending);
    std::ofstream(path, std::ios::binary) << contents;
    return path;
}

std::string contentsOf(std::string const & path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void keepForSchemaCheck(std::string const & output) {
    testing::TestInfo const & info = *testing::UnitTest::GetInstance()->current_test_info();
    std::filesystem::create_directories(PROTOCOL_LINES_DIR);
    std::ofstream(std::filesystem::path(PROTOCOL_LINES_DIR) /
                      (std::string(info.test_suite_name()) + "." + info.name() + ".jsonl"),
                  std::ios::binary)
        << output;
}

std::string pcFile(std::string const & ports, std::string const & more) {
    return temporaryFile(".pc.json", R"({"name": "Test PC", )" + more + R"("controllers": [{"name": "Controller",
        "instanceId": "PCI\\1", "rootHub": {"instanceId": "USB\\ROOT_HUB30\\1", "portCount": 8, "ports": [)" +
                                         ports + "]}}]}");
}

} // namespace test
