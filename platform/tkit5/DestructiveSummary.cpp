#include "DestructiveSummary.h"

#include "DiskSize.h"
#include "TextLayout.h"
#include "nuv.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <string_view>

namespace tkit5 {

namespace {

// A boolean parameter by its name, and whether it is true. One that was not passed is false.
struct Setting {
    char const * parameter = nullptr; // null: says nothing
    bool isTrue = false;
};

struct FateRule {
    std::array<Setting, 2> settings;       // of parameters that the test declares, all of them
    std::optional<bool> questionsDeclined; // empty: either way
    DataFate fate;
};

std::vector<FateRule> const & fateRules() {
    static std::vector<FateRule> const rules{
        {.settings = {{{"PerformWritePerformance", false}}},
         .questionsDeclined = {},
         .fate = {.isOverwritten = false,
                  .isWarning = false,
                  .note = "PerformWritePerformance is not true, so the test only reads: nothing is overwritten."}},
        {.settings = {{{"PreserveAndRestoreData", true}, {"PromptEnable", false}}},
         .questionsDeclined = {},
         .fate = {.isOverwritten = true,
                  .isWarning = true,
                  .note = "PreserveAndRestoreData is set without PromptEnable, so nothing is preserved: what is "
                          "overwritten is lost. Set PromptEnable=true to have it backed up and put back."}},
        {.settings = {{{"PreserveAndRestoreData", false}}},
         .questionsDeclined = {},
         .fate = {.isOverwritten = true,
                  .isWarning = true,
                  .note = "The data that is overwritten is lost. Set PreserveAndRestoreData=true and "
                          "PromptEnable=true to have it backed up and put back."}},
        {.settings = {{{"PreserveAndRestoreData", true}, {"PromptEnable", true}}},
         .questionsDeclined = true,
         .fate = {.isOverwritten = true,
                  .isWarning = true,
                  .note = "The test asks before it overwrites anything, and that question will be answered with no. "
                          "--answer yes answers it with yes."}},
        {.settings = {{{"PreserveAndRestoreData", true}, {"PromptEnable", true}}},
         .questionsDeclined = false,
         .fate = {.isOverwritten = true,
                  .isWarning = false,
                  .note = "What is overwritten is backed up and put back, piece by piece. Do not unplug the device "
                          "meanwhile; Ctrl+C stops the test after the piece in hand."}},
    };
    return rules;
}

bool holds(RegisteredTest const & test, Setting const & setting) {
    if (setting.parameter == nullptr) {
        return true;
    }
    auto const declared = std::ranges::find(test.parameters, setting.parameter, &RegisteredParameter::name);
    if (declared == test.parameters.end() || (*declared)->type != DataType::BOOLEAN) {
        return false;
    }
    std::optional<Value> const & passed = (*declared)->passed;
    return (passed && passed->valueBool()) == setting.isTrue;
}

std::string diskText(CatalogDevice const & device) {
    DeviceFacts const & facts = device.facts();
    std::uint64_t const size = sizeOfDisk(facts.osName).bytes;
    std::string const serialNumber = printable(facts.serialNumber.getUTF8String());
    return fmt::format("  {}: {}, {}\n"
                       "    identifier  {}\n"
                       "    OS locator  {}\n",
                       printable(device.displayName()), size != 0 ? sizeText(size) : "size unknown",
                       serialNumber.empty() ? "no serial number" : "serial number " + serialNumber,
                       printable(facts.identifier.getUTF8String()), printable(facts.osName.getUTF8String()));
}

} // namespace

std::string sizeText(std::uint64_t bytes) {
    struct Unit {
        double bytes;
        char const * name;
    };
    static constexpr Unit units[] = {{1e12, "TB"}, {1e9, "GB"}, {1e6, "MB"}, {1e3, "kB"}};
    std::string digits = std::to_string(bytes);
    for (std::size_t at = digits.size(); at > 3; at -= 3) {
        digits.insert(at - 3, ",");
    }
    auto const exact = static_cast<double>(bytes);
    auto const unit = std::ranges::find_if(units, [exact](Unit const & each) { return exact >= each.bytes; });
    return unit == std::end(units) ? fmt::format("{} bytes", digits)
                                   : fmt::format("{:.1f} {} ({} bytes)", exact / unit->bytes, unit->name, digits);
}

DataFate fateOfData(RegisteredTest const & test, bool questionsDeclined) {
    for (FateRule const & rule : fateRules()) {
        bool const fits =
            std::ranges::all_of(rule.settings, [&test](Setting const & each) { return holds(test, each); });
        if (fits && rule.questionsDeclined.value_or(questionsDeclined) == questionsDeclined) {
            return rule.fate;
        }
    }
    return {};
}

std::string destructiveSummary(RegisteredTest const & test, DataFate const & fate,
                               std::vector<CatalogDevice const *> const & devices) {
    std::string text = fmt::format("{}{}:\n", test.name,
                                   fate.isOverwritten ? " overwrites data on" : " can overwrite data. It runs on");
    for (CatalogDevice const * device : devices) {
        text += diskText(*device);
    }
    return text;
}

} // namespace tkit5
