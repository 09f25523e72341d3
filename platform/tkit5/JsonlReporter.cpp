#include "JsonlReporter.h"

#include "Names.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

namespace tkit5 {

namespace {

using Json = nlohmann::ordered_json;

template <class T> T readNumber(TkitString const & text) {
    std::string_view const digits = text.getUTF8Buffer();
    T number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

// JSON has no number that is not finite: such a value goes as its text.
Json jsonNumber(Value const & value) {
    double const number = value.valuePercent();
    return std::isfinite(number) ? Json(number) : Json(value.valueString().getUTF8Buffer());
}

Json jsonValue(Value const & value) {
    switch (value.type()) {
    case DataType::STRING:
        break;
    case DataType::BOOLEAN:
        return value.valueBool();
    case DataType::INT32:
        return readNumber<std::int32_t>(value.valueString());
    case DataType::UINT32:
    case DataType::UINT64:
        return readNumber<std::uint64_t>(value.valueString());
    case DataType::DOUBLE:
    case DataType::PERCENT:
        return jsonNumber(value);
    }
    return value.valueString().getUTF8Buffer();
}

Json jsonVariables(Variables const & variables) {
    Json object = Json::object();
    for (auto const & [name, value] : variables) {
        object[name] = jsonValue(value);
    }
    return object;
}

} // namespace

void JsonlReporter::runStarted(RunStart const & run) {
    counts_ = {};
    Json parameters = Json::object();
    for (auto const & [name, value] : run.parameters) {
        parameters[name] = value;
    }
    lines_.write("run", {{"program", programName},
                         {"version", versionText()},
                         {"build", Registry::instance().build},
                         {"test", run.test},
                         {"machine", run.machine},
                         {"bundled", run.isBundledMachine},
                         {"parameters", parameters},
                         {"deviceCount", run.deviceCount}});
}

void JsonlReporter::testStarted(std::string const & test, DeviceReport const & device) {
    lines_.write("device", {{"identifier", device.identifier},
                            {"name", device.name},
                            {"description", device.description},
                            {"osLocator", device.osLocator},
                            {"capabilities", Json(device.capabilities)}});
    lines_.write("testStart", {{"test", test}, {"device", device.identifier}});
}

void JsonlReporter::event(EventReport const & event) {
    counts_.count(event.severity);
    lines_.write("event", {{"severity", severityName(event.severity)},
                           {"key", event.key},
                           {"variables", jsonVariables(event.variables)},
                           {"text", event.text},
                           {"file", event.sourceFile},
                           {"line", event.sourceLine}});
}

void JsonlReporter::progress(ProgressReport const & progress) {
    lines_.write("progress",
                 {{"key", progress.key}, {"variables", jsonVariables(progress.variables)}, {"text", progress.text}});
}

void JsonlReporter::percentDone(int percent) {
    lines_.write("percent", {{"percent", std::clamp(percent, 0, 100)}});
}

void JsonlReporter::messageBoxShown(MessageBoxReport const & box) {
    Json answers = Json::array();
    for (MessageBox2_Return const answer : answersOffered(box.options)) {
        answers.push_back(answerName(answer));
    }
    lines_.write("messageBox", {{"id", box.id}, {"title", box.title}, {"message", box.message}, {"answers", answers}});
}

void JsonlReporter::messageBoxClosed(std::uint32_t id, MessageBox2_Return answer) {
    lines_.write("messageBoxClosed", {{"id", id}, {"answer", answerName(answer)}});
}

void JsonlReporter::inputError(InputErrorReport const & input) {
    lines_.write("inputError", {{"line", input.line}, {"message", input.message}});
}

void JsonlReporter::log(LogReport const & line) {
    lines_.write("log", {{"priority", line.priority}, {"logger", line.logger}, {"text", line.text}});
}

void JsonlReporter::trace(TraceReport const & line) {
    lines_.write("trace", {{"entered", line.entered},
                           {"logger", line.logger},
                           {"function", line.function},
                           {"file", line.sourceFile},
                           {"line", line.sourceLine}});
}

void JsonlReporter::testEnded(std::string const & test, DeviceReport const & device, TestResult const & result) {
    lines_.write(
        "result",
        {{"test", test}, {"device", device.identifier}, {"result", resultName(result)}, {"code", result.value()}});
}

void JsonlReporter::runEnded(std::string const & test, TestResult const & result, bool stopped) {
    lines_.write("runEnd", {{"test", test},
                            {"result", resultName(result)},
                            {"code", result.value()},
                            {"stopped", stopped},
                            {"errors", counts_.errors},
                            {"warnings", counts_.warnings},
                            {"informatives", counts_.informatives}});
}

} // namespace tkit5
