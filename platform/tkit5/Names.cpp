#include "Names.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fmt/format.h>

namespace tkit5 {

namespace {

struct Verdict {
    char const * name;
    char const * meaning;
};

constexpr std::array<Verdict, 12> verdicts = {{
    {"PASS", "Everything that was tested is in order."},
    {"FAIL", "Something that was tested does not work as it should."},
    {"WARN", "Nothing failed outright, but something needs a look."},
    {"NODEVICE", "There was no device to test, or it could not be found."},
    {"NOMEDIA", "The device holds no medium that could be tested."},
    {"BADPARAMS", "A parameter has a value that cannot be used. Correct it and run the test again."},
    {"CANNOTRUN", "The test could not be carried out, so nothing is known about the device."},
    {"DEVICEBUSY", "Something else was using the device. Close what uses it and run the test again."},
    {"USERABORTED", "The run was stopped or a question was declined, so not everything was tested."},
    {"INTERNALERROR", "The test met something that it cannot judge. This verdict says nothing about the device."},
    {"MISCONFIGURED", "The device or the PC is not set up in a way that the test can work with."},
    {"EXITEDABNORMALLY", "The program ended abnormally. This verdict says nothing about the device."},
}};

Verdict const & verdictOf(TestResult const & result) {
    return verdicts[static_cast<std::size_t>(result.value())];
}

constexpr std::array<MessageBox2_Return, 2> okCancel = {MessageBox2_Return::Ok, MessageBox2_Return::Cancel};
constexpr std::array<MessageBox2_Return, 2> yesNo = {MessageBox2_Return::Yes, MessageBox2_Return::No};

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

std::string lowerWord(std::string_view word) {
    while (!word.empty() && isBlank(word.front())) {
        word.remove_prefix(1);
    }
    while (!word.empty() && isBlank(word.back())) {
        word.remove_suffix(1);
    }
    std::string lower(word);
    std::ranges::transform(lower, lower.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

} // namespace

std::string versionText() {
    Registry const & registry = Registry::instance();
    return fmt::format("{}.{}", registry.versionMajor, registry.versionMinor);
}

char const * resultName(TestResult const & result) {
    return verdictOf(result).name;
}
char const * resultMeaning(TestResult const & result) {
    return verdictOf(result).meaning;
}

char const * severityName(Severity severity) {
    switch (severity) {
    case Severity::Error:
        return "error";
    case Severity::Warning:
        return "warning";
    case Severity::Informative:
        break;
    }
    return "informative";
}

char const * dataTypeName(DataType type) {
    switch (type) {
    case DataType::STRING:
        break;
    case DataType::BOOLEAN:
        return "BOOLEAN";
    case DataType::INT32:
        return "INT32";
    case DataType::UINT32:
        return "UINT32";
    case DataType::UINT64:
        return "UINT64";
    case DataType::DOUBLE:
        return "DOUBLE";
    case DataType::PERCENT:
        return "PERCENT";
    }
    return "STRING";
}

std::span<NamedCapability const> namedCapabilities() {
    static std::array<NamedCapability, 8> const table = {{
        {"USB", DeviceCapability::USB()},
        {"USB2", DeviceCapability::USB2()},
        {"USBComposite", DeviceCapability::USBComposite()},
        {"USBController", DeviceCapability::USBController()},
        {"USBPorts", DeviceCapability::USBPorts()},
        {"USBMassStorage", DeviceCapability::USBMassStorage()},
        {"HUB", DeviceCapability::HUB()},
        {"ATA", DeviceCapability::ATA()},
    }};
    return table;
}

std::vector<std::string> capabilityNames(DeviceCapability set) {
    std::vector<std::string> names;
    for (NamedCapability const & named : namedCapabilities()) {
        if (set.contains(named.capability)) {
            names.emplace_back(named.name);
        }
    }
    return names;
}

std::vector<std::string> capabilityNames(DiagDevice const & device) {
    std::vector<std::string> names;
    for (NamedCapability const & named : namedCapabilities()) {
        if (device.hasCapability(named.capability)) {
            names.emplace_back(named.name);
        }
    }
    return names;
}

char const * answerName(MessageBox2_Return answer) {
    switch (answer) {
    case MessageBox2_Return::None:
        break;
    case MessageBox2_Return::Ok:
        return "ok";
    case MessageBox2_Return::Yes:
        return "yes";
    case MessageBox2_Return::No:
        return "no";
    case MessageBox2_Return::Retry:
        return "retry";
    case MessageBox2_Return::Cancel:
        return "cancel";
    case MessageBox2_Return::Abort:
        return "abort";
    case MessageBox2_Return::NotShown:
        return "notShown";
    }
    return "none";
}

std::span<MessageBox2_Return const> answersOffered(MessageBox2_Options options) {
    return options == MessageBox2_Options::YesNo ? yesNo : okCancel;
}

MessageBox2_Return answerFromWord(std::string_view word, MessageBox2_Options options) {
    std::string const lower = lowerWord(word);
    for (MessageBox2_Return const answer : answersOffered(options)) {
        std::string_view const name = answerName(answer);
        if (lower == name || lower == name.substr(0, 1)) {
            return answer;
        }
    }
    return MessageBox2_Return::None;
}

} // namespace tkit5
