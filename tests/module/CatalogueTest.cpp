// What the module declares to the framework: tests, parameters and keys, and the texts behind the keys.
#include "Catalogue.h"
#include "Keys.h"

#include "libDriveChecks/State.h"
#include "tkit5/Locale.h"
#include "tkit5/Registry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace test {
namespace {

using nuvrusb::KeyUse;
using tkit5::DataType;
using tkit5::DeviceCapability;
using tkit5::Registry;

tkit5::RegisteredTest const & declared(char const * name) {
    tkit5::RegisteredTest const * const found = Registry::instance().findTest(name);
    if (found == nullptr) {
        throw std::runtime_error(name);
    }
    return *found;
}

std::vector<std::string> namesOf(std::vector<tkit5::RegisteredParameter const *> const & parameters) {
    std::vector<std::string> names;
    std::ranges::transform(parameters, std::back_inserter(names), [](auto const * one) { return one->name; });
    return names;
}

TEST(Catalogue, DeclaresItsThreeTestsInOrder) {
    std::vector<std::string> names;
    for (auto const & one : Registry::instance().tests) {
        names.push_back(one->name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"StatusTest", "USBConnectionSpeedVerificationTest",
                                               "USBStoragePerformanceTest"}));
}

TEST(Catalogue, StatusTestTakesUsbDevicesOnAParentPortButNotVendor2034) {
    tkit5::RegisteredTest const & test = declared("StatusTest");
    EXPECT_EQ(test.required, DeviceCapability::USB());
    EXPECT_EQ(test.optionalCapabilities, DeviceCapability::USB() | DeviceCapability::USB2() |
                                             DeviceCapability::USBComposite() | DeviceCapability::USBController());
    ASSERT_EQ(test.requirements.size(), 1U);
    EXPECT_EQ(test.requirements[0].name, "ParentPort");
    EXPECT_EQ(test.requirements[0].value, "");
    ASSERT_EQ(test.exclusions.size(), 1U);
    EXPECT_EQ(test.exclusions[0].name, "DeviceVendorID");
    EXPECT_EQ(test.exclusions[0].value, "2034");
    EXPECT_FALSE(test.supportsParallelTesting.has_value());
    EXPECT_FALSE(test.destructive);
}

TEST(Catalogue, ConnectionSpeedTestTakesThePortsOfThePc) {
    tkit5::RegisteredTest const & test = declared("USBConnectionSpeedVerificationTest");
    EXPECT_EQ(test.required, DeviceCapability::USBPorts());
    EXPECT_EQ(test.optionalCapabilities, DeviceCapability());
    EXPECT_TRUE(test.requirements.empty());
    EXPECT_TRUE(test.exclusions.empty());
    EXPECT_FALSE(test.supportsParallelTesting.has_value());
    EXPECT_FALSE(test.destructive);
}

TEST(Catalogue, StorageTestIsDestructiveNeverParallelAndKeepsOffTheSystemsDrives) {
    tkit5::RegisteredTest const & test = declared("USBStoragePerformanceTest");
    EXPECT_EQ(test.required, DeviceCapability::USBMassStorage());
    EXPECT_TRUE(test.requirements.empty());
    std::vector<std::string> excluded;
    for (tkit5::PropertyFilter const & filter : test.exclusions) {
        excluded.push_back(filter.name);
        EXPECT_EQ(filter.value, "");
    }
    EXPECT_EQ(excluded, (std::vector<std::string>{"IsApplicationDrive", "IsSystemDrive", "IsNUVMUD"}));
    EXPECT_EQ(test.supportsParallelTesting, std::optional(false));
    EXPECT_TRUE(test.destructive);
}

TEST(Catalogue, DeclaresItsParametersInOrderWithTypesAndWithoutDefaults) {
    struct Row {
        char const * name;
        DataType type;
    };
    std::vector<Row> const rows{{"desiredVerificationSpeed", DataType::STRING},
                                {"ignore1xdevices", DataType::UINT32},
                                {"PerformReadPerformance", DataType::BOOLEAN},
                                {"PerformWritePerformance", DataType::BOOLEAN},
                                {"MaxErrors", DataType::UINT32},
                                {"USB10ReadThresholdPercent", DataType::PERCENT},
                                {"USB11ReadThresholdPercent", DataType::PERCENT},
                                {"USB20ReadThresholdPercent", DataType::PERCENT},
                                {"USB30ReadThresholdPercent", DataType::PERCENT},
                                {"USB31ReadThresholdPercent", DataType::PERCENT},
                                {"USB10WriteThresholdPercent", DataType::PERCENT},
                                {"USB11WriteThresholdPercent", DataType::PERCENT},
                                {"USB20WriteThresholdPercent", DataType::PERCENT},
                                {"USB30WriteThresholdPercent", DataType::PERCENT},
                                {"USB31WriteThresholdPercent", DataType::PERCENT},
                                {"MaxTestRunTime", DataType::UINT32},
                                {"PreserveAndRestoreData", DataType::BOOLEAN},
                                {"PromptEnable", DataType::BOOLEAN},
                                {"ContinueOnConnectionSpeedFailure", DataType::BOOLEAN},
                                {"PromptUserForMedia", DataType::BOOLEAN},
                                {"MaxRetries", DataType::UINT32}};
    auto const & parameters = Registry::instance().parameters;
    ASSERT_EQ(parameters.size(), rows.size());
    for (std::size_t index = 0; index < rows.size(); ++index) {
        EXPECT_EQ(parameters[index]->name, rows[index].name);
        EXPECT_EQ(parameters[index]->type, rows[index].type) << rows[index].name;
        EXPECT_EQ(parameters[index]->defaultValue, "") << rows[index].name;
        EXPECT_FALSE(parameters[index]->hidden) << rows[index].name;
        EXPECT_TRUE(parameters[index]->optional) << rows[index].name;
        EXPECT_FALSE(parameters[index]->isset()) << rows[index].name;
    }
}

TEST(Catalogue, ModuleInitAttachesParametersInOrderAndPreparesTheDriveChecks) {
    ASSERT_TRUE(declared("USBStoragePerformanceTest").parameters.empty());
    ASSERT_FALSE(libDriveChecks::initialised());
    nuvrusb::moduleInit();
    EXPECT_TRUE(libDriveChecks::initialised());
    EXPECT_TRUE(declared("StatusTest").parameters.empty());
    EXPECT_EQ(namesOf(declared("USBConnectionSpeedVerificationTest").parameters),
              (std::vector<std::string>{"desiredVerificationSpeed", "ignore1xdevices"}));
    EXPECT_EQ(namesOf(declared("USBStoragePerformanceTest").parameters),
              (std::vector<std::string>{"desiredVerificationSpeed",
                                        "PerformWritePerformance",
                                        "PerformReadPerformance",
                                        "MaxErrors",
                                        "USB10ReadThresholdPercent",
                                        "USB11ReadThresholdPercent",
                                        "USB20ReadThresholdPercent",
                                        "USB30ReadThresholdPercent",
                                        "USB31ReadThresholdPercent",
                                        "USB10WriteThresholdPercent",
                                        "USB11WriteThresholdPercent",
                                        "USB20WriteThresholdPercent",
                                        "USB30WriteThresholdPercent",
                                        "USB31WriteThresholdPercent",
                                        "PreserveAndRestoreData",
                                        "ContinueOnConnectionSpeedFailure",
                                        "PromptEnable",
                                        "MaxTestRunTime",
                                        "PromptUserForMedia",
                                        "MaxRetries"}));
}

TEST(Catalogue, RegistersAllSixtyFourKeysBeforeMain) {
    Registry const & registry = Registry::instance();
    EXPECT_EQ(registry.events.size() + registry.texts.size(), 64U);
    EXPECT_EQ(nuvrusb::keyCatalogue().size(), 64U);
    std::set<std::string> registered;
    for (auto const & event : registry.events) {
        registered.insert(event->key);
    }
    for (auto const & text : registry.texts) {
        registered.insert(text->key);
    }
    for (nuvrusb::CatalogueEntry const & entry : nuvrusb::keyCatalogue()) {
        EXPECT_EQ(registered.count(entry.key), 1U) << entry.key;
    }
}

TEST(Catalogue, EveryKeyHasItsUseAndVariables) {
    struct Row {
        char const * key;
        KeyUse use;
        std::vector<std::string> variables;
    };
    std::vector<Row> const rows{
        {"READ_PERFORMANCE_NOT_OPTIMAL", KeyUse::Error, {"performanceSpeed", "ThresholdSpeed"}},
        {"WRITE_PERFORMANCE_NOT_OPTIMAL", KeyUse::Error, {"performanceSpeed", "ThresholdSpeed"}},
        {"DEVICE_SPEED_NOT_CONFIGURED", KeyUse::Warning, {"DeviceName"}},
        {"DEVICE_NOT_INITIALIZED", KeyUse::Warning, {}},
        {"CANNOT_GET_SECTOR_SIZE", KeyUse::Warning, {}},
        {"CANNOT_GET_TOTAL_SECTORS", KeyUse::Warning, {}},
        {"CANNOT_OPEN_ACCESS_DENIED", KeyUse::Warning, {}},
        {"MAX_ERROR_REACHED", KeyUse::Error, {"MaxError"}},
        {"DEVICE_IS_BUSY", KeyUse::Warning, {}},
        {"INVALID_HW_LOCATOR", KeyUse::Warning, {}},
        {"INVALID_PARAMETER_RANGE", KeyUse::Warning, {"minRange", "maxRange"}},
        {"FAILED_BACKUP", KeyUse::Warning, {}},
        {"CANNOT_RESTORE_DATA", KeyUse::Warning, {"TestSector", "EndSector"}},
        {"READ_SECTOR_ERROR", KeyUse::Warning, {"ReadSector"}},
        {"WRITE_SECTOR_ERROR", KeyUse::Warning, {"WriteSector"}},
        {"PEAK_READ_PERFORMANCE", KeyUse::Informative, {"PeakReadPerformance"}},
        {"PEAK_WRITE_PERFORMANCE", KeyUse::Informative, {"PeakWritePerformance"}},
        {"AVERAGE_READ_PERFORMANCE", KeyUse::Informative, {"AverageReadPerformance"}},
        {"AVERAGE_WRITE_PERFORMANCE", KeyUse::Informative, {"AverageWritePerformance"}},
        {"MEDIA_SIZE_TOO_SMALL", KeyUse::Warning, {"mediaSize"}},
        {"NO_MEDIA_PRESENT", KeyUse::Warning, {}},
        {"BIT_LOCKER_DRIVE_ENCRYPTION_ERROR", KeyUse::Warning, {}},
        {"PARAMETER_VALUE_INVALID", KeyUse::Warning, {"parameterName", "currentValue", "startRange", "endRange"}},
        {"LARGE_CHUNKS_OF_DATA_READ_FAILED", KeyUse::Warning, {}},
        {"EncryptedDriveDetected", KeyUse::Warning, {}},
        {"InvalidDeviceHandle", KeyUse::Warning, {}},
        {"TESTING_COULD_NOT_BE_PERFORMED", KeyUse::Warning, {}},
        {"OPERATIONS_TURNED_OFF", KeyUse::Warning, {}},
        {"harddrivePasswordProtected", KeyUse::Warning, {}},
        {"OPERATION_READ", KeyUse::NeverShownText, {}},
        {"OPERATION_WRITE", KeyUse::NeverShownText, {}},
        {"CURRENT_READ_PERFORMANCE", KeyUse::Text, {"CurrentReadPerformance"}},
        {"CURRENT_WRITE_PERFORMANCE", KeyUse::Text, {"CurrentWritePerformance"}},
        {"PERFORMANCE_READ_PROGRESS", KeyUse::Text, {}},
        {"PERFORMANCE_WRITE_PROGRESS", KeyUse::Text, {}},
        {"MEDIA_REQUIRED_TITLE", KeyUse::Text, {}},
        {"MEDIA_REQUIRED_SIMPLE", KeyUse::Text, {"MediaName"}},
        {"MEDIA_TYPE_FLASH_MEMORY_CARD", KeyUse::Text, {}},
        {"DATA_WILL_BE_LOST_TITLE", KeyUse::Text, {}},
        {"DATA_WILL_BE_LOST_MESSAGE", KeyUse::Text, {"mediaName"}},
        {"FAILED_BACKUP_TITLE", KeyUse::Text, {}},
        {"FAILED_BACKUP_MESSAGE", KeyUse::Text, {"mediaName"}},
        {"CAPABLE_OF_RUNNING_AT_HIGHER_SPEED",
         KeyUse::Error,
         {"DeviceName", "ControllerName", "OperatingSpeed", "HigherSpeed"}},
        {"NewDeviceNotEnoughPower", KeyUse::Warning, {"ControllerName"}},
        {"NewDeviceCausedOvercurrent", KeyUse::Warning, {"ControllerName"}},
        {"UNEXPECTED_SPEED_DETECTED", KeyUse::NeverRaisedEvent, {}},
        {"NO_DEVICE_CONNECTED", KeyUse::NeverRaisedEvent, {}},
        {"UNKNOWN_SPEED", KeyUse::Text, {}},
        {"UnknownDevice", KeyUse::Text, {}},
        {"DeviceNotConnected", KeyUse::Warning, {}},
        {"DeviceIsDisabled", KeyUse::NeverRaisedEvent, {}},
        {"ChildDeviceIsDisabled", KeyUse::Warning, {}},
        {"ChildDeviceHasConfigManagerProblem", KeyUse::Error, {}},
        {"CannotGetDeviceProperty", KeyUse::Warning, {}},
        {"InvalidDeviceGuid", KeyUse::Warning, {}},
        {"InvalidDeviceName", KeyUse::Warning, {}},
        {"DeviceIORequestFail", KeyUse::Error, {}},
        {"DeviceFailedEnumeration", KeyUse::Warning, {}},
        {"DeviceGeneralFailure", KeyUse::Warning, {}},
        {"DeviceCausedOvercurrent", KeyUse::Warning, {}},
        {"DeviceNotEnoughPower", KeyUse::Warning, {}},
        {"DeviceEnumerating", KeyUse::Warning, {}},
        {"DeviceResetting", KeyUse::Warning, {}},
        {"DeviceConfigurationError", KeyUse::Warning, {}},
    };
    std::vector<std::string> inCatalogue;
    for (nuvrusb::CatalogueEntry const & entry : nuvrusb::keyCatalogue()) {
        inCatalogue.emplace_back(entry.key);
        auto const row = std::ranges::find(rows, std::string(entry.key), &Row::key);
        ASSERT_NE(row, rows.end()) << entry.key;
        EXPECT_EQ(entry.use, row->use) << entry.key;
        EXPECT_EQ(std::vector<std::string>(entry.variables.begin(), entry.variables.end()), row->variables)
            << entry.key;
    }
    EXPECT_EQ(inCatalogue.size(), rows.size());
}

TEST(Catalogue, KeepsTheFiveKeysThatNobodyRaises) {
    std::set<std::string> unused;
    for (nuvrusb::CatalogueEntry const & entry : nuvrusb::keyCatalogue()) {
        if (entry.use == nuvrusb::KeyUse::NeverRaisedEvent || entry.use == nuvrusb::KeyUse::NeverShownText) {
            unused.insert(entry.key);
        }
    }
    EXPECT_EQ(unused, (std::set<std::string>{"OPERATION_READ", "OPERATION_WRITE", "DeviceIsDisabled",
                                             "UNEXPECTED_SPEED_DETECTED", "NO_DEVICE_CONNECTED"}));
}

// Variables that a text uses, as "{name}".
std::set<std::string> variablesIn(std::string const & text) {
    std::set<std::string> names;
    for (std::size_t open = text.find('{'); open != std::string::npos; open = text.find('{', open + 1)) {
        std::size_t const close = text.find('}', open);
        names.insert(text.substr(open + 1, close == std::string::npos ? close : close - open - 1));
    }
    return names;
}

class CatalogueLanguage : public testing::TestWithParam<std::string> {};

TEST_P(CatalogueLanguage, HasATextWithAllVariablesForEveryKeyAndNoOther) {
    tkit5::Locale const locale = tkit5::Locale::forLanguage(GetParam());
    ASSERT_EQ(locale.language(), GetParam());
    std::set<std::string> known;
    for (nuvrusb::CatalogueEntry const & entry : nuvrusb::keyCatalogue()) {
        known.insert(entry.key);
        auto const text = locale.texts().find(entry.key);
        ASSERT_NE(text, locale.texts().end()) << entry.key;
        EXPECT_FALSE(text->second.empty()) << entry.key;
        std::set<std::string> const wanted(entry.variables.begin(), entry.variables.end());
        EXPECT_EQ(variablesIn(text->second), wanted) << entry.key;
    }
    for (auto const & [key, text] : locale.texts()) {
        EXPECT_EQ(known.count(key), 1U) << key;
    }
}

TEST_P(CatalogueLanguage, NamesTheDeviceOfAnUnratedSpeedOnlyWhereTheReportDoes) {
    tkit5::Locale const locale = tkit5::Locale::forLanguage(GetParam());
    std::string const with = locale.resolve("DEVICE_SPEED_NOT_CONFIGURED", {{"DeviceName", tkit5::Value("Stick")}});
    std::string const without = locale.resolve("DEVICE_SPEED_NOT_CONFIGURED", {});
    EXPECT_NE(with.find("Stick"), std::string::npos);
    EXPECT_EQ(without.find_first_of("[]{}"), std::string::npos) << without;
    EXPECT_EQ(with.find_first_of("[]{}"), std::string::npos) << with;
}

INSTANTIATE_TEST_SUITE_P(Every, CatalogueLanguage, testing::ValuesIn(tkit5::Locale::languages()),
                         [](auto const & language) { return language.param; });

TEST(Catalogue, SpeaksEnglishAndGermanAtLeast) {
    std::vector<std::string> const languages = tkit5::Locale::languages();
    EXPECT_EQ(languages.front(), "en");
    EXPECT_EQ(std::ranges::count(languages, "de"), 1);
}

} // namespace
} // namespace test
