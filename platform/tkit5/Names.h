// Words for the framework's values, as people and host programs read them.
#pragma once

#include "Reporter.h"
#include "tkit5.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tkit5 {

inline constexpr char const * programName = "nuvrusb";

// "6.5": the version that the module declared.
std::string versionText();

// One sentence for people: what the verdict of a run means.
char const * resultMeaning(TestResult const & result);

// "STRING", "UINT32" and so on.
char const * dataTypeName(DataType type);

struct NamedCapability {
    char const * name; // "USBMassStorage" for DeviceCapability::USBMassStorage()
    DeviceCapability capability;
};
std::span<NamedCapability const> namedCapabilities();                // every single capability, in a fixed order
std::vector<std::string> capabilityNames(DeviceCapability set);      // of those in the set
std::vector<std::string> capabilityNames(DiagDevice const & device); // of those that the device has

// The word for an answer in the protocol: "yes", "cancel"; "none" before there is one.
char const * answerName(MessageBox2_Return answer);

// What a box with these options can be answered with, in the order in which it is offered.
std::span<MessageBox2_Return const> answersOffered(MessageBox2_Options options);

// The answer that a person or a host means by a word: its name or its first letter, in any letter case, with blanks
// around it. None when the box does not offer it.
MessageBox2_Return answerFromWord(std::string_view word, MessageBox2_Options options);

} // namespace tkit5
