#include "MessageBoxes.h"

#include "HostLines.h"
#include "Names.h"
#include "machine/Machine.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace tkit5 {

using enum MessageBox2_Return;
using terminal::Console;

namespace {

// "yes or no"
std::string offeredWords(MessageBox2_Options options) {
    std::string words;
    for (MessageBox2_Return const answer : answersOffered(options)) {
        words += words.empty() ? "" : " or ";
        words += answerName(answer);
    }
    return words;
}

// A person or a host was waited for in real time; on virtual time the same time has to pass too, or a test that counts
// the time that it waits would wait for ever.
void passVirtualTime(std::chrono::milliseconds waited) {
    machine::Clock & clock = machine::current().clock();
    if (clock.isVirtual()) {
        clock.sleep(waited);
    }
}

MessageBox2_Return asReturn(machine::ScriptedUser::Answer answer) {
    using Answer = machine::ScriptedUser::Answer;
    switch (answer) {
    case Answer::Ok:
        return Ok;
    case Answer::Yes:
        return Yes;
    case Answer::No:
        return No;
    case Answer::Retry:
        return Retry;
    case Answer::Cancel:
        return Cancel;
    case Answer::Abort:
        break;
    }
    return Abort;
}

} // namespace

TkitString MessageBox2::toString(int answer) {
    static constexpr std::array<char const *, 8> names = {"None",  "OK",     "Yes",   "No",
                                                          "Retry", "Cancel", "Abort", "NotShown"};
    if (answer < 0 || static_cast<std::size_t>(answer) >= names.size()) {
        return TkitString(fmt::format("Unknown answer {}", answer).c_str());
    }
    return TkitString(names[static_cast<std::size_t>(answer)]);
}

SessionMessageBox::~SessionMessageBox() {
    if (shown_ && answer_ == None) {
        session_.closeBox(report_.id, None);
    }
}

bool SessionMessageBox::display() {
    if (!shown_) {
        shown_ = true;
        session_.openBox(report_);
    }
    return true;
}

bool SessionMessageBox::wait(unsigned milliseconds) {
    if (answer_ != None) {
        return true;
    }
    display();
    Session::Limit const limit =
        milliseconds == 0 ? Session::Limit() : Session::Limit(std::chrono::milliseconds(milliseconds));
    answer_ = session_.answerTo(report_, limit);
    if (answer_ == None) {
        return false;
    }
    session_.closeBox(report_.id, answer_);
    return true;
}

std::unique_ptr<MessageBox2> Session::createMessageBox(TkitString const & message, TkitString const & title,
                                                       MessageBox2_Options options) {
    ++boxes_;
    return std::make_unique<SessionMessageBox>(
        *this, MessageBoxReport{boxes_, title.getUTF8Buffer(), message.getUTF8Buffer(), options});
}

void Session::openBox(MessageBoxReport const & box) {
    openBoxes_.push_back({box});
    setup_.reporter.messageBoxShown(box);
}

void Session::closeBox(std::uint32_t id, MessageBox2_Return answer) {
    std::erase_if(openBoxes_, [id](OpenBox const & box) { return box.report.id == id; });
    setup_.reporter.messageBoxClosed(id, answer);
}

MessageBox2_Return Session::answerTo(MessageBoxReport const & box, Limit limit) {
    if (lookForStop()) {
        return Cancel;
    }
    bool const isYesNo = box.options == MessageBox2_Options::YesNo;
    switch (setup_.answering) {
    case Answering::Script:
        return scriptedAnswer();
    case Answering::Yes:
        return isYesNo ? Yes : Ok;
    case Answering::No:
        return isYesNo ? No : Cancel;
    case Answering::Person:
        if (!setup_.hostSpeaks) {
            return personsAnswer(box, limit);
        }
        break;
    case Answering::Host:
        break;
    }
    return hostsAnswer(box, limit);
}

// As it is written, whether or not the box offers it: a description can also say what a test makes of an odd answer.
MessageBox2_Return Session::scriptedAnswer() {
    if (!setup_.user || answersUsed_ >= setup_.user->answers.size()) {
        return Cancel;
    }
    return asReturn(setup_.user->answers[answersUsed_++]);
}

MessageBox2_Return Session::personsAnswer(MessageBoxReport const & box, Limit limit) {
    std::string line;
    for (;;) {
        switch (setup_.console.readLine(line, limit)) {
        case Console::Input::Ended:
            inputEnded_ = true;
            return Cancel;
        case Console::Input::Nothing:
            if (lookForStop()) {
                return Cancel;
            }
            if (limit) {
                passVirtualTime(*limit);
                return None;
            }
            break;
        case Console::Input::Line:
            if (MessageBox2_Return const answer = answerFromWord(line, box.options); answer != None) {
                return answer;
            }
            setup_.reporter.inputError({line, fmt::format("Please answer {}.", offeredWords(box.options))});
            break;
        }
    }
}

MessageBox2_Return Session::hostsAnswer(MessageBoxReport const & box, Limit limit) {
    for (;;) {
        auto const open = std::ranges::find(openBoxes_, box.id, [](OpenBox const & each) { return each.report.id; });
        if (open->hostAnswer != None) {
            return open->hostAnswer;
        }
        if (stopped_) {
            return Cancel;
        }
        switch (takeHostLine(limit)) {
        case Console::Input::Ended:
            return Cancel;
        case Console::Input::Nothing:
            if (lookForStop()) {
                return Cancel;
            }
            if (limit) {
                passVirtualTime(*limit);
                return None;
            }
            break;
        case Console::Input::Line:
            break;
        }
    }
}

Console::Input Session::takeHostLine(Limit limit) {
    if (inputEnded_) {
        return Console::Input::Ended;
    }
    std::string line;
    Console::Input const input = setup_.console.readLine(line, limit);
    inputEnded_ = input == Console::Input::Ended;
    if (input != Console::Input::Line) {
        return input;
    }
    HostLine const parsed = parseHostLine(line);
    std::string fault;
    if (std::holds_alternative<HostStop>(parsed)) {
        stopped_ = true;
    } else if (auto const * const answer = std::get_if<HostAnswer>(&parsed)) {
        fault = takeHostAnswer(answer->id, answer->answer);
    } else {
        fault = std::get<HostLineFault>(parsed).message;
    }
    if (!fault.empty()) {
        setup_.reporter.inputError({line, fault});
    }
    return input;
}

std::string Session::takeHostAnswer(std::uint32_t id, std::string const & word) {
    auto const open = std::ranges::find(openBoxes_, id, [](OpenBox const & each) { return each.report.id; });
    if (open == openBoxes_.end() || open->hostAnswer != None) {
        return fmt::format("No message box {} waits for an answer.", id);
    }
    auto const offered = answersOffered(open->report.options);
    auto const answer = std::ranges::find_if(offered, [&word](auto each) { return answerName(each) == word; });
    if (answer == offered.end()) {
        return fmt::format("Message box {} can be answered {}.", id, offeredWords(open->report.options));
    }
    open->hostAnswer = *answer;
    return {};
}

} // namespace tkit5
