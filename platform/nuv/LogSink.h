// How the run loop receives what nuv logs and traces, and redirects its error stream.
#pragma once

#include <iosfwd>
#include <string>

namespace nuv {

class LogSink {
public:
    virtual ~LogSink() = default;
    virtual void message(int priority, char const * logger, std::string const & text) = 0;
    virtual void scope(bool entered, char const * logger, char const * function, char const * sourceFile,
                       int sourceLine) = 0;
};

LogSink *
setLogSink(LogSink * sink);        // null: nowhere. The caller keeps it alive while it is set. Returns the one before.
void setLogPriority(int priority); // the global threshold, 1..5
void setLoggerLevel(char const * logger, int level); // also for loggers that do not exist yet
bool loggerExists(char const * logger);

void setErrorStream(std::ostream * stream); // null: the process's own

} // namespace nuv
