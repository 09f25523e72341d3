#include "TextReporter.h"

#include "Names.h"
#include "TextLayout.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace tkit5 {

namespace {

// "  warning  text": where the text begins.
constexpr std::size_t textColumn = 11;

std::string_view baseName(std::string_view path) {
    std::size_t const slash = path.find_last_of("/\\");
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string site(std::string const & sourceFile, int sourceLine) {
    return fmt::format("{}:{}", baseName(sourceFile), sourceLine);
}

void appendCount(std::string & text, std::size_t count, std::string_view one) {
    if (count != 0) {
        text += fmt::format("{}{} {}{}", text.empty() ? "" : ", ", count, one, count == 1 ? "" : "s");
    }
}

// "y (yes) or n (no)"
std::string waysToAnswer(MessageBox2_Options options) {
    std::string ways;
    for (MessageBox2_Return const answer : answersOffered(options)) {
        std::string_view const name = answerName(answer);
        ways += fmt::format("{}{} ({})", ways.empty() ? "" : " or ", name.front(), name);
    }
    return ways;
}

} // namespace

void TextReporter::runStarted(RunStart const & run) {
    onlyOneDevice_ = run.deviceCount == 1;
    runCounts_ = {};
    std::string text = fmt::format("PC: {}\n", hanging(printable(run.machine), 4));
    if (run.isBundledMachine) {
        text += fmt::format(
            "    {}\n",
            hanging("A PC that comes with this program, since none was named. --machine FILE names one.", 4));
    }
    std::string parameters;
    for (auto const & [name, value] : run.parameters) {
        parameters += fmt::format("{}{}={}", parameters.empty() ? "" : ", ", name, printable(value));
    }
    if (!parameters.empty()) {
        text += fmt::format("Parameters: {}\n", hanging(parameters, 12));
    }
    write(text);
}

void TextReporter::testStarted(std::string const & test, DeviceReport const & device) {
    testCounts_ = {};
    progress_.begin();
    std::string const name = printable(device.name.empty() ? device.identifier : device.name);
    write(fmt::format("\n{}\n", hanging(fmt::format("{} on {}", test, name), 2)));
}

void TextReporter::event(EventReport const & event) {
    testCounts_.count(event.severity);
    runCounts_.count(event.severity);
    switch (event.severity) {
    case Severity::Error:
        writeLabelled(Colour::Red, "error", event.text);
        break;
    case Severity::Warning:
        writeLabelled(Colour::Yellow, "warning", event.text);
        break;
    case Severity::Informative:
        writeLabelled(Colour::None, "notice", event.text);
        break;
    }
    std::string const where = fmt::format("{}, {}", event.key, site(event.sourceFile, event.sourceLine));
    write(fmt::format("{:{}}{}\n", "", textColumn, painted(Colour::Faint, printable(where))));
}

void TextReporter::progress(ProgressReport const & progress) {
    progress_.setText(progress);
    showProgress();
}

void TextReporter::percentDone(int percent) {
    progress_.setPercent(percent);
    showProgress();
}

void TextReporter::messageBoxShown(MessageBoxReport const & box) {
    progress_.pause();
    writeLabelled(Colour::Yellow, "question", box.title);
    writeLabelled(Colour::None, "", box.message);
    writeLabelled(Colour::None, "", fmt::format("Answer {}.", waysToAnswer(box.options)));
}

void TextReporter::messageBoxClosed(std::uint32_t, MessageBox2_Return answer) {
    progress_.resume();
    writeLabelled(Colour::None, "answer", answerName(answer));
}

void TextReporter::inputError(InputErrorReport const & input) {
    writeLabelled(Colour::None, "input", fmt::format("\"{}\" was not understood. {}", input.line, input.message));
}

void TextReporter::log(LogReport const & line) {
    writeLabelled(Colour::Faint, fmt::format("log {}", line.priority), fmt::format("{} {}", line.logger, line.text));
}

void TextReporter::trace(TraceReport const & line) {
    writeLabelled(Colour::Faint, "trace",
                  fmt::format("{} {} {} {}", line.logger, line.entered ? "enter" : "leave", line.function,
                              site(line.sourceFile, line.sourceLine)));
}

void TextReporter::testEnded(std::string const &, DeviceReport const &, TestResult const & result) {
    if (!onlyOneDevice_) { // else the result of the run says the same
        write(fmt::format("  {:<{}}{}\n", "result", textColumn - 2, resultText(result, testCounts_)));
    }
}

void TextReporter::runEnded(std::string const &, TestResult const & result, bool stopped) {
    std::string text = fmt::format("\nResult: {}\n", resultText(result, runCounts_));
    text += fmt::format("{}\n", hanging(resultMeaning(result), 0));
    if (stopped) {
        text += "The run was stopped before the end.\n";
    }
    write(text);
}

TextReporter::Colour TextReporter::colourOf(TestResult const & result) {
    if (result == TestResult::PASS()) {
        return Colour::Green;
    }
    bool const isFault = result == TestResult::FAIL() || result == TestResult::INTERNALERROR() ||
                         result == TestResult::EXITEDABNORMALLY() || result == TestResult::BADPARAMS();
    return isFault ? Colour::Red : Colour::Yellow;
}

std::string TextReporter::painted(Colour colour, std::string_view text) const {
    char const * code = nullptr;
    switch (colour) {
    case Colour::None:
        break;
    case Colour::Red:
        code = "31";
        break;
    case Colour::Yellow:
        code = "33";
        break;
    case Colour::Green:
        code = "32";
        break;
    case Colour::Faint:
        code = "2";
        break;
    }
    return colour_ && code != nullptr ? fmt::format("\x1b[{}m{}\x1b[0m", code, text) : std::string(text);
}

std::string TextReporter::resultText(TestResult const & result, EventCounts const & counts) const {
    std::string counted;
    appendCount(counted, counts.errors, "error");
    appendCount(counted, counts.warnings, "warning");
    appendCount(counted, counts.informatives, "notice");
    std::string const name = painted(colourOf(result), resultName(result));
    return counted.empty() ? name : fmt::format("{} ({})", name, counted);
}

void TextReporter::write(std::string_view text) {
    if (lost_) {
        return;
    }
    std::string const erase = shownProgress_.empty() ? "" : "\r\x1b[K";
    shownProgress_.clear();
    lost_ = !console_.write(erase + std::string(text));
}

void TextReporter::writeLabelled(Colour colour, std::string_view label, std::string_view text) {
    std::string const padding(textColumn - 2 - label.size(), ' ');
    write(fmt::format("  {}{}{}\n", painted(colour, label), padding, hanging(printable(text), textColumn)));
}

std::string TextReporter::hanging(std::string_view text, std::size_t indent) const {
    std::size_t const width = live_ ? std::max<std::size_t>(console_.width(), indent + 20) - indent : 0;
    std::string result;
    for (std::string const & line : wrapped(text, width)) {
        result += result.empty() ? line : fmt::format("\n{:{}}{}", "", indent, line);
    }
    return result;
}

void TextReporter::showProgress() {
    if (!live_) {
        if (progress_.takesPlainLine()) {
            write(fmt::format("  progress {}\n", progress_.plain()));
        }
        return;
    }
    // One column stays free: a full line makes some terminals go to the next one.
    std::size_t const room = std::max(console_.width(), 4U) - 3;
    std::string line = fmt::format("  {}", progress_.live(room, console_.stopRequested()));
    if (line != shownProgress_) {
        write(line);
        shownProgress_ = std::move(line);
    }
}

} // namespace tkit5
