#pragma once

#include "DiagDevice.h"
#include "MessageBox2.h"
#include "TestResult.h"
#include "Value.h"

#include <cstddef>
#include <memory>

namespace tkit5 {

// A key of the catalogue that can be raised as an event. Variables stay set until they are set again.
class Event {
public:
    Event(Event const &) = delete;
    Event & operator=(Event const &) = delete;

    Event * setVariable(char const * name, Value const & value); // returns this event

protected:
    Event() = default;
    ~Event() = default;
};

// A key of the catalogue that stands for a text. Variables stay set until they are set again.
class LocalizedString {
public:
    LocalizedString(LocalizedString const &) = delete;
    LocalizedString & operator=(LocalizedString const &) = delete;

    LocalizedString * setVariable(char const * name, Value const & value); // returns this text
    TkitString localizedString() const; // in the language of the run, its variables put in

protected:
    LocalizedString() = default;
    ~LocalizedString() = default;
};

// A parameter that a caller may pass. It does not change during a run.
class Parameter {
public:
    Parameter(Parameter const &) = delete;
    Parameter & operator=(Parameter const &) = delete;

    bool isset() const;          // passed by the caller; a default value does not count
    Value const & value() const; // as passed; a Value() when it is not set
    TkitString key() const;      // its name

protected:
    Parameter() = default;
    ~Parameter() = default;
};

// A test as the framework knows it. Each refining call returns the same test.
class Test {
public:
    Test(Test const &) = delete;
    Test & operator=(Test const &) = delete;

    // Only devices with the property are offered. An empty value asks that it be present and not false, any other that
    // it be equal to that text.
    Test * addDevicePropertyRequirement(TkitString const & name, TkitString const & value);

    // Devices with the property are not offered; the value means the same.
    Test * addDevicePropertyExclusion(TkitString const & name, TkitString const & value);

    // Devices with any of the capabilities are at hand during the test as its optional devices.
    Test * addOptionalDeviceCapabilities(DeviceCapability any);

    Test * setSupportsParallelTesting(bool supported);
    Test * setDestructive(bool destructive); // it overwrites data on its device
    Test * addParameter(Parameter const * parameter);

protected:
    Test() = default;
    ~Test() = default;
};

class DiagModule {
public:
    using TestFunction = TestResult (*)(DiagDevice const & device);

    // Declaring the module: before start(), the create operations during static initialisation. A name that exists
    // already gives the object that there is.
    static Test * createTest(TkitString const & name, DeviceCapability required, TestFunction entry);
    static Parameter * createParameter(TkitString const & name, DataType type, TkitString const & defaultValue,
                                       bool hidden, bool optional);
    static Event * createEvent(TkitString const & key);
    static LocalizedString * createLocalizedString(TkitString const & key);

    // Setting it going, from main.
    static void setCmdLineArgs(int count, char ** arguments); // not copied; UTF-8
    static void setVersion(unsigned major, unsigned minor, TkitString const & build);
    static void setModuleInitCallback(void (*callback)()); // called once inside start(), before any test

    // Does what the command line asks for and returns the exit code of the process. Blocks until all is done. Throws
    // what the tests and the libraries throw, after the output has been ended properly.
    static int start();

    // Reporting, during a test. The source file and the line name the reporting site. None of these ends the test.
    static void error(Event const * event, TkitString const & sourceFile, int sourceLine);
    static void warning(Event const * event, TkitString const & sourceFile, int sourceLine);
    static void informative(Event const * event, TkitString const & sourceFile, int sourceLine);
    static void progress(LocalizedString const * text); // the current progress line
    static void percentDone(int percent);

    // True once somebody asked for a stop: the host, the user, or an output that nobody reads any more.
    static bool checkForStop();

    // A message box, not yet shown; null when none can be made.
    static std::unique_ptr<MessageBox2> createMessageBox2(TkitString const & message, TkitString const & title,
                                                          MessageBox2_Types type, MessageBox2_Options options,
                                                          MessageBox2_Looks looks, bool modal);

    // The optional devices of the running test, the device under test among them.
    static std::size_t optionalDeviceCount();
    static DiagDevice const & optionalDevice(std::size_t index); // index < optionalDeviceCount()
};

} // namespace tkit5
