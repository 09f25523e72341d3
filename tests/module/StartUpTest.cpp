// The module's way from main to exit code, with tests of its own that throw.
#include "ModuleMain.h"
#include "ModuleRun.h"
#include "SourceUnit.h"

#include "nuv/LogSink.h"
#include "tkit5/Registry.h"

#include "nuv.h"
#include "tkit5.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace test {
namespace {

using tkit5::DiagDevice;
using tkit5::TestResult;

TestResult throwNuv(DiagDevice const &) {
    throw nuv::Exception("the core gave up");
}
TestResult throwTkit(DiagDevice const &) {
    throw tkit5::TkitException("the framework gave up");
}
TestResult throwForeign(DiagDevice const &) {
    throw std::runtime_error("somebody else gave up");
}

int runMain(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "nuvrusb");
    std::vector<char *> pointers;
    for (std::string & argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return nuvrusb::moduleMain(static_cast<int>(arguments.size()), pointers.data());
}

class StartUp : public testing::Test {
protected:
    void SetUp() override {
        tkit5::DiagModule::createTest("ThrowsNuv", tkit5::DeviceCapability::USBPorts(), throwNuv);
        tkit5::DiagModule::createTest("ThrowsTkit", tkit5::DeviceCapability::USBPorts(), throwTkit);
        tkit5::DiagModule::createTest("ThrowsForeign", tkit5::DeviceCapability::USBPorts(), throwForeign);
        nuv::setErrorStream(&errors);
    }
    void TearDown() override {
        nuv::setErrorStream(nullptr);
        nuv::setLogSink(nullptr);
        nuv::setLogPriority(5);
    }

    std::ostringstream errors;
};

TEST_F(StartUp, ReturnsWhatTheFrameworksLoopReturns) {
    EXPECT_EQ(runMain({"tests"}), 0);
    EXPECT_EQ(runMain({"run", "USBConnectionSpeedVerificationTest", "--machine", machineFile("findings.json"), "--set",
                       "desiredVerificationSpeed=MAX"}),
              1);
    EXPECT_EQ(errors.str(), "");
}

TEST_F(StartUp, HandsItsVersionToTheFramework) {
    runMain({"--version"});
    tkit5::Registry const & registry = tkit5::Registry::instance();
    EXPECT_EQ(registry.versionMajor, 6U);
    EXPECT_EQ(registry.versionMinor, 5U);
    EXPECT_EQ(registry.build, "000000001");
}

TEST_F(StartUp, CoreLibraryExceptionBecomesAnAbnormalExit) {
    EXPECT_EQ(runMain({"run", "ThrowsNuv", "--machine", machineFile("findings.json")}), 11);
    EXPECT_EQ(errors.str(), "Exception: the core gave up\n");
}

TEST_F(StartUp, FrameworkExceptionBecomesAnAbnormalExit) {
    EXPECT_EQ(runMain({"run", "ThrowsTkit", "--machine", machineFile("findings.json")}), 11);
    EXPECT_EQ(errors.str(), "TkitException: the framework gave up\n");
}

TEST_F(StartUp, AnyOtherExceptionLeavesMain) {
    EXPECT_THROW(runMain({"run", "ThrowsForeign", "--machine", machineFile("findings.json")}), std::runtime_error);
    EXPECT_EQ(errors.str(), "");
}

// What reaches the log outside a run.
class Scopes : public nuv::LogSink {
public:
    void message(int, char const *, std::string const &) override {}
    void scope(bool entered, char const *, char const * function, char const * file, int line) override {
        seen.push_back((entered ? "+" : "-") + std::string(function) + " " + file + ":" + std::to_string(line));
    }
    std::vector<std::string> seen;
};

std::string const mainSite = "main modules/src/windows/diag/nuvrusb/nuvrusb.cpp:1605";

TEST_F(StartUp, TraceScopeOfMainIsClosedOnEveryWayOut) {
    for (std::string const name : {"ThrowsNuv", "ThrowsTkit", "ThrowsForeign"}) {
        Scopes scopes;
        nuv::setLogSink(&scopes);
        nuv::setLogPriority(1);
        try {
            runMain({"run", name, "--machine", machineFile("findings.json"), "--log-level", "1"});
        } catch (std::runtime_error const &) {
            EXPECT_EQ(name, "ThrowsForeign");
        }
        ASSERT_FALSE(scopes.seen.empty()) << name;
        EXPECT_EQ(scopes.seen.front(), "+" + mainSite) << name;
        EXPECT_EQ(scopes.seen.back(), "-" + mainSite) << name;
    }
}

TEST_F(StartUp, ExceptionFreeRunClosesTheTraceScopeToo) {
    Scopes scopes;
    nuv::setLogSink(&scopes);
    nuv::setLogPriority(1);
    runMain({"tests"});
    ASSERT_FALSE(scopes.seen.empty());
    EXPECT_EQ(scopes.seen.front(), "+" + mainSite);
    EXPECT_EQ(scopes.seen.back(), "-" + mainSite);
}

TEST_F(StartUp, NoLoggerIsMadeWhileLoggingIsOff) {
    nuv::setLogPriority(5);
    runMain({"run", "USBConnectionSpeedVerificationTest", "--machine", machineFile("findings.json")});
    EXPECT_FALSE(nuv::loggerExists("nuvrusb"));
}

TEST_F(StartUp, TracingAboveItsPriorityIsSilentAndMakesNoLogger) {
    Scopes scopes;
    nuv::setLogSink(&scopes);
    nuv::setLogPriority(2);
    { nuvrusb::TraceScope const scope(nuvrusb::nuvrusbUnit, "operation", 1); }
    EXPECT_TRUE(scopes.seen.empty());
    EXPECT_FALSE(nuv::loggerExists("nuvrusb"));
}

class LogUnit : public StartUp, public nuv::LogSink {
protected:
    void message(int priority, char const * logger, std::string const & text) override {
        lines.push_back(std::to_string(priority) + " " + logger + " " + text);
    }
    void scope(bool, char const *, char const *, char const *, int) override { ++scopes; }

    std::vector<std::string> lines;
    int scopes = 0;
};

TEST_F(LogUnit, MessageBeginsWithItsLineAndABlank) {
    nuv::setLogSink(this);
    nuv::setLogPriority(1);
    nuvrusb::nuvrusbUnit.log(3, 520, "Device is not connected");
    EXPECT_EQ(lines, std::vector<std::string>{"3 nuvrusb 520 Device is not connected"});
}

TEST_F(LogUnit, GlobalPriorityKeepsLessImportantMessagesOut) {
    nuv::setLogSink(this);
    for (int global = 1; global <= 5; ++global) {
        nuv::setLogPriority(global);
        for (int priority = 1; priority <= 4; ++priority) {
            lines.clear();
            nuvrusb::nuvrusbUnit.log(priority, 7, "text");
            EXPECT_EQ(lines.size(), priority >= global ? 1U : 0U) << global << " " << priority;
        }
    }
}

TEST_F(LogUnit, LoggersOwnLevelKeepsMessagesAndScopesOut) {
    nuv::setLogSink(this);
    nuv::setLogPriority(1);
    nuv::setLoggerLevel("nuvrusb", 3);
    nuvrusb::nuvrusbUnit.log(2, 7, "text");
    { nuvrusb::TraceScope const scope(nuvrusb::nuvrusbUnit, "operation", 1); }
    nuvrusb::nuvrusbUnit.log(3, 8, "text");
    nuv::setLoggerLevel("nuvrusb", 1);
    EXPECT_EQ(lines, std::vector<std::string>{"3 nuvrusb 8 text"});
    EXPECT_EQ(scopes, 0);
}

TEST_F(LogUnit, MessageThatNobodyReadsIsNotBuilt) {
    nuv::setLogPriority(5);
    bool built = false;
    nuvrusb::nuvrusbUnit.log(4, 7, [&](nuv::LoggerStream &) { built = true; });
    EXPECT_FALSE(built);
}

} // namespace
} // namespace test
