// How far a test is, as a line for people.
#pragma once

#include "Reporter.h"
#include "machine/Clock.h"

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace tkit5 {

class ProgressLine {
public:
    explicit ProgressLine(machine::Clock const & clock) : clock_(clock) {}

    void begin(); // a test starts: everything before is forgotten
    void setText(ProgressReport const & progress);
    void setPercent(int percent); // brought into 0..100

    // Between the two a question is open. How long somebody thinks it over says nothing about the rest of the test.
    void pause();
    void resume();

    // For a terminal, at most that wide: percentage, text and the time that is left or, when stopping, a word about
    // that. What is too long goes at the expense of the text.
    std::string live(std::size_t width, bool stopping) const;

    // For a log, without a time that nobody can read any more.
    std::string plain() const;

    // True once for every text key in every tenth of the way: the lines that keep a log readable.
    bool takesPlainLine();

private:
    std::string percentText() const;
    std::optional<std::string> timeLeft() const;
    machine::Duration elapsed() const;

    machine::Clock const & clock_;
    machine::Duration started_{};
    machine::Duration pausedFor_{};
    machine::Duration pausedAt_{};
    std::size_t pauses_ = 0;

    std::string key_;
    std::string text_; // printable
    std::optional<int> percent_;
    machine::Duration reachedAfter_{}; // the percentage
    std::set<std::pair<std::string, int>> plainLines_;
};

} // namespace tkit5
