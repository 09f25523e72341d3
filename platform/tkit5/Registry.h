// What the module declared: tests, parameters and keys, in the order of their creation, and the facts that main set.
#pragma once

#include "tkit5.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tkit5 {

using Variables = std::vector<std::pair<std::string, Value>>; // by name, in the order in which they were first set

struct RegisteredParameter final : Parameter {
    std::string name;
    DataType type = DataType::STRING;
    std::string defaultValue;
    bool hidden = false;
    bool optional = true;
    std::optional<Value> passed; // set by the run loop for one run
};

struct PropertyFilter {
    std::string name;
    std::string value;
};

struct RegisteredTest final : Test {
    std::string name;
    DeviceCapability required;
    DiagModule::TestFunction entry = nullptr; // null: declared, but this build does not carry it
    DeviceCapability optionalCapabilities;
    std::vector<PropertyFilter> requirements;
    std::vector<PropertyFilter> exclusions;
    std::optional<bool> supportsParallelTesting; // empty: the module did not say
    bool destructive = false;
    std::vector<RegisteredParameter const *> parameters; // in the order of attachment
};

struct RegisteredEvent final : Event {
    std::string key;
    Variables variables;
};

struct RegisteredText final : LocalizedString {
    std::string key;
    Variables variables;
};

class Registry {
public:
    static Registry & instance(); // exists from the first declaration on, whatever the order of initialisation

    std::vector<std::unique_ptr<RegisteredTest>> tests;
    std::vector<std::unique_ptr<RegisteredParameter>> parameters;
    std::vector<std::unique_ptr<RegisteredEvent>> events;
    std::vector<std::unique_ptr<RegisteredText>> texts;

    std::vector<std::string> commandLine; // without the program's own name
    unsigned versionMajor = 0;
    unsigned versionMinor = 0;
    std::string build;
    void (*moduleInit)() = nullptr;

    RegisteredTest * findTest(std::string_view name) const; // exact; null when there is none
    RegisteredParameter * findParameter(std::string_view name) const;
};

// The registry's side of a handle that the module holds. The framework alone makes these objects, so each is what it
// is taken for here.
inline RegisteredTest & registered(Test & test) {
    return static_cast<RegisteredTest &>(test);
}
inline RegisteredParameter const & registered(Parameter const & parameter) {
    return static_cast<RegisteredParameter const &>(parameter);
}
inline RegisteredEvent & registered(Event & event) {
    return static_cast<RegisteredEvent &>(event);
}
inline RegisteredEvent const & registered(Event const & event) {
    return static_cast<RegisteredEvent const &>(event);
}
inline RegisteredText & registered(LocalizedString & text) {
    return static_cast<RegisteredText &>(text);
}
inline RegisteredText const & registered(LocalizedString const & text) {
    return static_cast<RegisteredText const &>(text);
}

} // namespace tkit5
