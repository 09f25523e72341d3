// What the module says about itself before it is set going: its tests, parameters and keys.
#include "Registry.h"
#include "Session.h"
#include "terminal/Process.h"

#include <algorithm>

namespace tkit5 {

namespace {

void setIn(Variables & variables, char const * name, Value const & value) {
    std::string_view const wanted = name == nullptr ? "" : name;
    auto const found = std::ranges::find(variables, wanted, &Variables::value_type::first);
    if (found == variables.end()) {
        variables.emplace_back(wanted, value);
    } else {
        found->second = value;
    }
}

// The object of that key; made when there is none.
template <class T> T * keyed(std::vector<std::unique_ptr<T>> & objects, std::string_view key) {
    auto const found = std::ranges::find_if(objects, [key](auto const & object) { return object->key == key; });
    if (found != objects.end()) {
        return found->get();
    }
    objects.push_back(std::make_unique<T>());
    objects.back()->key = key;
    return objects.back().get();
}

} // namespace

Test * DiagModule::createTest(TkitString const & name, DeviceCapability required, TestFunction entry) {
    Registry & registry = Registry::instance();
    if (RegisteredTest * const known = registry.findTest(name.getUTF8Buffer())) {
        return known;
    }
    auto test = std::make_unique<RegisteredTest>();
    test->name = name.getUTF8Buffer();
    test->required = required;
    test->entry = entry;
    registry.tests.push_back(std::move(test));
    return registry.tests.back().get();
}

Parameter * DiagModule::createParameter(TkitString const & name, DataType type, TkitString const & defaultValue,
                                        bool hidden, bool optional) {
    Registry & registry = Registry::instance();
    if (RegisteredParameter * const known = registry.findParameter(name.getUTF8Buffer())) {
        return known;
    }
    auto parameter = std::make_unique<RegisteredParameter>();
    parameter->name = name.getUTF8Buffer();
    parameter->type = type;
    parameter->defaultValue = defaultValue.getUTF8Buffer();
    parameter->hidden = hidden;
    parameter->optional = optional;
    registry.parameters.push_back(std::move(parameter));
    return registry.parameters.back().get();
}

Event * DiagModule::createEvent(TkitString const & key) {
    return keyed(Registry::instance().events, key.getUTF8Buffer());
}

LocalizedString * DiagModule::createLocalizedString(TkitString const & key) {
    return keyed(Registry::instance().texts, key.getUTF8Buffer());
}

Event * Event::setVariable(char const * name, Value const & value) {
    setIn(registered(*this).variables, name, value);
    return this;
}

LocalizedString * LocalizedString::setVariable(char const * name, Value const & value) {
    setIn(registered(*this).variables, name, value);
    return this;
}

TkitString LocalizedString::localizedString() const {
    RegisteredText const & text = registered(*this);
    Session const * const session = Session::active();
    if (session == nullptr) { // nobody chose a language
        return TkitString(Locale::forLanguage("en").resolve(text.key, text.variables).c_str());
    }
    return TkitString(session->resolve(text).c_str());
}

bool Parameter::isset() const {
    return registered(*this).passed.has_value();
}
Value const & Parameter::value() const {
    static Value const unset;
    std::optional<Value> const & passed = registered(*this).passed;
    return passed ? *passed : unset;
}
TkitString Parameter::key() const {
    return TkitString(registered(*this).name.c_str());
}

Test * Test::addDevicePropertyRequirement(TkitString const & name, TkitString const & value) {
    registered(*this).requirements.push_back({name.getUTF8Buffer(), value.getUTF8Buffer()});
    return this;
}

Test * Test::addDevicePropertyExclusion(TkitString const & name, TkitString const & value) {
    registered(*this).exclusions.push_back({name.getUTF8Buffer(), value.getUTF8Buffer()});
    return this;
}

Test * Test::addOptionalDeviceCapabilities(DeviceCapability any) {
    RegisteredTest & test = registered(*this);
    test.optionalCapabilities = test.optionalCapabilities | any;
    return this;
}

Test * Test::setSupportsParallelTesting(bool supported) {
    registered(*this).supportsParallelTesting = supported;
    return this;
}

Test * Test::setDestructive(bool destructive) {
    registered(*this).destructive = destructive;
    return this;
}

// A parameter that is attached twice is still one parameter.
Test * Test::addParameter(Parameter const * parameter) {
    if (parameter != nullptr) {
        RegisteredTest & test = registered(*this);
        RegisteredParameter const * const added = &registered(*parameter);
        if (std::ranges::find(test.parameters, added) == test.parameters.end()) {
            test.parameters.push_back(added);
        }
    }
    return this;
}

void DiagModule::setCmdLineArgs(int count, char ** arguments) {
    Registry::instance().commandLine = terminal::commandLineArguments(count, arguments);
}

void DiagModule::setVersion(unsigned major, unsigned minor, TkitString const & build) {
    Registry & registry = Registry::instance();
    registry.versionMajor = major;
    registry.versionMinor = minor;
    registry.build = build.getUTF8Buffer();
}

void DiagModule::setModuleInitCallback(void (*callback)()) {
    Registry::instance().moduleInit = callback;
}

} // namespace tkit5
