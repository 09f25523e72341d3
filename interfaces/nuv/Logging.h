#pragma once

#include "String.h"

#include <cstdint>
#include <string>

namespace nuv {

// Priorities of log messages run from 1 (most detailed) to 4; a threshold lets through the messages at or above it.

// Text put together from a C format and its values. "%I64d", "%I64u" and "%I64x" are understood whatever the C
// library in use. The caller answers for formats and values that fit, as with printf.
class SprintfFormat {
public:
    explicit SprintfFormat(char const * format, ...);
    std::string const & text() const { return text_; }

private:
    std::string text_;
};

// One log message under construction: UTF-8 text. Doubles and floats appear as "%g" gives them.
class LoggerStream {
public:
    LoggerStream & operator+(char const * text); // appends, like <<
    LoggerStream & operator<<(char const * text);
    LoggerStream & operator<<(String const & text);
    LoggerStream & operator<<(SprintfFormat const & text);
    LoggerStream & operator<<(std::int32_t value);
    LoggerStream & operator<<(std::uint32_t value);
    LoggerStream & operator<<(std::int64_t value);
    LoggerStream & operator<<(std::uint64_t value);
    LoggerStream & operator<<(double value);
    LoggerStream & operator<<(float value);

    std::string const & text() const { return text_; }

private:
    std::string text_;
};

// A named logger. Created by the factory only, which owns it for the life of the process.
class Logger {
public:
    Logger(Logger const &) = delete;
    Logger & operator=(Logger const &) = delete;

    char const * name() const;
    int level() const; // its own threshold, 1 unless it was set otherwise

    // The threshold in effect: the highest of its own and those of the loggers above it by name ("a" is above "a.b").
    int resolvePriority() const;

    // Hands the message to the log as it stands. Never throws.
    void log(int priority, LoggerStream const & message);

protected:
    Logger() = default;
    ~Logger() = default;
};

class LogFactory {
public:
    static int getPriority(); // the global threshold; 5 until somebody asks for a log

    // Finds or makes the logger of that name, writes it to the slot and returns it. Never null.
    static Logger * createLogger(char const * name, Logger *& slot);
};

// A scope in the trace: entered at construction, left at destruction, on every way out. Silent with a null logger.
// The texts are not copied and must outlive the scope.
class TraceLogger {
public:
    TraceLogger(Logger * logger, char const * function, char const * sourceFile, int sourceLine);
    TraceLogger(TraceLogger const &) = delete;
    TraceLogger & operator=(TraceLogger const &) = delete;
    ~TraceLogger();

private:
    Logger * logger_;
    char const * function_;
    char const * sourceFile_;
    int sourceLine_;
};

} // namespace nuv
