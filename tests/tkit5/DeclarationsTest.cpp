#include "tkit5/Registry.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace tkit5;

TestResult passes(DiagDevice const &) {
    return TestResult::PASS();
}

TEST(DeclarationsTest, TestCarriesWhatItsRefiningCallsSay) {
    Parameter const * const first = DiagModule::createParameter("FirstOfRefined", DataType::UINT32, "", false, true);
    Parameter const * const second = DiagModule::createParameter("SecondOfRefined", DataType::STRING, "", false, true);
    DiagModule::createTest("Refined", DeviceCapability::USB(), passes)
        ->addDevicePropertyRequirement("ParentPort", "")
        ->addDevicePropertyExclusion("DeviceVendorID", "2034")
        ->addOptionalDeviceCapabilities(DeviceCapability::USB() | DeviceCapability::HUB())
        ->setSupportsParallelTesting(false)
        ->setDestructive(true)
        ->addParameter(first)
        ->addParameter(second);

    RegisteredTest const & test = *Registry::instance().findTest("Refined");
    EXPECT_EQ(test.required, DeviceCapability::USB());
    EXPECT_EQ(test.entry, &passes);
    ASSERT_EQ(test.requirements.size(), 1U);
    EXPECT_EQ(test.requirements[0].name, "ParentPort");
    EXPECT_EQ(test.requirements[0].value, "");
    ASSERT_EQ(test.exclusions.size(), 1U);
    EXPECT_EQ(test.exclusions[0].value, "2034");
    EXPECT_EQ(test.optionalCapabilities, DeviceCapability::USB() | DeviceCapability::HUB());
    EXPECT_EQ(test.supportsParallelTesting, false);
    EXPECT_TRUE(test.destructive);
    ASSERT_EQ(test.parameters.size(), 2U);
    EXPECT_EQ(test.parameters[0]->name, "FirstOfRefined");
    EXPECT_EQ(test.parameters[1]->name, "SecondOfRefined");
}

TEST(DeclarationsTest, PlainTestSaysNothingBeyondItsCapability) {
    DiagModule::createTest("Plain", DeviceCapability::USBPorts(), passes);

    RegisteredTest const & test = *Registry::instance().findTest("Plain");
    EXPECT_FALSE(test.supportsParallelTesting.has_value());
    EXPECT_FALSE(test.destructive);
    EXPECT_TRUE(test.requirements.empty() && test.exclusions.empty() && test.parameters.empty());
}

TEST(DeclarationsTest, NameThatExistsGivesTheObjectThatThereIs) {
    tkit5::Test * const test = DiagModule::createTest("Twice", DeviceCapability::USB(), passes);
    Parameter * const parameter = DiagModule::createParameter("TwiceSet", DataType::UINT32, "", false, true);
    Event * const event = DiagModule::createEvent("TWICE_RAISED");
    LocalizedString * const text = DiagModule::createLocalizedString("TWICE_SHOWN");

    EXPECT_EQ(DiagModule::createTest("Twice", DeviceCapability::HUB(), nullptr), test);
    EXPECT_EQ(DiagModule::createParameter("TwiceSet", DataType::STRING, "x", true, false), parameter);
    EXPECT_EQ(DiagModule::createEvent("TWICE_RAISED"), event);
    EXPECT_EQ(DiagModule::createLocalizedString("TWICE_SHOWN"), text);
    EXPECT_EQ(registered(*test).required, DeviceCapability::USB());
    EXPECT_EQ(registered(*parameter).type, DataType::UINT32);
}

TEST(DeclarationsTest, NamesDifferByCase) {
    EXPECT_NE(DiagModule::createEvent("CaseKey"), DiagModule::createEvent("CASEKEY"));
    DiagModule::createTest("CaseTest", DeviceCapability::USB(), passes);
    EXPECT_EQ(Registry::instance().findTest("casetest"), nullptr);
}

TEST(DeclarationsTest, AttachingAParameterTwiceAttachesItOnce) {
    Parameter const * const parameter = DiagModule::createParameter("Attached", DataType::STRING, "", false, true);
    DiagModule::createTest("Attaching", DeviceCapability::USB(), passes)
        ->addParameter(parameter)
        ->addParameter(parameter);

    EXPECT_EQ(Registry::instance().findTest("Attaching")->parameters.size(), 1U);
}

TEST(DeclarationsTest, ParameterIsUnsetUntilItIsPassed) {
    Parameter const * const parameter = DiagModule::createParameter("Passed", DataType::UINT32, "7", false, true);
    EXPECT_FALSE(parameter->isset());
    EXPECT_EQ(parameter->value(), Value());
    EXPECT_EQ(parameter->key(), TkitString("Passed"));

    Registry::instance().findParameter("Passed")->passed = Value(std::uint32_t{3});
    EXPECT_TRUE(parameter->isset());
    EXPECT_EQ(parameter->value().valueUint32(), 3U);
}

TEST(DeclarationsTest, VariableThatIsSetAgainKeepsItsPlace) {
    Event * const event = DiagModule::createEvent("VARIABLES");
    event->setVariable("A", "1")->setVariable("B", "2")->setVariable("A", std::uint32_t{3});

    Variables const & variables = registered(*event).variables;
    ASSERT_EQ(variables.size(), 2U);
    EXPECT_EQ(variables[0].first, "A");
    EXPECT_EQ(variables[0].second, Value(std::uint32_t{3}));
    EXPECT_EQ(variables[1].first, "B");
}

TEST(DeclarationsTest, CommandLineIsKeptWithoutTheProgram) {
    std::string program = "nuvrusb";
    std::string command = "run";
    std::string test = "Ger\xC3\xA4te";
    char * arguments[] = {program.data(), command.data(), test.data()};
    DiagModule::setCmdLineArgs(3, arguments);

    EXPECT_EQ(Registry::instance().commandLine, (std::vector<std::string>{"run", "Ger\xC3\xA4te"}));
}

TEST(DeclarationsTest, VersionIsKept) {
    DiagModule::setVersion(6, 5, "000000001");

    EXPECT_EQ(Registry::instance().versionMajor, 6U);
    EXPECT_EQ(Registry::instance().versionMinor, 5U);
    EXPECT_EQ(Registry::instance().build, "000000001");
}

TEST(DeclarationsTest, OutsideARunReportsGoNowhere) {
    Event const * const event = DiagModule::createEvent("NOWHERE");
    LocalizedString const * const text = DiagModule::createLocalizedString("NOWHERE");

    DiagModule::error(event, "file.cpp", 1);
    DiagModule::progress(text);
    DiagModule::percentDone(10);
    EXPECT_FALSE(DiagModule::checkForStop());
    EXPECT_EQ(DiagModule::optionalDeviceCount(), 0U);
    EXPECT_EQ(DiagModule::createMessageBox2("m", "t", MessageBox2_Types::Plain, MessageBox2_Options::YesNo,
                                            MessageBox2_Looks::Question, true),
              nullptr);
    EXPECT_EQ(text->localizedString(), TkitString("NOWHERE"));
}

} // namespace
