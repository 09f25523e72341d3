#include "nuv.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <string_view>

namespace nuv {

namespace {

// The format with the length modifier I64 written as the standard library's ll.
std::string portable(std::string_view format) {
    std::string translated;
    translated.reserve(format.size());
    std::size_t at = 0;
    while (at < format.size()) {
        char const character = format[at++];
        translated.push_back(character);
        if (character != '%') {
            continue;
        }
        std::size_t const flagsEnd = std::min(format.find_first_not_of("-+ #0123456789.*", at), format.size());
        translated += format.substr(at, flagsEnd - at);
        at = flagsEnd;
        if (format.substr(at).starts_with("I64")) {
            translated += "ll";
            at += 3;
        }
        if (at < format.size()) {
            translated.push_back(format[at++]); // the conversion itself, which may be a second %
        }
    }
    return translated;
}

} // namespace

SprintfFormat::SprintfFormat(char const * format, ...) {
    if (format == nullptr) {
        return;
    }
    std::string const translated = portable(format);
    std::va_list values;
    va_start(values, format);
    std::va_list again;
    va_copy(again, values);
    int const length = std::vsnprintf(nullptr, 0, translated.c_str(), values);
    va_end(values);
    if (length > 0) {
        text_.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text_.data(), text_.size() + 1, translated.c_str(), again);
    }
    va_end(again);
}

LoggerStream & LoggerStream::operator+(char const * text) {
    return *this << text;
}

LoggerStream & LoggerStream::operator<<(char const * text) {
    if (text != nullptr) {
        text_ += text;
    }
    return *this;
}

LoggerStream & LoggerStream::operator<<(String const & text) {
    text_ += text.getUTF8String();
    return *this;
}

LoggerStream & LoggerStream::operator<<(SprintfFormat const & text) {
    text_ += text.text();
    return *this;
}

LoggerStream & LoggerStream::operator<<(std::int32_t value) {
    text_ += std::to_string(value);
    return *this;
}

LoggerStream & LoggerStream::operator<<(std::uint32_t value) {
    text_ += std::to_string(value);
    return *this;
}

LoggerStream & LoggerStream::operator<<(std::int64_t value) {
    text_ += std::to_string(value);
    return *this;
}

LoggerStream & LoggerStream::operator<<(std::uint64_t value) {
    text_ += std::to_string(value);
    return *this;
}

LoggerStream & LoggerStream::operator<<(double value) {
    std::array<char, 32> text{}; // "%g" gives at most 13 characters
    std::snprintf(text.data(), text.size(), "%g", value);
    text_ += text.data();
    return *this;
}

LoggerStream & LoggerStream::operator<<(float value) {
    return *this << static_cast<double>(value);
}

} // namespace nuv
