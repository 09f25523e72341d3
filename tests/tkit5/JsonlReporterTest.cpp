#include "tkit5/JsonlReporter.h"
#include "ProtocolLines.h"
#include "support/FakeConsole.h"

#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace test {

using namespace tkit5;
using Lines = std::vector<std::string>;

class JsonlReporterTest : public testing::Test {
protected:
    JsonlReporterTest() { DiagModule::setVersion(6, 5, "000000001"); }
    void TearDown() override { keepForSchemaCheck(console_.output()); }

    Lines lines() const { return splitLines(console_.output()); }

    void raise(Severity severity, Variables variables = {}) {
        reporter_.event({.severity = severity,
                         .key = "KEY",
                         .variables = std::move(variables),
                         .text = "Text.",
                         .sourceFile = "a.cpp",
                         .sourceLine = 7});
    }

    FakeConsole console_;
    JsonlReporter reporter_{console_};
    DeviceReport const device_{.identifier = "USB\\VID_0781",
                               .name = "Stick \"fast\"",
                               .description = "USB Mass Storage Device",
                               .osLocator = "\\\\?\\usb#vid_0781",
                               .capabilities = {"USB", "USB2"}};
};

TEST_F(JsonlReporterTest, RunFromItsStartToItsEnd) {
    reporter_.runStarted({.test = "SpeedTest",
                          .machine = "A PC",
                          .isBundledMachine = true,
                          .deviceCount = 1,
                          .parameters = {{"MaxErrors", "3"}}});
    reporter_.testStarted("SpeedTest", device_);
    raise(Severity::Error);
    raise(Severity::Warning);
    raise(Severity::Informative);
    raise(Severity::Informative);
    reporter_.testEnded("SpeedTest", device_, TestResult::FAIL());
    reporter_.runEnded("SpeedTest", TestResult::USERABORTED(), true);

    Lines const written = lines();
    ASSERT_EQ(written.size(), 9U);
    EXPECT_EQ(written[0], R"({"type":"run","seq":1,"program":"nuvrusb","version":"6.5","build":"000000001",)"
                          R"("test":"SpeedTest","machine":"A PC","bundled":true,"parameters":{"MaxErrors":"3"},)"
                          R"("deviceCount":1})");
    EXPECT_EQ(written[1], R"({"type":"device","seq":2,"identifier":"USB\\VID_0781","name":"Stick \"fast\"",)"
                          R"("description":"USB Mass Storage Device","osLocator":"\\\\?\\usb#vid_0781",)"
                          R"("capabilities":["USB","USB2"]})");
    EXPECT_EQ(written[2], R"({"type":"testStart","seq":3,"test":"SpeedTest","device":"USB\\VID_0781"})");
    EXPECT_EQ(written[3], R"({"type":"event","seq":4,"severity":"error","key":"KEY","variables":{},"text":"Text.",)"
                          R"("file":"a.cpp","line":7})");
    EXPECT_EQ(written[7], R"({"type":"result","seq":8,"test":"SpeedTest","device":"USB\\VID_0781","result":"FAIL",)"
                          R"("code":1})");
    EXPECT_EQ(written[8], R"({"type":"runEnd","seq":9,"test":"SpeedTest","result":"USERABORTED","code":8,)"
                          R"("stopped":true,"errors":1,"warnings":1,"informatives":2})");
}

TEST_F(JsonlReporterTest, EmptyListsStayListsAndObjects) {
    DeviceReport device = device_;
    device.capabilities.clear();
    reporter_.runStarted({.test = "T", .machine = "", .isBundledMachine = false, .deviceCount = 0, .parameters = {}});
    reporter_.testStarted("T", device);

    EXPECT_NE(lines()[0].find(R"("parameters":{},)"), std::string::npos);
    EXPECT_NE(lines()[1].find(R"("capabilities":[]})"), std::string::npos);
}

TEST_F(JsonlReporterTest, TwoCapabilitiesAreAListAndNoObject) {
    reporter_.testStarted("T", device_);

    EXPECT_NE(lines()[0].find(R"("capabilities":["USB","USB2"]})"), std::string::npos);
}

TEST_F(JsonlReporterTest, VariablesKeepTheirTypesAndTheirOrder) {
    raise(Severity::Error, {{"text", "x"},
                            {"flag", true},
                            {"below", std::int32_t{-2147483647}},
                            {"whole", std::uint32_t{4294967295U}},
                            {"large", std::numeric_limits<std::uint64_t>::max()},
                            {"real", Value(0.5, DataType::DOUBLE)},
                            {"percent", Value(99.5, DataType::PERCENT)}});

    EXPECT_NE(lines()[0].find(R"("variables":{"text":"x","flag":true,"below":-2147483647,"whole":4294967295,)"
                              R"("large":18446744073709551615,"real":0.5,"percent":99.5},)"),
              std::string::npos)
        << lines()[0];
}

TEST_F(JsonlReporterTest, NumberThatIsNotFiniteGoesAsItsText) {
    raise(Severity::Error, {{"rate", Value(std::numeric_limits<double>::infinity(), DataType::DOUBLE)}});

    EXPECT_NE(lines()[0].find(R"("variables":{"rate":"inf"})"), std::string::npos);
}

TEST_F(JsonlReporterTest, EveryKindOfLine) {
    reporter_.progress({.key = "READING", .variables = {{"Rate", "1.00"}}, .text = "Reading at 1.00 MB/s"});
    reporter_.percentDone(50);
    reporter_.messageBoxShown({.id = 3, .title = "T", .message = "M", .options = MessageBox2_Options::OkCancel});
    reporter_.messageBoxClosed(3, MessageBox2_Return::Cancel);
    reporter_.inputError({.line = "x", .message = "The line has to be a JSON object."});
    reporter_.log({.priority = 2, .logger = "nuvrusb", .text = "785 Port"});
    reporter_.trace({.entered = true, .logger = "nuvrusb", .function = "f", .sourceFile = "a.cpp", .sourceLine = 1});

    EXPECT_EQ(
        lines(),
        (Lines{
            R"({"type":"progress","seq":1,"key":"READING","variables":{"Rate":"1.00"},"text":"Reading at 1.00 MB/s"})",
            R"({"type":"percent","seq":2,"percent":50})",
            R"({"type":"messageBox","seq":3,"id":3,"title":"T","message":"M","answers":["ok","cancel"]})",
            R"({"type":"messageBoxClosed","seq":4,"id":3,"answer":"cancel"})",
            R"({"type":"inputError","seq":5,"line":"x","message":"The line has to be a JSON object."})",
            R"({"type":"log","seq":6,"priority":2,"logger":"nuvrusb","text":"785 Port"})",
            R"({"type":"trace","seq":7,"entered":true,"logger":"nuvrusb","function":"f","file":"a.cpp","line":1})"}));
}

TEST_F(JsonlReporterTest, PercentStaysBetween0And100) {
    reporter_.percentDone(-1);
    reporter_.percentDone(101);

    EXPECT_EQ(lines(),
              (Lines{R"({"type":"percent","seq":1,"percent":0})", R"({"type":"percent","seq":2,"percent":100})"}));
}

TEST_F(JsonlReporterTest, TextThatIsNotUtf8IsReplaced) {
    reporter_.log({.priority = 4, .logger = "nuvrusb", .text = "caf\xE9 \xC3\xA9\n"});

    EXPECT_EQ(lines(), (Lines{"{\"type\":\"log\",\"seq\":1,\"priority\":4,\"logger\":\"nuvrusb\",\"text\":"
                              "\"caf\xEF\xBF\xBD \xC3\xA9\\n\"}"}));
}

TEST_F(JsonlReporterTest, EveryVerdictHasItsNameAndCode) {
    reporter_.runEnded("T", TestResult::EXITEDABNORMALLY(), false);
    reporter_.runEnded("T", TestResult::NOMEDIA(), false);

    EXPECT_NE(lines()[0].find(R"("result":"EXITEDABNORMALLY","code":11,"stopped":false)"), std::string::npos);
    EXPECT_NE(lines()[1].find(R"("result":"NOMEDIA","code":4,)"), std::string::npos);
}

TEST_F(JsonlReporterTest, EachLineIsWrittenByItself) {
    reporter_.testStarted("T", device_);

    EXPECT_EQ(console_.writes(), 2U);
}

TEST_F(JsonlReporterTest, LostOutputIsRememberedAndNothingMoreIsTried) {
    console_.loseOutputAfter(1);
    reporter_.percentDone(1);
    EXPECT_FALSE(reporter_.outputLost());
    reporter_.percentDone(2);
    reporter_.percentDone(3);

    EXPECT_TRUE(reporter_.outputLost());
    EXPECT_EQ(console_.writes(), 2U);
    EXPECT_EQ(lines().size(), 1U);
}

} // namespace test
