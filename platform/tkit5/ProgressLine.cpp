#include "ProgressLine.h"

#include "TextLayout.h"

#include <fmt/format.h>

#include <algorithm>

namespace tkit5 {

namespace {

// Of a text that has to be cut, so much stays, or else the time goes first.
constexpr std::size_t readable = 12;

std::string spoken(machine::Duration duration) {
    auto const seconds = std::chrono::round<std::chrono::seconds>(duration).count();
    if (seconds < 60) {
        return fmt::format("{} s", seconds);
    }
    if (seconds < 3600) {
        return fmt::format("{} min {:02} s", seconds / 60, seconds % 60);
    }
    return fmt::format("{} h {:02} min", seconds / 3600, seconds / 60 % 60);
}

} // namespace

void ProgressLine::begin() {
    started_ = clock_.now();
    pausedFor_ = {};
    pauses_ = 0;
    key_.clear();
    text_.clear();
    percent_.reset();
    plainLines_.clear();
}

void ProgressLine::setText(ProgressReport const & progress) {
    key_ = progress.key;
    text_ = printable(progress.text);
}

void ProgressLine::setPercent(int percent) {
    int const bounded = std::clamp(percent, 0, 100);
    if (percent_ != bounded) {
        percent_ = bounded;
        reachedAfter_ = elapsed();
    }
}

void ProgressLine::pause() {
    if (pauses_++ == 0) {
        pausedAt_ = clock_.now();
    }
}

void ProgressLine::resume() {
    if (pauses_ != 0 && --pauses_ == 0) {
        pausedFor_ += clock_.now() - pausedAt_;
    }
}

std::string ProgressLine::live(std::size_t width, bool stopping) const {
    std::optional<std::string> const end = stopping ? "stopping" : timeLeft();
    std::string const before = percentText();
    std::string const after = end ? fmt::format("{}{}", text_.empty() ? "" : ", ", *end) : "";
    std::size_t const others = columns(before) + columns(after);
    if (others + std::min(columns(text_), readable) > width) {
        return cut(before + text_, width);
    }
    return before + cut(text_, width - others) + after;
}

std::string ProgressLine::plain() const {
    std::string text = percentText() + text_;
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

bool ProgressLine::takesPlainLine() {
    return plainLines_.emplace(key_, percent_.value_or(0) / 10).second;
}

std::string ProgressLine::percentText() const {
    return percent_ ? fmt::format("{:>3} %  ", *percent_) : "";
}

// As fast as it came to its percentage, the test takes so much longer; since then the rest has been running down.
std::optional<std::string> ProgressLine::timeLeft() const {
    if (!percent_ || *percent_ < 1 || *percent_ == 100 || reachedAfter_ == machine::Duration()) {
        return std::nullopt;
    }
    machine::Duration const whole = reachedAfter_ / *percent_ * 100;
    return spoken(std::max(whole - elapsed(), machine::Duration())) + " left";
}

machine::Duration ProgressLine::elapsed() const {
    return (pauses_ == 0 ? clock_.now() : pausedAt_) - started_ - pausedFor_;
}

} // namespace tkit5
