// A console in memory: scripted input, captured output.
#pragma once

#include "terminal/Console.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test {

class FakeConsole final : public terminal::Console {
public:
    struct Pause {}; // in the input: nothing arrives within the time waited

    // Input arrives in this order; then it ends, unless keepOpen was called.
    FakeConsole & type(std::string line) {
        input_.emplace_back(std::move(line));
        return *this;
    }
    FakeConsole & type(Pause) {
        input_.emplace_back();
        return *this;
    }
    void keepOpen() { endsInput_ = false; }

    void beTerminal(unsigned columns = 80) {
        isTerminal_ = true;
        columns_ = columns;
    }
    void requestStop() { stop_ = true; }
    void stopAfterPolls(std::size_t polls) { pollsLeft_ = polls; }
    void stopWhenRead() { stopsWhenRead_ = true; } // Ctrl+C once somebody waits for input
    void loseOutputAfter(std::size_t writes) { writesLeft_ = writes; }

    std::string const & output() const { return output_; }
    std::string const & errors() const { return errors_; }
    std::size_t writes() const { return writes_; }
    std::size_t inputLeft() const { return input_.size(); }
    std::vector<std::optional<std::chrono::milliseconds>> const & limits() const { return limits_; } // of each read

    bool write(std::string_view text) override {
        ++writes_;
        if (writesLeft_ && (*writesLeft_)-- == 0) {
            writesLeft_ = 0;
            return false;
        }
        output_ += text;
        return true;
    }
    void writeError(std::string_view text) override { errors_ += text; }
    bool outputIsTerminal() const override { return isTerminal_; }
    bool inputIsTerminal() const override { return isTerminal_; }
    unsigned width() const override { return columns_; }
    bool stopRequested() const override {
        bool const isOver = pollsLeft_ == std::size_t{0};
        if (pollsLeft_ && !isOver) {
            --*pollsLeft_;
        }
        return stop_ || isOver;
    }

    Input readLine(std::string & line, std::optional<std::chrono::milliseconds> limit) override {
        limits_.push_back(limit);
        stop_ = stop_ || stopsWhenRead_;
        if (stop_) {
            return Input::Nothing;
        }
        if (!input_.empty()) {
            std::optional<std::string> const next = std::move(input_.front());
            input_.pop_front();
            line = next.value_or("");
            return next ? Input::Line : Input::Nothing;
        }
        if (endsInput_) {
            return Input::Ended;
        }
        // Whoever waits here without a limit would wait for ever: the user gives up.
        stop_ = !limit;
        return Input::Nothing;
    }

private:
    std::deque<std::optional<std::string>> input_; // empty: a pause
    bool endsInput_ = true;
    bool isTerminal_ = false;
    unsigned columns_ = 80;
    bool stop_ = false;
    bool stopsWhenRead_ = false;
    mutable std::optional<std::size_t> pollsLeft_;
    std::optional<std::size_t> writesLeft_;
    std::size_t writes_ = 0;
    std::string output_;
    std::string errors_;
    std::vector<std::optional<std::chrono::milliseconds>> limits_;
};

} // namespace test
